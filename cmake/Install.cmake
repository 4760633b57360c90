# Install rules, pkg-config file and exported CMake package, so that a daemon
# finds the library with either pkg-config or find_package().
#
# A default install (components Runtime and Devel) is what goes onto the board
# or into its image: the library, its header, .pc and CMake package. The host
# stand-ins of the platform libraries and the simulated BMC would shadow the
# firmware stack's own libraries there, so they form the component Simulator,
# which only an explicit "cmake --install BUILD --component Simulator" puts on a
# development host, with the console tool and the quorix-sim sandbox runner.
include(CMakePackageConfigHelpers)

install(TARGETS quorix_common_interface EXPORT QuorixCommonInterfaceTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Devel
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/quorix_common_interface.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Devel)

install(TARGETS quorix_common_base LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  COMPONENT Simulator NAMELINK_SKIP EXCLUDE_FROM_ALL)
install(TARGETS quorix_common_feature LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/quorix
  COMPONENT Simulator EXCLUDE_FROM_ALL)
install(TARGETS quorixctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Simulator EXCLUDE_FROM_ALL)
configure_file(${PROJECT_SOURCE_DIR}/cmake/quorix-sim.in ${PROJECT_BINARY_DIR}/quorix-sim @ONLY)
install(PROGRAMS ${PROJECT_BINARY_DIR}/quorix-sim DESTINATION ${CMAKE_INSTALL_BINDIR}
  COMPONENT Simulator EXCLUDE_FROM_ALL)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/sandbox DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/quorix
  COMPONENT Simulator EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/scripts/standins/ DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/quorix/standins
  USE_SOURCE_PERMISSIONS COMPONENT Simulator EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/defconfig/ DESTINATION ${CMAKE_INSTALL_DATADIR}/quorix-sim/defconfig
  COMPONENT Simulator EXCLUDE_FROM_ALL FILES_MATCHING PATTERN "*.json")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/fixtures/ DESTINATION ${CMAKE_INSTALL_DATADIR}/quorix-sim/fixtures
  COMPONENT Simulator EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/examples/daemon/daemon.c DESTINATION ${CMAKE_INSTALL_DATADIR}/quorix-sim/examples
  COMPONENT Simulator EXCLUDE_FROM_ALL)

install(EXPORT QuorixCommonInterfaceTargets NAMESPACE Quorix::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface COMPONENT Devel)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuorixCommonInterfaceConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfig.cmake
  ${PROJECT_BINARY_DIR}/QuorixCommonInterfaceConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorixCommonInterface COMPONENT Devel)

file(RELATIVE_PATH QUORIX_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" QUORIX_PC_TO_PREFIX "${QUORIX_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/quorix_common_interface.pc.in
  ${PROJECT_BINARY_DIR}/quorix_common_interface.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorix_common_interface.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Devel)

# Factory-default configuration files, read from "/etc/defconfig" when "/conf" has none. Relative to the
# install prefix by default; a firmware image build sets QUORIX_DEFCONFIG_DIR=/etc/defconfig.
set(QUORIX_DEFCONFIG_DIR "${CMAKE_INSTALL_SYSCONFDIR}/defconfig" CACHE STRING
  "Where the factory-default configuration files are installed (absolute, or relative to the prefix)")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/defconfig/ DESTINATION ${QUORIX_DEFCONFIG_DIR}
  COMPONENT Runtime FILES_MATCHING PATTERN "*.json")
