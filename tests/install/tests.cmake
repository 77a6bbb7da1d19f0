# A library built with a sanitizer does not link without it.
add_test(NAME install_test COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/install_test.sh
  ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR} ${CMAKE_CXX_COMPILER} ${CMAKE_C_COMPILER})
set_tests_properties(install_test PROPERTIES TIMEOUT ${limit} LABELS "no-valgrind;no-sanitizers")
