add_test(NAME calls_page_test
  COMMAND ${launcher} $<TARGET_FILE:vqpages> ${PROJECT_SOURCE_DIR} --check ${PROJECT_SOURCE_DIR}/docs/calls.md)
add_test(NAME pages_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/pages_test.sh $<TARGET_FILE:vqpages> ${PROJECT_SOURCE_DIR})
set_tests_properties(pages_test PROPERTIES LABELS "no-valgrind;no-sanitizers")

find_program(MANDOC mandoc)
if(NOT MANDOC)
  message(FATAL_ERROR "mandoc is missing: install mandoc (Debian, Ubuntu)")
endif()
add_test(NAME calls_manual_test
  COMMAND sh -c "! { ${MANDOC} -T lint $(grep -Lx '.Os Velt' ${PROJECT_BINARY_DIR}/docs/man3/*.3)
    ${MANDOC} -T lint -W warning ${PROJECT_SOURCE_DIR}/docs/man/*; } | grep .")
add_test(NAME manual_references_test COMMAND sh -c "${CMAKE_CURRENT_LIST_DIR}/references_test.sh \
  ${PROJECT_SOURCE_DIR}/docs/man/* ${PROJECT_BINARY_DIR}/docs/man3/*.3")
set_tests_properties(calls_manual_test manual_references_test PROPERTIES LABELS "no-valgrind;no-sanitizers")

velt_test(facts_test SOURCES docs/facts_test.cpp LINK velt-api-static)
target_compile_definitions(facts_test PRIVATE MANUAL="${PROJECT_SOURCE_DIR}/docs/man/")
add_test(NAME guide_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/guide_test.sh ${PROJECT_SOURCE_DIR}/docs/testing.md
  $<TARGET_FILE:vqhost> ${PROJECT_BINARY_DIR}/examples ${PROJECT_SOURCE_DIR}/examples
  ${PROJECT_BINARY_DIR} ${CMAKE_C_COMPILER} "${CMAKE_C_FLAGS} ${CMAKE_EXE_LINKER_FLAGS}" $<TARGET_FILE:vqnew>)
set_tests_properties(guide_test PROPERTIES LABELS no-valgrind TIMEOUT ${limit})
