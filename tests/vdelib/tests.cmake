velt_test(vdelib_core SOURCES
  vdelib/failing_heap.cpp vdelib/failure.cpp vdelib/memory.cpp vdelib/strings.cpp
  vdelib/formatted.cpp vdelib/quire.cpp
  LINK velt-vde-static)
# The library's allocations go through failing_heap.cpp.
target_link_options(vdelib_core PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)

velt_test(vdelib_files SOURCES
  vdelib/failing_heap.cpp vdelib/paths.cpp vdelib/channel.cpp vdelib/exhaustion.cpp
  LINK velt-vde-static)
target_link_options(vdelib_files PRIVATE
  -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=lstat)

velt_test(vdelib_encconv SOURCES
  vdelib/failing_heap.cpp vdelib/encconv_builder.cpp vdelib/encconv_names.cpp
  vdelib/encconv_asian.cpp vdelib/encconv_unicode.cpp
  LINK velt-vde-static ${CMAKE_DL_LIBS})
target_link_options(vdelib_encconv PRIVATE -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc)
