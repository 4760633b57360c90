# Install rules, pkg-config file and exported CMake package, so that a daemon
# finds the library with either pkg-config or find_package().
include(CMakePackageConfigHelpers)

install(TARGETS quorix_common_interface EXPORT QuorixCommonInterfaceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS quorix_common_base EXPORT QuorixCommonInterfaceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/quorix_common_interface.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT QuorixCommonInterfaceTargets NAMESPACE Quorix::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuorixCommonInterfaceConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfig.cmake
  ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface)

file(RELATIVE_PATH QUORIX_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" QUORIX_PC_TO_PREFIX "${QUORIX_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/quorix_common_interface.pc.in
  ${PROJECT_BINARY_DIR}/quorix_common_interface.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorix_common_interface.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Factory-default configuration files, read from "/etc/defconfig" when "/conf" has none. Relative to the
# install prefix by default; a firmware image build sets QUORIX_DEFCONFIG_DIR=/etc/defconfig.
set(QUORIX_DEFCONFIG_DIR "${CMAKE_INSTALL_SYSCONFDIR}/defconfig" CACHE STRING
  "Where the factory-default configuration files are installed (absolute, or relative to the prefix)")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/defconfig/ DESTINATION ${QUORIX_DEFCONFIG_DIR}
  FILES_MATCHING PATTERN "*.json")
