velt_test(host_server_test SOURCES host/server_test.cpp host/callbacks_test.cpp host/catalogue_test.cpp
  support/host_in_process.cpp LINK vqhost-lib)
needs_client(host_server_test)
