velt_need(cmocka libcmocka-dev AS CMOCKA) # an example has it

velt_test(mock_test SOURCES mock/mock_test.cpp LINK test_heap velt-mock-static)
