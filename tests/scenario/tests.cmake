velt_test(scenario_test SOURCES scenario/scenario_test.cpp LINK test_host)
velt_test(decoder_test SOURCES scenario/decoder_test.cpp
  ${PROJECT_SOURCE_DIR}/tools/vqrecord/decoder.cpp LINK test_heap velt-host)
velt_test(relay_test SOURCES scenario/relay_test.cpp
  ${PROJECT_SOURCE_DIR}/tools/vqrecord/relay.cpp LINK test_peers velt-host)
add_test(NAME replay_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/replay_test.sh
  $<TARGET_FILE:vqhost> ${PROJECT_BINARY_DIR}/examples ${PROJECT_SOURCE_DIR}/examples)
add_test(NAME vqrecord_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/vqrecord_test.sh
  $<TARGET_FILE:vqhost> $<TARGET_FILE:vqrecord> ${PROJECT_BINARY_DIR}/examples ${PROJECT_SOURCE_DIR}/examples
  $<TARGET_FILE:test_client>)
add_test(NAME schema_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/schema_test.sh
  $<TARGET_FILE:vqhost> ${PROJECT_SOURCE_DIR})
set_tests_properties(schema_test PROPERTIES LABELS "no-valgrind;no-sanitizers")
set_tests_properties(replay_test vqrecord_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)
