# What a client's author needs besides libraries and programs, which are installed where they are
# built: headers, documents, examples, man pages, the CMake package and the pkg-config files.

include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/velt TYPE INCLUDE)
# Where they refer to one another, they do so in the installed tree too.
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/*.md)
install(FILES ${documents} ${PROJECT_SOURCE_DIR}/LICENSE TYPE DOC)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples TYPE DOC
  PATTERN man EXCLUDE)
foreach(section 1 5)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    FILES_MATCHING PATTERN *.${section})
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/tests/valgrind.supp DESTINATION ${CMAKE_INSTALL_DATADIR}/velt)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Velt)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VeltConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VeltConfig.cmake INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeltConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(EXPORT velt-targets NAMESPACE Velt:: DESTINATION ${package_dir})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/VeltResources.cmake ${CMAKE_CURRENT_LIST_DIR}/VeltTirpc.cmake
  ${PROJECT_BINARY_DIR}/VeltConfig.cmake ${PROJECT_BINARY_DIR}/VeltConfigVersion.cmake
  DESTINATION ${package_dir})

# velt_pkgconfig(NAME DESCRIPTION [REQUIRES packages] [USES packages] [LIBS flags] [STATIC flags]): NAME.pc,
# which finds its tree from where it stands. A client has the headers of what NAME uses, and links the LIBS
# as well; the static form needs all that it uses, and the flags for it.
function(velt_pkgconfig name description)
  cmake_parse_arguments(PARSE_ARGV 2 PC "" "REQUIRES;USES;LIBS;STATIC" "")
  set(place ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${place} OUTPUT_VARIABLE up)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/${name}.pc @ONLY CONTENT
"prefix=\${pcfiledir}/@up@
includedir=\${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
libdir=\${prefix}/@CMAKE_INSTALL_LIBDIR@

Name: @name@
Description: @description@
Version: @PROJECT_VERSION@
Requires: @PC_REQUIRES@
Requires.private: @PC_USES@
Cflags: -I\${includedir}
Libs: -L\${libdir} -l@name@ @PC_LIBS@
Libs.private: @PC_STATIC@
")
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${place})
endfunction()

velt_pkgconfig(velt-vde "The Velt support library")
# As in CMake, a client loads these as far as it uses them itself. In one flag they stay together.
list(JOIN TIRPC_LDFLAGS "," tirpc)
velt_pkgconfig(velt-api "The Velt API client library" USES "velt-vde libtirpc"
  LIBS -Wl,--push-state,--as-needed,-lvelt-vde,${tirpc},--pop-state)
velt_pkgconfig(velt-mock "The host in the memory of a test of a Velt client" REQUIRES velt-api
  STATIC "-lstdc++ -lm")
