add_test(NAME calls_page_test
  COMMAND vqcalls ${PROJECT_SOURCE_DIR} --check ${PROJECT_SOURCE_DIR}/docs/calls.md)
