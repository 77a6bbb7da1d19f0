velt_test(model_test SOURCES model/model_test.cpp LINK vqhost-lib)
velt_test(book_test SOURCES model/book_test.cpp api/heap.cpp LINK vqhost-lib)
target_link_options(book_test PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free)
velt_test(commands_test SOURCES model/commands_test.cpp LINK vqhost-lib)
