get_target_property(vqhome shelfwise-resources VELT_VQHOME)
add_executable(faulty_client check/faulty_client.cpp)
add_executable(hello_client ${PROJECT_SOURCE_DIR}/examples/hello/hello.c)
foreach(client faulty_client hello_client)
  target_link_libraries(${client} PRIVATE velt_options velt-api-static)
endforeach()
add_test(NAME check_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/check_test.sh $<TARGET_FILE:vqhost>
  $<TARGET_FILE:faulty_client> $<TARGET_FILE:shelfwise> ${vqhome} ${PROJECT_BINARY_DIR}/examples
  ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/docs/man/vqhost.1 $<TARGET_FILE:hello_client>)
set_tests_properties(check_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)
