# The installed package: headers, libraries, pkg-config file, CMake package, documents and examples.
# The programs install themselves.
include(CMakePackageConfigHelpers)

install(TARGETS hqos hqos-platform EXPORT hqos LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/hqos.h include/hqosd.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hqos/platform
  FILES_MATCHING PATTERN "*.h" PATTERN host EXCLUDE)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/hqos)
install(EXPORT hqos NAMESPACE hqos:: FILE hqosTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/hqosConfig.cmake.in ${PROJECT_BINARY_DIR}/hqosConfig.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hqosConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hqosConfig.cmake ${PROJECT_BINARY_DIR}/hqosConfigVersion.cmake
  DESTINATION ${package_dir})

file(RELATIVE_PATH pkgconfig_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/hqos.pc.in ${PROJECT_BINARY_DIR}/hqos.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hqos.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# As in the source, so that links between them work.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS)
