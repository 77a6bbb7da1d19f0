# What not every machine allows; a test that it refuses says why.

# It becomes users who may write no logs.
velt_test(machine_test SOURCES machine/machine_test.cpp LINK test_peers velt-host LABELS machine no-valgrind)
needs_client(machine_test)

velt_test_program(rpcbind_tests SOURCES machine/rpcbind_test.cpp LINK test_peers)
add_test(NAME rpcbind_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/rpcbind_test.sh
  $<TARGET_FILE:rpcbind_tests> $<TARGET_FILE:vqhost> $<TARGET_FILE:test_client>
  ${PROJECT_SOURCE_DIR}/examples/alice.json $<TARGET_FILE:vqrecord>)
# The RPC library forgets the 16 bytes of an address whenever it registers a service.
set_tests_properties(rpcbind_test PROPERTIES TIMEOUT ${limit}
  ENVIRONMENT "ASAN_OPTIONS=detect_leaks=0" SKIP_RETURN_CODE 77 LABELS machine)
