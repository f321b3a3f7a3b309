corvane_test(tst_cuts tst_cuts.cpp)
corvane_test(tst_type0 tst_type0.cpp CatalogueSupport.h)
corvane_test(tst_scan tst_scan.cpp CatalogueSupport.h)
corvane_test(tst_presetmenu tst_presetmenu.cpp CatalogueSupport.h)
