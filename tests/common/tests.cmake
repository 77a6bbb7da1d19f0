velt_test(replace_file_test SOURCES common/replace_file_test.cpp LINK velt-common)
