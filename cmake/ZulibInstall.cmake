# Headers, libraries, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS zulib zuodbc EXPORT zulibTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY src/zulib DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING
  PATTERN "*.h" PATTERN "internal" EXCLUDE PATTERN "cursor" EXCLUDE)
install(FILES src/zulib/cursor/entry/cursorlib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zulib/cursor/entry)
file(GLOB contract CONFIGURE_DEPENDS src/zuodbc/*.h)
install(FILES ${contract} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zuodbc)
install(EXPORT zulibTargets NAMESPACE zulib:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zulib)

configure_package_config_file(cmake/zulibConfig.cmake.in zulibConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zulib)
write_basic_package_version_file(zulibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zulibConfig.cmake" "${PROJECT_BINARY_DIR}/zulibConfigVersion.cmake"
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zulib)

# As seen from the .pc files, so that an installation may be made, or moved, anywhere.
file(RELATIVE_PATH prefix_from_pkgconfig "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
foreach(library zulib zuodbc)
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${library}.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
