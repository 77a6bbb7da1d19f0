velt_need(cmocka libcmocka-dev AS CMOCKA) # an example has it

velt_test(mock_test SOURCES mock/mock_test.cpp support/heap.cpp LINK velt-mock-static)
watch_heap(mock_test)
