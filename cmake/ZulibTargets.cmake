# The three shapes of target in this project.

# An archive of every source in src/NAME, which sees the whole of src/ by its include path.
function(zulib_subsystem name)
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/${name}/*.cpp")
  add_library(zulib_${name} STATIC ${sources})
  target_include_directories(zulib_${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  target_link_libraries(zulib_${name} PUBLIC Threads::Threads ICU::uc ${CMAKE_DL_LIBS})
endfunction()

# What both shared libraries have in common: a version, a SONAME, a symbol map, nothing left undefined.
function(zulib_shared target map)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/${map}")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/src"
    INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zulib>)
  target_link_libraries(${target} PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  target_link_options(${target} PRIVATE "-Wl,--version-script=${PROJECT_SOURCE_DIR}/${map}")
  if(NOT ZULIB_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# A GoogleTest program of every source in tests/NAME, linked with the archives of the given subsystems. It
# runs as one, since its fixtures (a database server among them) are made once for all its tests.
function(zulib_test name)
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp")
  if("drivermanager" IN_LIST ARGN)
    list(APPEND sources "${PROJECT_SOURCE_DIR}/tests/support/linked_cursor_library.cpp")
  endif()
  add_executable(test_${name} ${sources})
  target_include_directories(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  set(archives)
  foreach(subsystem ${ARGN})
    list(APPEND archives zulib_${subsystem})
  endforeach()
  target_link_libraries(test_${name} PRIVATE zulib_test_support "$<LINK_GROUP:RESCAN,${archives}>" GTest::gtest_main)
  target_precompile_headers(test_${name} REUSE_FROM zulib_test_pch)
  add_dependencies(test_${name} catalogs)
  add_test(NAME ${name} COMMAND test_${name} --gtest_brief=1)
  # Texts in the tests are the English ones, whatever the language of whoever runs them.
  set_tests_properties(${name} PROPERTIES TIMEOUT 600
    ENVIRONMENT_MODIFICATION "LANG=unset:;LC_ALL=unset:;LC_MESSAGES=unset:")
endfunction()
