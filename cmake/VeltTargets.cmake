# How the targets of this project are made: one set of compile options for all, and one way to make
# a library of which a client needs no C++ run-time.

# velt_need(NAME PACKAGE [COMPONENTS names... | AS PREFIX]): a CMake package, or with AS a module of
# pkg-config as the target PkgConfig::PREFIX. Without it the build ends, with the name of what to
# install. A macro, since pkg_check_modules needs the variables of PkgConfig.
macro(velt_need name package)
  cmake_parse_arguments(NEED "" "AS" "COMPONENTS" ${ARGN})
  if(NEED_AS)
    pkg_check_modules(${NEED_AS} QUIET IMPORTED_TARGET ${name})
    set(found ${${NEED_AS}_FOUND})
  else()
    find_package(${name} QUIET COMPONENTS ${NEED_COMPONENTS})
    set(found ${${name}_FOUND})
  endif()
  if(NOT found)
    message(FATAL_ERROR "${name} is missing: install ${package} (Debian, Ubuntu)")
  endif()
endmacro()

velt_need(PkgConfig pkg-config)
velt_need(libtirpc libtirpc-dev AS TIRPC)
include(${CMAKE_CURRENT_LIST_DIR}/VeltTirpc.cmake)
# Whether the shared library of a client is made of the archive too: not where that has been compiled for
# programs alone.
unset(VELT_TIRPC_INSIDE CACHE)
get_target_property(libraries Velt::tirpc-static INTERFACE_LINK_LIBRARIES)
if(VELT_TIRPC_ARCHIVE IN_LIST libraries)
  include(CheckCSourceCompiles)
  block()
    set(CMAKE_REQUIRED_FLAGS -fPIC)
    set(CMAKE_REQUIRED_LINK_OPTIONS -shared LINKER:--exclude-libs,ALL)
    set(CMAKE_REQUIRED_LIBRARIES Velt::tirpc-static)
    set(CMAKE_REQUIRED_QUIET ON)
    check_c_source_compiles("
      int bindresvport(), xdr_callmsg(), xdr_pmap(), xdr_replymsg(), xdr_rpcb();
      int all(void) { return bindresvport() + xdr_callmsg() + xdr_pmap() + xdr_replymsg() + xdr_rpcb(); }"
      VELT_TIRPC_INSIDE)
  endblock()
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(velt_options INTERFACE)
target_compile_features(velt_options INTERFACE cxx_std_20 c_std_11)
target_compile_options(velt_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(VELT_WERROR)
  target_compile_options(velt_options INTERFACE -Werror)
endif()

# velt_headers(FOLDER OUT): sets OUT to a place where the folder's headers, and no others, are found by
# their path from the top.
function(velt_headers folder out)
  string(REPLACE "/" "-" name velt-${folder})
  set(place ${PROJECT_BINARY_DIR}/layers/${name})
  cmake_path(GET folder PARENT_PATH parent)
  file(MAKE_DIRECTORY ${place}/${parent})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${place}/${folder} SYMBOLIC)
  set(${out} ${place} PARENT_SCOPE)
endfunction()

# velt_library(NAME FOLDER SOURCES...): NAME-static and NAME-shared from one set of objects,
# NAME-objects, which include what stands in the folder, without exceptions, RTTI or guarded statics, linked
# as C. What the headers export has its version from velt.map. Both are installed; velt-api, say, as
# Velt::api (shared) and Velt::api-static.
function(velt_library name folder)
  cmake_parse_arguments(PARSE_ARGV 2 ARG "" "" "SOURCES")
  velt_headers(${folder} own)
  add_library(${name}-objects OBJECT ${ARG_SOURCES})
  target_link_libraries(${name}-objects PRIVATE velt_options)
  target_include_directories(${name}-objects PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> PRIVATE ${own})
  target_compile_options(${name}-objects PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
  # A client replaces functions of the library one by one, so each source stays an object of its own.
  set_target_properties(${name}-objects PROPERTIES UNITY_BUILD OFF
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden)
  foreach(kind static shared)
    string(TOUPPER ${kind} KIND)
    add_library(${name}-${kind} ${KIND} $<TARGET_OBJECTS:${name}-objects>)
    set_target_properties(${name}-${kind} PROPERTIES LINKER_LANGUAGE C)
  endforeach()

  set(versions ${PROJECT_SOURCE_DIR}/cmake/velt.map)
  target_link_options(${name}-shared PRIVATE LINKER:--version-script=${versions})
  set_target_properties(${name}-shared PROPERTIES LINK_DEPENDS ${versions})

  velt_install_library(${name})
endfunction()

# velt_install_library(NAME): names and installs NAME-static and NAME-shared, which have the public
# headers.
function(velt_install_library name)
  string(REGEX REPLACE "^velt-" "" short ${name})
  foreach(kind static shared)
    set_target_properties(${name}-${kind} PROPERTIES OUTPUT_NAME ${name}
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    target_include_directories(${name}-${kind} PUBLIC
      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  endforeach()
  # The libraries stand side by side, wherever that is.
  set_target_properties(${name}-shared PROPERTIES EXPORT_NAME ${short} INSTALL_RPATH "$ORIGIN")
  set_target_properties(${name}-static PROPERTIES EXPORT_NAME ${short}-static)
  install(TARGETS ${name}-shared ${name}-static EXPORT velt-targets)
endfunction()

# velt_layer(FOLDER [HEADERS] [LINK layers or libs...]): the folder's sources as the library
# velt-FOLDER, with - for /; with HEADERS only its headers, where the sources belong to another target.
# Its headers are included by their path from the top, and found by whoever links it and by nobody
# else: an include of a layer that is not linked does not compile.
function(velt_layer folder)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "HEADERS" "" "LINK")
  string(REPLACE "/" "-" name velt-${folder})
  velt_headers(${folder} headers)

  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  set(scope PUBLIC)
  if(sources AND NOT ARG_HEADERS)
    add_library(${name} STATIC ${sources})
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${name} ${scope} ${headers})
  target_link_libraries(${name} ${scope} velt_options ${ARG_LINK})
  if(scope STREQUAL PUBLIC AND NOT folder STREQUAL common)
    target_precompile_headers(${name} REUSE_FROM velt-common)
  endif()
  # A shared library is made of some of them.
  if(scope STREQUAL PUBLIC)
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden)
  endif()
endfunction()
