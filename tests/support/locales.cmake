# Locales of several encodings, compiled into the build tree: tests/support/locales.h finds them there, so
# that nothing depends on what the machine has installed.

find_program(LOCALEDEF localedef REQUIRED)

set(locale_directory "${PROJECT_BINARY_DIR}/locale")
file(MAKE_DIRECTORY "${locale_directory}")

function(zulib_test_locale name source charmap)
  set(compiled "${locale_directory}/${name}/LC_CTYPE")
  # Shift_JIS differs from ASCII in two signs, which localedef would answer with a failure.
  add_custom_command(OUTPUT "${compiled}"
    COMMAND ${LOCALEDEF} --no-archive --no-warnings=ascii -i ${source} -f ${charmap} "${locale_directory}/${name}"
    VERBATIM)
  set_property(GLOBAL APPEND PROPERTY zulib_test_locales "${compiled}")
endfunction()

zulib_test_locale(ja_JP.EUC-JP ja_JP EUC-JP)
zulib_test_locale(ja_JP.SJIS ja_JP SHIFT_JIS)
zulib_test_locale(zh_CN.GBK zh_CN GBK)
zulib_test_locale(en_US.UTF-8 en_US UTF-8)
zulib_test_locale(de_DE.UTF-8 de_DE UTF-8)
zulib_test_locale(tr_TR.ISO-8859-9 tr_TR ISO-8859-9)

get_property(compiled_locales GLOBAL PROPERTY zulib_test_locales)
add_custom_target(test_locales DEPENDS ${compiled_locales})
add_dependencies(zulib_test_support test_locales)
