# Velt::tirpc-static: what a client needs of the RPC library, from its archive where there is one; that is
# also what the shared library of ours is made of. The shared library of the RPC library loads those of Kerberos, which take longer than the rest of a start; from the archive
# they come only with routines that use them. The sanitizers wrap routines of the shared library, and
# need it; -DVELT_TIRPC_ARCHIVE=OFF chooses it where they are not seen in the flags of all targets.
find_library(VELT_TIRPC_ARCHIVE NAMES libtirpc.a HINTS ${TIRPC_LIBRARY_DIRS} ${TIRPC_LIBDIR})
find_library(VELT_GSSAPI NAMES gssapi_krb5 libgssapi_krb5.so.2)
mark_as_advanced(VELT_TIRPC_ARCHIVE VELT_GSSAPI)
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
string(CONCAT flags "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS} ${CMAKE_EXE_LINKER_FLAGS} "
  "${CMAKE_C_FLAGS_${build_type}} ${CMAKE_CXX_FLAGS_${build_type}}")
add_library(Velt::tirpc-static INTERFACE IMPORTED GLOBAL)
if(VELT_TIRPC_ARCHIVE AND VELT_GSSAPI AND NOT flags MATCHES "-fsanitize")
  target_include_directories(Velt::tirpc-static INTERFACE
    $<TARGET_PROPERTY:PkgConfig::TIRPC,INTERFACE_INCLUDE_DIRECTORIES>)
  target_link_libraries(Velt::tirpc-static INTERFACE ${VELT_TIRPC_ARCHIVE}
    -Wl,--push-state,--as-needed ${VELT_GSSAPI} -Wl,--pop-state)
else()
  target_link_libraries(Velt::tirpc-static INTERFACE PkgConfig::TIRPC)
endif()
