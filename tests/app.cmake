corvane_test(tst_documents tst_documents.cpp)

# Launches the real program, so it is built first and found by its path.
corvane_test(tst_single tst_single.cpp)
add_dependencies(tst_single corvane)
target_compile_definitions(tst_single PRIVATE CORVANE_EXE="$<TARGET_FILE:corvane>")

find_program(DESKTOP_FILE_VALIDATE desktop-file-validate)
if(DESKTOP_FILE_VALIDATE)
    add_test(NAME app_desktop_entry COMMAND ${DESKTOP_FILE_VALIDATE} ${CMAKE_SOURCE_DIR}/app/corvane.desktop)
endif()

# The install target puts the desktop entry and the mime package where the desktop looks,
# and the package gives .crvj files their type and icon.
find_program(UPDATE_MIME_DATABASE update-mime-database)
if(UPDATE_MIME_DATABASE)
    set(CORVANE_INSTALL_CHECK ${CMAKE_CURRENT_BINARY_DIR}/install-check)
    add_test(NAME app_install
        COMMAND sh -c "rm -rf \"$0\" && \"$1\" --install \"$2\" --prefix \"$0\" >/dev/null \
&& test -x \"$0/bin/corvane\" && test -f \"$0/share/applications/corvane.desktop\" \
&& \"$3\" \"$0/share/mime\" 2>/dev/null \
&& grep -qx 'application/x-corvane-json:\\*\\.crvj' \"$0/share/mime/globs\" \
&& grep -qx 'application/x-corvane-json:corvane' \"$0/share/mime/icons\""
            ${CORVANE_INSTALL_CHECK} ${CMAKE_COMMAND} ${CMAKE_BINARY_DIR} ${UPDATE_MIME_DATABASE})
    set_tests_properties(app_install PROPERTIES RESOURCE_LOCK corvane_install)
    if(DESKTOP_FILE_VALIDATE)
        add_test(NAME app_installed_desktop_entry
            COMMAND ${DESKTOP_FILE_VALIDATE} ${CORVANE_INSTALL_CHECK}/share/applications/corvane.desktop)
        set_tests_properties(app_installed_desktop_entry PROPERTIES DEPENDS app_install)
    endif()
endif()

# Quitting on a signal, against a Corvane that has a run under way.
corvane_test(tst_quit tst_quit.cpp ProcessSupport.h)
add_executable(started_run started_run.cpp)
target_link_libraries(started_run PRIVATE corvane_core)
set_target_properties(started_run PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/tst_quit)
add_dependencies(tst_quit started_run)
target_compile_definitions(tst_quit PRIVATE STARTED_RUN="$<TARGET_FILE:started_run>")

# The installed program and the unpacked archive, each started from its bin/ link with a
# document, and from its desktop entry where a virtual screen can be had.
add_test(NAME app_installed_run
    COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/installed-run.sh install ${CMAKE_COMMAND} ${CMAKE_BINARY_DIR}
            ${CMAKE_CURRENT_BINARY_DIR}/installed-run)
add_test(NAME app_archive_run
    COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/installed-run.sh archive ${CMAKE_CPACK_COMMAND} ${CMAKE_BINARY_DIR}
            ${CMAKE_CURRENT_BINARY_DIR}/archive-run)
set_tests_properties(app_installed_run app_archive_run PROPERTIES RESOURCE_LOCK corvane_install TIMEOUT 600)
