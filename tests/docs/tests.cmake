add_test(NAME calls_page_test
  COMMAND ${launcher} $<TARGET_FILE:vqcalls> ${PROJECT_SOURCE_DIR} --check ${PROJECT_SOURCE_DIR}/docs/calls.md)
