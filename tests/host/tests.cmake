# A client of which every test chooses the behaviour.
add_executable(host_test_client host/test_client.cpp)
target_link_libraries(host_test_client PRIVATE velt_options velt-api-static velt-vde-static)

velt_test(host_server_test SOURCES host/server_test.cpp host/callbacks_test.cpp
  host/catalogue_test.cpp support/host_in_process.cpp LINK vqhost-lib)
target_compile_definitions(host_server_test PRIVATE TEST_CLIENT="$<TARGET_FILE:host_test_client>")
add_dependencies(host_server_test host_test_client)
