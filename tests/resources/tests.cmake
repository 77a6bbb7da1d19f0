velt_test(resources_test
  SOURCES resources/expansion.cpp resources/files.cpp resources/fontenc.cpp LINK velt-vde-static)

# A client's own V_SrFetch, with either linkage.
foreach(linkage static shared)
  velt_test(srfetch_${linkage}_test SOURCES resources/srfetch.cpp LINK velt-vde-${linkage})
endforeach()

set(vqsre ${PROJECT_SOURCE_DIR}/tools/vqsre)
# The precompiled headers are made without this definition.
set_source_files_properties(${vqsre}/main.cpp PROPERTIES COMPILE_DEFINITIONS main=vqsre_main
  SKIP_PRECOMPILE_HEADERS ON)
velt_test(vqsre_test SOURCES resources/vqsre.cpp
  ${vqsre}/main.cpp ${vqsre}/source.cpp ${vqsre}/sre.cpp LINK velt-common)

get_target_property(vqhome shelfwise-resources VELT_VQHOME)
velt_test(labels_test SOURCES resources/labels.cpp LINK velt-vde-static)
target_compile_definitions(labels_test PRIVATE SHELFWISE_VQHOME="${vqhome}")
add_dependencies(labels_test shelfwise-resources)
