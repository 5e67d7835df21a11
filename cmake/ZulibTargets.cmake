# The three shapes of target in this project.

# An archive of every source below a directory, or all but those below the directory after EXCEPT.
function(zulib_archive name directory)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${directory}/*.cpp")
  if(ARGC GREATER 2)
    list(FILTER sources EXCLUDE REGEX "^${PROJECT_SOURCE_DIR}/${ARGV3}/")
  endif()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  target_link_libraries(${name} PUBLIC Threads::Threads ICU::uc ${CMAKE_DL_LIBS})
endfunction()

# What both shared libraries have in common: a version, a SONAME, a symbol map, nothing left undefined.
function(zulib_shared target map)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/${map}")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/src"
    INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  target_link_options(${target} PRIVATE "-Wl,--version-script=${PROJECT_SOURCE_DIR}/${map}")
  if(NOT ZULIB_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# A link of another name to a shared library, in a directory of its own that only LD_LIBRARY_PATH leads to.
function(zulib_compat_name target name)
  set(directory "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/compat")
  file(MAKE_DIRECTORY "${directory}")
  file(CREATE_LINK "../lib${target}.so.${PROJECT_VERSION_MAJOR}" "${directory}/${name}" SYMBOLIC)
  install(FILES "${directory}/${name}" DESTINATION ${CMAKE_INSTALL_LIBDIR}/compat)
endfunction()

# A GoogleTest program of every source in tests/NAME, linked with the given archives. It runs as one, since
# its fixtures (a database server among them) are made once for all its tests.
function(zulib_test name)
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp")
  if("zuodbc_core" IN_LIST ARGN)
    list(APPEND sources "${PROJECT_SOURCE_DIR}/tests/support/linked_cursor_library.cpp")
  endif()
  add_executable(test_${name} ${sources})
  target_include_directories(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  list(JOIN ARGN "," archives)
  target_link_libraries(test_${name} PRIVATE "$<LINK_GROUP:RESCAN,zulib_test_support,${archives}>" GTest::gtest_main)
  target_precompile_headers(test_${name} REUSE_FROM zulib_test_pch)
  add_dependencies(test_${name} catalogs)
  add_test(NAME ${name} COMMAND test_${name} --gtest_brief=1)
  set(entries ${name})
  # Tests with "Thread" in their names once more, under the label by which the thread sanitizer's run picks them.
  if(ZULIB_SANITIZE MATCHES "thread")
    zulib_names_threads(threaded ${sources})
    if(threaded)
      add_test(NAME ${name}_threads COMMAND test_${name} --gtest_brief=1 --gtest_filter=*Thread*)
      set_tests_properties(${name}_threads PROPERTIES LABELS threads)
      list(APPEND entries ${name}_threads)
    endif()
  endif()
  # Texts in the tests are the English ones, whatever the language of whoever runs them.
  set_tests_properties(${entries} PROPERTIES TIMEOUT 600
    ENVIRONMENT_MODIFICATION "LANG=unset:;LC_ALL=unset:;LC_MESSAGES=unset:")
endfunction()

# Whether a test in one of the sources has "Thread" in its name.
function(zulib_names_threads result)
  set(${result} FALSE PARENT_SCOPE)
  foreach(source ${ARGN})
    file(STRINGS "${source}" named REGEX "^TEST.*Thread")
    if(named)
      set(${result} TRUE PARENT_SCOPE)
    endif()
  endforeach()
endfunction()
