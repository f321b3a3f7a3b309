corvane_test(tst_flashscript tst_flashscript.cpp CatalogueSupport.h Type1Support.h)
corvane_test(tst_type1 tst_type1.cpp CatalogueSupport.h Type1Support.h)
target_compile_definitions(tst_type1 PRIVATE CORVANE_DEMO_FIRMWARES="${CMAKE_SOURCE_DIR}/firmwares")
