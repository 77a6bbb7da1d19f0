# What clients call is in one executable, which tells of an answer that no test has called for.
velt_test(answers_test SOURCES model/model_test.cpp model/text_test.cpp model/document_test.cpp
  model/words_test.cpp model/people_test.cpp model/refusals_test.cpp LINK test_host test_heap)
target_compile_definitions(answers_test PRIVATE HUNSPELL=$<BOOL:${HUNSPELL_FOUND}>)
velt_test(book_test SOURCES model/book_test.cpp LINK test_heap velt-host)
# Its thousands of calls take valgrind more than a minute; the sanitizers see them.
set_tests_properties(answers_test PROPERTIES LABELS no-valgrind)
velt_test(commands_test SOURCES model/commands_test.cpp LINK velt-host)
target_compile_definitions(commands_test PRIVATE MANUAL="${PROJECT_SOURCE_DIR}/docs/man/vqhost.1")
