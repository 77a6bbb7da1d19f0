get_target_property(vqhome shelfwise-resources VELT_VQHOME)
add_test(NAME program_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/program_test.sh
  $<TARGET_FILE:vqhost> $<TARGET_FILE:shelfwise> ${vqhome}
  ${PROJECT_SOURCE_DIR}/clients/shelfwise/resources $<TARGET_FILE:test_client>)
# A hundred hosts take valgrind two minutes; prompt_test has one that does the same.
set_tests_properties(program_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)

add_test(NAME doctor_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/doctor_test.sh $<TARGET_FILE:vqhost>
  ${vqhome} ${VELT_UNICODE_HOME} ${CMAKE_C_COMPILER})
set_tests_properties(doctor_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)

velt_test(prompt_test SOURCES program/prompt_test.cpp)
target_compile_definitions(prompt_test PRIVATE VQHOST="$<TARGET_FILE:vqhost>")
add_dependencies(prompt_test vqhost)
needs_client(prompt_test)

add_subdirectory(${PROJECT_SOURCE_DIR}/examples ${PROJECT_BINARY_DIR}/examples EXCLUDE_FROM_ALL)
add_custom_target(examples ALL DEPENDS wordcount replace exporter)
add_custom_target(examples-tests ALL DEPENDS asserts_example gtest_example cmocka_example)
add_test(NAME examples_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/examples_test.sh
  $<TARGET_FILE:vqhost> ${PROJECT_BINARY_DIR}/examples ${PROJECT_SOURCE_DIR}/examples)
set_tests_properties(examples_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)
