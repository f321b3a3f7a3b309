corvane_test(tst_faults tst_faults.cpp)
