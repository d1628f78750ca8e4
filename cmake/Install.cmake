# Where everything goes, and how a consumer finds it: find_package(KoLN) or pkg-config koln.
include(CMakePackageConfigHelpers)

install(TARGETS koln KoLib
  EXPORT KoLNTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/koln FILES_MATCHING PATTERN "*.h")

set(KOLN_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KoLN)
install(EXPORT KoLNTargets NAMESPACE KoLN:: DESTINATION ${KOLN_PACKAGE_DIR})
configure_package_config_file(cmake/KoLNConfig.cmake.in
  ${CMAKE_BINARY_DIR}/KoLNConfig.cmake
  INSTALL_DESTINATION ${KOLN_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KoLNConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KoLNConfig.cmake ${CMAKE_BINARY_DIR}/KoLNConfigVersion.cmake
  DESTINATION ${KOLN_PACKAGE_DIR})

# Found from its own place, so that the tree may be installed anywhere.
file(RELATIVE_PATH KOLN_PREFIX_FROM_PC
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/koln.pc.in ${CMAKE_BINARY_DIR}/koln.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/koln.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
