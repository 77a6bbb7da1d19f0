velt_test(host_server_test SOURCES host/server_test.cpp host/callbacks_test.cpp host/catalogue_test.cpp
  host/trace_test.cpp LINK test_host)
needs_client(host_server_test)
target_compile_definitions(host_server_test PRIVATE MANUAL="${PROJECT_SOURCE_DIR}/docs/man/vqhost.1")
# The same with vqrecord between the host and each client. Only the registrations of one that is
# killed before it has acknowledged stay.
add_test(NAME recorded_sessions_test COMMAND ${CMAKE_COMMAND} -E env VQRECORD=$<TARGET_FILE:vqrecord>
  $<TARGET_FILE:host_server_test> --gtest_filter=HostedClients.*-*.ClientThatDoesNotComeUp)
# Their hundred clients take valgrind a minute and a half; prompt_test has a host that does the same.
set_tests_properties(host_server_test recorded_sessions_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)
