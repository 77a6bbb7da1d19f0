velt_test(resources_test
  SOURCES resources/expansion.cpp resources/files.cpp resources/fontenc.cpp
  LINK velt-vde-static)

# A client's own V_SrFetch, with either linkage.
foreach(linkage static shared)
  velt_test(srfetch_${linkage}_test SOURCES resources/srfetch.cpp
    LINK velt-vde-${linkage})
endforeach()

velt_test(vqsre_test SOURCES resources/vqsre.cpp LINK velt-vde-static)
target_compile_definitions(vqsre_test PRIVATE
  VQSRE="$<TARGET_FILE:vqsre>" VELT_VERSION="${PROJECT_VERSION}")
add_dependencies(vqsre_test vqsre)

get_target_property(vqhome shelfwise-resources VELT_VQHOME)
velt_test(labels_test SOURCES resources/labels.cpp LINK velt-vde-static)
target_compile_definitions(labels_test PRIVATE SHELFWISE_VQHOME="${vqhome}")
add_dependencies(labels_test shelfwise-resources)
