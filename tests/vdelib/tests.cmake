velt_test(vdelib_core SOURCES
  vdelib/failing_heap.cpp vdelib/failure.cpp vdelib/memory.cpp vdelib/strings.cpp
  vdelib/formatted.cpp vdelib/quire.cpp
  LINK velt-vde-static)
# The library's allocations go through failing_heap.cpp.
target_link_options(vdelib_core PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)
