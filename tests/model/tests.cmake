velt_test(model_test SOURCES model/model_test.cpp LINK vqhost-lib)
velt_test(book_test SOURCES model/book_test.cpp support/heap.cpp LINK vqhost-lib)
watch_heap(book_test)
velt_test(commands_test SOURCES model/commands_test.cpp LINK vqhost-lib)
