# The Unicode tables of the East Asian encodings, made from the system's iconv. They stand in the
# build tree as they are installed, so that the programs find them in both.

set(VELT_UNICODE_HOME ${PROJECT_BINARY_DIR}/share/velt)

set(tables)
foreach(name JISX0208.ShiftJIS KSC5601-1992 BIG5 GB2312-80.EUC)
  list(APPEND tables ${VELT_UNICODE_HOME}/unicode/${name}.UCOD)
endforeach()
add_custom_command(OUTPUT ${tables}
  COMMAND vqucod make ${VELT_UNICODE_HOME}/unicode
  COMMAND vqucod check ${tables}
  DEPENDS vqucod
  COMMENT "Making the Unicode tables" VERBATIM)
add_custom_target(velt-unicode ALL DEPENDS ${tables})
install(FILES ${tables} DESTINATION ${CMAKE_INSTALL_DATADIR}/velt/unicode)
