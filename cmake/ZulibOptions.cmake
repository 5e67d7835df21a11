# Language level, warnings, sanitizers and the packages that the targets stand on.

option(ZULIB_TESTS "Build the tests" OFF)
option(ZULIB_BENCH "Build the benchmarks" OFF)
option(ZULIB_FUZZ "Build the libFuzzer targets (clang)" OFF)
option(ZULIB_COVERAGE "Count the lines that run" OFF)
set(ZULIB_SANITIZE "" CACHE STRING "Sanitizers for everything that is compiled: address;undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()

add_compile_options(-Wall -Wextra -Wpedantic)
# ODBC passes every buffer as void* and names its type in a number; one buffer is read as several types.
add_compile_options(-fno-strict-aliasing)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A symbol that is unique in the process would keep the library that has it from ever being unloaded.
  add_compile_options(-fno-gnu-unique)
  # Nobody replaces a function of a library in its own calls, so that what is small can be inlined there too.
  add_compile_options($<$<CONFIG:Release>:-fno-semantic-interposition>)
endif()
if(ZULIB_SANITIZE)
  list(JOIN ZULIB_SANITIZE "," sanitizers)
  add_compile_options(-fsanitize=${sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${sanitizers})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Instrumented, the compiler's own std::string looks to it as if it were written out of bounds.
    add_compile_options(-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
  endif()
endif()
if(ZULIB_COVERAGE)
  # The counters are those of all threads.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
if(ZULIB_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_package(Threads REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc)
# Headers only: the GSS library is opened at run time.
find_path(ZULIB_GSSAPI_HEADERS gssapi/gssapi.h REQUIRED)
