# What test_net needs besides its sources.

# The socket calls of the library go through tests/net/socket_faults.cpp.
foreach(call socket bind connect gethostbyname_r send recv poll ppoll close)
  target_link_options(test_net PRIVATE LINKER:--wrap=${call})
endforeach()
# What the ciphers and digests are compared with.
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
target_link_libraries(test_net PRIVATE OpenSSL::Crypto)
# The other side of a login, and GSS libraries that do as they are told, one of them with a function missing.
target_link_libraries(test_net PRIVATE gssapi_krb5)
foreach(library scripted_gss scripted_gss_short)
  add_library(${library} MODULE "${PROJECT_SOURCE_DIR}/tests/net/scripted_gss/scripted_gss.cpp")
  target_include_directories(${library} PRIVATE "${PROJECT_SOURCE_DIR}")
  set_target_properties(${library} PROPERTIES CXX_VISIBILITY_PRESET default POSITION_INDEPENDENT_CODE ON)
  add_dependencies(test_net ${library})
endforeach()
target_compile_definitions(scripted_gss_short PRIVATE WITHOUT_RELEASE_NAME)
target_compile_definitions(test_net PRIVATE ZULIB_SCRIPTED_GSS="$<TARGET_FILE:scripted_gss>"
                           ZULIB_SCRIPTED_GSS_SHORT="$<TARGET_FILE:scripted_gss_short>")
