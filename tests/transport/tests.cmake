velt_test(transport_test SOURCES transport/transport_test.cpp support/service_process.cpp
  LINK velt-api-static velt-vde-static PkgConfig::TIRPC)

# Traces a process itself, which valgrind does not allow.
add_executable(syscalls_test transport/syscalls.cpp support/service_process.cpp)
target_include_directories(syscalls_test PRIVATE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(syscalls_test PRIVATE velt_options velt-api-static velt-vde-static
  PkgConfig::TIRPC GTest::gtest)
add_test(NAME syscalls_test COMMAND syscalls_test)
set_tests_properties(syscalls_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)

# It measures memory, of which a sanitizer keeps what is freed.
velt_test(soak_test SOURCES transport/soak.cpp LINK vqhost-lib LABELS no-valgrind no-sanitizers)
target_compile_definitions(soak_test PRIVATE SOAK_CLIENT="$<TARGET_FILE:session_client>")
add_dependencies(soak_test session_client)
