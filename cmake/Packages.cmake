# The Debian packages, which scripts/package makes: what is in each, and what each needs.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev host simulator)
set(CPACK_PACKAGE_NAME koln)
set(CPACK_PACKAGE_CONTACT "koln developers <koln@example.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Which packages own the libraries that are needed. Those of this project are no package's yet, so
# what the packages need of each other is said below.
find_program(KOLN_SHLIBDEPS dpkg-shlibdeps)
if(KOLN_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${CMAKE_BINARY_DIR} ${CMAKE_BINARY_DIR}/hostsupport)
endif()

# koln_package(<component> <package> <section> <other packages> <synopsis> <text>)
macro(koln_package component package section needs synopsis text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${needs}")
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${synopsis}\n${text}")
endmacro()

koln_package(runtime libkoln${PROJECT_VERSION_MAJOR} libs ""
  "object interface to Domino servers for backup agents"
  "The library libkoln, and the library libKoLib that stands in for the support library of a host.")
koln_package(dev libkoln-dev libdevel "libkoln${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})"
  "object interface to Domino servers for backup agents, development files"
  "Headers, the files for CMake and pkg-config, and examples.")
koln_package(host koln-host utils "libkoln${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})"
  "command that finds, saves, archives and restores Domino databases"
  "The command koln, a small complete host of libkoln.")
koln_package(simulator koln-simulator devel ""
  "simulated Notes runtime, for machines without a Domino server"
  "The command koln-simulate makes partitions with databases; the runtime that comes with it serves\
 them to hosts of libkoln.")
# A library that hosts link against tells their packages what to depend on.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packaging/shlibs)
set(needed "libkoln${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
file(WRITE ${CMAKE_BINARY_DIR}/packaging/shlibs
  "libkoln ${PROJECT_VERSION_MAJOR} ${needed}\nlibKoLib ${PROJECT_VERSION_MAJOR} ${needed}\n")

include(CPack)
