# drivers/pgwire as a target of this build, for the tests and the benchmarks. The installed package builds it by its
# own CMakeLists.txt, as any driver.

include_guard(GLOBAL)

find_package(OpenSSL REQUIRED COMPONENTS Crypto)
file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/drivers/pgwire/*.cpp")
add_library(zupgwire MODULE ${sources})
target_include_directories(zupgwire PRIVATE "${PROJECT_SOURCE_DIR}/drivers/pgwire")
target_link_libraries(zupgwire PRIVATE zulib OpenSSL::Crypto)
target_link_options(zupgwire PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/drivers/pgwire/pgwire.map" LINKER:-Bsymbolic)
set_target_properties(zupgwire PROPERTIES CXX_VISIBILITY_PRESET default POSITION_INDEPENDENT_CODE ON)

file(GLOB catalogs CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/drivers/pgwire/catalog" "${PROJECT_SOURCE_DIR}/drivers/pgwire/catalog/*")
foreach(locale ${catalogs})
  set(directory "${PROJECT_BINARY_DIR}/share/zulib/locale/${locale}/LC_MESSAGES")
  set(source "${PROJECT_SOURCE_DIR}/drivers/pgwire/catalog/${locale}/zupgwire.msg")
  add_custom_command(OUTPUT "${directory}/zupgwire.mo"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${directory}"
    COMMAND ${CMAKE_COMMAND} -E rm -f "${directory}/zupgwire.mo"
    COMMAND ${GENCAT} "${directory}/zupgwire.mo" "${source}"
    DEPENDS "${source}" VERBATIM)
  add_custom_target(catalog_${locale}_zupgwire DEPENDS "${directory}/zupgwire.mo")
  add_dependencies(zupgwire catalog_${locale}_zupgwire)
endforeach()
