# Where everything goes, and how a consumer finds it: find_package(KoLN) or pkg-config koln.
# The components become packages, see Packages.cmake; those of koln and of the simulator are chosen
# where they are built.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME dev)
# Whoever builds with a strict umask installs for others all the same.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(TARGETS koln KoLib
  EXPORT KoLNTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
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

# Manual pages, and completions where the shells look for them.
set(manual ${CMAKE_INSTALL_MANDIR})
set(commands koln koln-simulate)
set(components host simulator)
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/man/koln-registry.conf.5 DESTINATION ${manual}/man5 COMPONENT runtime)
foreach(command component IN ZIP_LISTS commands components)
  install(FILES docs/man/${command}.1 DESTINATION ${manual}/man1 COMPONENT ${component})
  install(FILES packaging/completions/${command}.bash DESTINATION ${completions}
          COMPONENT ${component})
endforeach()
install(FILES packaging/completions/_koln DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
        COMPONENT host)
