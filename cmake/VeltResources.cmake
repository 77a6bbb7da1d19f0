# velt_resources(TARGET DIR NAME): the string resource files NAME.sre from the sources
# DIR/<language>.txt, built with TARGET. The sources are checked together first, against usenglish
# where there is one. The files stand below the directory in the property VELT_VQHOME of
# TARGET-resources as they are looked for below VQHOME, and are installed likewise.

include(GNUInstallDirs)

function(velt_resources target dir name)
  cmake_path(ABSOLUTE_PATH dir NORMALIZE)
  file(GLOB sources CONFIGURE_DEPENDS ${dir}/*.txt)
  list(FILTER sources EXCLUDE REGEX "/CMake(Lists|Cache)\\.txt$")
  if(NOT sources)
    # Files that are left from an earlier build would be taken for what is not there any more.
    message(FATAL_ERROR "velt_resources: ${dir} has no sources of string resources, LANGUAGE.txt")
  endif()
  set(reference ${dir}/usenglish.txt)
  if(reference IN_LIST sources)
    list(REMOVE_ITEM sources ${reference})
    list(PREPEND sources ${reference})
  endif()

  set(checked ${CMAKE_CURRENT_BINARY_DIR}/${name}.checked)
  add_custom_command(OUTPUT ${checked}
    COMMAND Velt::vqsre check ${sources}
    COMMAND ${CMAKE_COMMAND} -E touch ${checked}
    DEPENDS Velt::vqsre ${sources}
    COMMENT "Checking the string resources ${name}" VERBATIM)

  set(files)
  foreach(source ${sources})
    cmake_path(GET source STEM language)
    set(place vqinit/${language}/APIArea/resources)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/${place}/${name}.sre)
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${place})
    add_custom_command(OUTPUT ${file}
      COMMAND Velt::vqsre compile ${source} -o ${file}
      DEPENDS Velt::vqsre ${source} ${checked}
      COMMENT "Compiling the string resources ${name}, ${language}" VERBATIM)
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/velt/${place})
    list(APPEND files ${file})
  endforeach()

  add_custom_target(${target}-resources ALL DEPENDS ${files})
  set_target_properties(${target}-resources PROPERTIES VELT_VQHOME ${CMAKE_CURRENT_BINARY_DIR})
  if(TARGET ${target})
    add_dependencies(${target} ${target}-resources)
  endif()
endfunction()
