# What `cpack -G DEB` makes: the library in a package named after its SONAME, libvexel-dev, and vexel-tools where the
# programs are built; with Qt 6, libvexel-qt6-dev and vexel-qt6-tools. A build for it has the prefix /usr, whose library
# folder is Debian's: scripts/packages does all of it.
if(NOT BUILD_SHARED_LIBS)
  return()
endif()

set(VEXEL_DEBIAN_REVISION 1 CACHE STRING "What follows the version of vexel in that of its Debian packages")
mark_as_advanced(VEXEL_DEBIAN_REVISION)

set(debian_version ${PROJECT_VERSION}-${VEXEL_DEBIAN_REVISION})
get_target_property(soversion vexel SOVERSION)
get_target_property(library vexel OUTPUT_NAME)
# As Debian derives it from the SONAME: where the name ends in a digit, a hyphen keeps the version apart.
string(REGEX REPLACE "([0-9])$" "\\1-" runtime_package lib${library})
string(APPEND runtime_package ${soversion})
# The libraries may be installed together, what else there is has the same paths for both.
if(VEXEL_QT_MAJOR EQUAL 5)
  set(qt_package qtbase5-dev)
else()
  set(qt_package qt6-base-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONFLICTS libvexel-dev)
  set(CPACK_DEBIAN_EXAMPLES_PACKAGE_CONFLICTS vexel-tools)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexel)
set(CPACK_PACKAGE_VENDOR "The vexel authors")
set(CPACK_PACKAGE_CONTACT "The vexel authors <maintainers@vexel.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_COMPONENTS_ALL Runtime Development)
if(VEXEL_BUILD_EXAMPLES)
  list(APPEND CPACK_COMPONENTS_ALL Examples)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VEXEL_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_SOURCE vexel)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# Its shlibs file is where packages that link the library get their dependency from. CPack's own scripts run ldconfig;
# the trigger lets that of libc do it, once for all packages of a run.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "vexel reads and writes large georeferenced rasters, in single files or in grids of tile files, and makes coarser
copies of them.\n\nThis package holds the shared library.")

# The versions are those that CMakeLists.txt asks for.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME lib${library}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
string(
  JOIN ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${debian_version})"
  "libgdal-dev (>= 2.2)" "${qt_package} (>= ${VEXEL_QT_MINIMUM})" "libeigen3-dev (>= 3.3)" "libboost-dev (>= 1.65)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "vexel reads and writes large georeferenced rasters, in single files or in grids of tile files, and makes coarser
copies of them.\n\nThis package holds the headers, the CMake package and the pkg-config file.")

# The programs come from the same build, which may use what an older library of the same SONAME does not have.
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_NAME ${library}-tools)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SECTION science)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_EXAMPLES_PACKAGE_DEPENDS "${runtime_package} (>= ${debian_version})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)
set(CPACK_DEBIAN_EXAMPLES_DESCRIPTION
    "vexel reads and writes large georeferenced rasters, in single files or in grids of tile files, and makes coarser
copies of them.\n\nThis package holds vexel-downsample, the program that makes coarser copies.")

# Every Debian package says under what licence it comes. Elsewhere the tree has no such files.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  install(
    FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
    RENAME copyright
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
