# Installs the HAL and the platform substitute it links, and exports them as the
# CMake package `hal_frontsideradarleft`.
include(CMakePackageConfigHelpers)

set(FSRL_CMAKE_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/hal_frontsideradarleft")

install(TARGETS zol_platform hal_frontsideradarleft
  EXPORT hal_frontsideradarleftTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/hal_frontsideradarleft)

install(EXPORT hal_frontsideradarleftTargets
  NAMESPACE hal_frontsideradarleft::
  DESTINATION ${FSRL_CMAKE_INSTALL_DIR})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/hal_frontsideradarleftConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/hal_frontsideradarleftConfig.cmake
  INSTALL_DESTINATION ${FSRL_CMAKE_INSTALL_DIR})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/hal_frontsideradarleftConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/hal_frontsideradarleftConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/hal_frontsideradarleftConfigVersion.cmake
  DESTINATION ${FSRL_CMAKE_INSTALL_DIR})
