# What it is loaded into may have no sanitizer.
add_library(nowhere MODULE anywhere/nowhere.c)
target_link_libraries(nowhere PRIVATE velt_options)
target_compile_options(nowhere PRIVATE -fno-sanitize=all)
target_link_options(nowhere PRIVATE -fno-sanitize=all)

# The logs of valgrind are not an ordinary user's to write.
get_target_property(vqhome shelfwise-resources VELT_VQHOME)
add_test(NAME anywhere_test COMMAND ${CMAKE_CURRENT_LIST_DIR}/anywhere_test.sh $<TARGET_FILE:nowhere>
  $<TARGET_FILE:vqhost> $<TARGET_FILE:shelfwise> $<TARGET_FILE:transport_test> ${vqhome})
set_tests_properties(anywhere_test PROPERTIES
  TIMEOUT ${limit} SKIP_RETURN_CODE 77 LABELS no-valgrind)
