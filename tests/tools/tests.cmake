velt_test(tools_test SOURCES tools/stream.cpp
  ${PROJECT_SOURCE_DIR}/tools/vqconv/characters.cpp
  ${PROJECT_SOURCE_DIR}/tools/vqconv/encodings.cpp
  ${PROJECT_SOURCE_DIR}/tools/vqconv/stream.cpp LINK velt-vde-static)
target_compile_definitions(tools_test PRIVATE VELT_UNICODE_HOME="${VELT_UNICODE_HOME}")
add_dependencies(tools_test velt-unicode)

foreach(tool vqucod vqconv)
  add_test(NAME ${tool}_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/${tool}_test.sh
    $<TARGET_FILE:${tool}> ${VELT_UNICODE_HOME} ${PROJECT_SOURCE_DIR})
  set_tests_properties(${tool}_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)
endforeach()

add_test(NAME vqcall_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/vqcall_test.sh $<TARGET_FILE:vqcall>
  $<TARGET_FILE:vqhost> $<TARGET_FILE:test_client> ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR})
set_tests_properties(vqcall_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)

add_test(NAME vqnew_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/vqnew_test.sh $<TARGET_FILE:vqnew>)
set_tests_properties(vqnew_test PROPERTIES TIMEOUT ${limit} LABELS no-valgrind)

add_test(NAME completion_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/completion_test.sh ${PROJECT_SOURCE_DIR}
  $<TARGET_FILE:vqcall> $<TARGET_FILE:vqhost>)
set_tests_properties(completion_test PROPERTIES TIMEOUT ${limit} LABELS "no-valgrind;no-sanitizers")
