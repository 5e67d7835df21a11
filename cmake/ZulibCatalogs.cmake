# Message catalogs: catalog/LOCALE/NAME.msg becomes share/zulib/locale/LOCALE/LC_MESSAGES/NAME.m, in the
# build tree as in the installed one, so that both are found in the same way from where the libraries are.

find_program(GENCAT gencat REQUIRED)

function(zulib_catalog locale name)
  set(source "${PROJECT_SOURCE_DIR}/catalog/${locale}/${name}.msg")
  set(directory "share/zulib/locale/${locale}/LC_MESSAGES")
  set(compiled "${PROJECT_BINARY_DIR}/${directory}/${name}.m")
  add_custom_command(OUTPUT "${compiled}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${PROJECT_BINARY_DIR}/${directory}"
    COMMAND ${CMAKE_COMMAND} -E rm -f "${compiled}"
    COMMAND ${GENCAT} "${compiled}" "${source}"
    DEPENDS "${source}" VERBATIM)
  add_custom_target(catalog_${locale}_${name} ALL DEPENDS "${compiled}")
  install(FILES "${compiled}" DESTINATION "${directory}")
endfunction()
