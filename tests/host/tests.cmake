velt_test(host_server_test SOURCES host/server_test.cpp host/callbacks_test.cpp host/catalogue_test.cpp
  support/host_in_process.cpp LINK velt-host)
needs_client(host_server_test)
# Its hundred clients take valgrind a minute and a half; prompt_test has a host that does the same.
set_tests_properties(host_server_test PROPERTIES LABELS no-valgrind)
