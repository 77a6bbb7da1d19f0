velt_test(vdelib_core_test SOURCES
  vdelib/memory.cpp vdelib/strings.cpp vdelib/string_pages.cpp vdelib/formatted.cpp vdelib/quire.cpp
  LINK test_heap velt-vde-static)
velt_test(vdelib_files_test SOURCES
  vdelib/paths.cpp vdelib/channel.cpp vdelib/exhaustion.cpp LINK test_heap velt-vde-static)
target_link_options(vdelib_files_test PRIVATE -Wl,--wrap=lstat)
velt_test(vdelib_encconv_test SOURCES
  vdelib/encconv_builder.cpp vdelib/encconv_names.cpp vdelib/encconv_asian.cpp
  vdelib/encconv_unicode.cpp LINK test_heap velt-vde-static ${CMAKE_DL_LIBS})
