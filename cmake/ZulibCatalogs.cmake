# Message catalogs: catalog/LOCALE/NAME.msg becomes share/zulib/locale/LOCALE/LC_MESSAGES/NAME with an ending of
# its own, in the build tree as in the installed one, so that both are found in the same way from where the
# libraries are. What looks at texts depends on the target `catalogs`.

find_program(GENCAT gencat REQUIRED)
add_custom_target(catalogs ALL)

function(zulib_catalog locale name ending)
  set(source "${PROJECT_SOURCE_DIR}/catalog/${locale}/${name}.msg")
  set(directory "share/zulib/locale/${locale}/LC_MESSAGES")
  set(compiled "${PROJECT_BINARY_DIR}/${directory}/${name}.${ending}")
  add_custom_command(OUTPUT "${compiled}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${PROJECT_BINARY_DIR}/${directory}"
    COMMAND ${CMAKE_COMMAND} -E rm -f "${compiled}"
    COMMAND ${GENCAT} "${compiled}" "${source}"
    DEPENDS "${source}" VERBATIM)
  add_custom_target(catalog_${locale}_${name} DEPENDS "${compiled}")
  add_dependencies(catalogs catalog_${locale}_${name})
  install(FILES "${compiled}" DESTINATION "${directory}")
endfunction()
