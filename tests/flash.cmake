# Flashing: the command builder, the tool choice, the run and the upload list. The run tests
# use a stand-in flash tool, copied from the source tree wherever a test needs it.
foreach(test tst_command tst_hostile tst_toolchoice tst_run tst_runsession tst_uploadlist)
    corvane_test(${test} ${test}.cpp FlashSupport.h)
    target_compile_definitions(${test} PRIVATE CORVANE_FAKE_ESPTOOL="${CMAKE_CURRENT_SOURCE_DIR}/fake-esptool.sh")
endforeach()
corvane_test(tst_flashrules tst_flashrules.cpp)
