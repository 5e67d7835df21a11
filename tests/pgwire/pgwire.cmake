# The program that tests the driver through the driver manager.

include(PgwireDriver)
file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/pgwire/*.cpp")
# Not the support library: its allocator counts what is linked in, and this program's libraries are shared.
add_executable(test_pgwire ${sources} reload/failing_malloc.cpp support/odbc_fixture.cpp support/postgres_fixture.cpp
               support/kerberos_realm.cpp support/server_process.cpp)
target_include_directories(test_pgwire PRIVATE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(test_pgwire PRIVATE ZULIB_PGWIRE="$<TARGET_FILE:zupgwire>"
                           ZULIB_BUILD_DIRECTORY="${PROJECT_BINARY_DIR}"
                           ZULIB_TEST_SUPPORT="${PROJECT_SOURCE_DIR}/tests/support")
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
