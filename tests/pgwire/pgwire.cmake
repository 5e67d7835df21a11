#The driver in the sanitizers' builds, and the program that tests it through the driver manager. The installed
#package builds the driver once more, by the driver's own CMakeLists.txt (tests/install/check.sh).

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

file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/pgwire/*.cpp")
# Not the support library: its allocator counts what is linked in, and this program's libraries are shared.
add_executable(test_pgwire ${sources} reload/failing_malloc.cpp support/odbc_fixture.cpp support/postgres_fixture.cpp
               support/kerberos_realm.cpp)
target_include_directories(test_pgwire PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(test_pgwire PRIVATE ZULIB_PGWIRE="$<TARGET_FILE:zupgwire>"
                           ZULIB_BUILD_DIRECTORY="${PROJECT_BINARY_DIR}")
target_link_libraries(test_pgwire PRIVATE zuodbc zulib GTest::gtest GTest::gmock GTest::gtest_main ${CMAKE_DL_LIBS})
set_source_files_properties(reload/failing_malloc.cpp PROPERTIES
  SKIP_PRECOMPILE_HEADERS ON COMPILE_OPTIONS -fno-sanitize=all)
target_precompile_headers(test_pgwire REUSE_FROM zulib_test_pch)
add_dependencies(test_pgwire zupgwire catalogs)
add_test(NAME pgwire COMMAND test_pgwire --gtest_brief=1)
set(entries pgwire)
if(ZULIB_SANITIZE MATCHES "thread")
  add_test(NAME pgwire_threads COMMAND test_pgwire --gtest_brief=1 --gtest_filter=*Thread*)
  set_tests_properties(pgwire_threads PROPERTIES LABELS threads)
  list(APPEND entries pgwire_threads)
endif()
set_tests_properties(${entries} PROPERTIES TIMEOUT 600 ENVIRONMENT_MODIFICATION "LANG=unset:;LC_ALL=unset:;LC_MESSAGES=unset:")
