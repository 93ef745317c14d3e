# What `cmake --install` lays down: library, headers below include/vexel, CMake package and pkg-config file. All of
# it finds its parts from where it lies, so that the tree can be moved as a whole.
include(CMakePackageConfigHelpers)

set(VEXEL_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vexel)

# `<vexel/...>` is the one way in: the tree below include/vexel itself is on nobody's include path.
install(
  TARGETS vexel
  EXPORT vexelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

function(vexel_install_headers)
  foreach(header IN LISTS ARGN)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vexel/${folder} COMPONENT Development)
  endforeach()
endfunction()

function(vexel_install_cmake_package)
  install(
    EXPORT vexelTargets
    NAMESPACE vexel::
    DESTINATION ${VEXEL_INSTALL_CMAKEDIR}
    COMPONENT Development)
  configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/vexelConfig.cmake.in ${PROJECT_BINARY_DIR}/cmake/vexelConfig.cmake
    INSTALL_DESTINATION ${VEXEL_INSTALL_CMAKEDIR}
    NO_SET_AND_CHECK_MACRO)
  # Below 1.0 every minor version may break what the former promised.
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/vexelConfigVersion.cmake
                                   COMPATIBILITY SameMinorVersion)
  install(
    FILES ${PROJECT_BINARY_DIR}/cmake/vexelConfig.cmake ${PROJECT_BINARY_DIR}/cmake/vexelConfigVersion.cmake
    DESTINATION ${VEXEL_INSTALL_CMAKEDIR}
    COMPONENT Development)
endfunction()

# A folder given relative to the prefix stays so; an absolute one is the user's explicit wish.
function(vexel_pc_folder result folder)
  if(IS_ABSOLUTE ${folder})
    set(${result} ${folder} PARENT_SCOPE)
  else()
    set(${result} "\${prefix}/${folder}" PARENT_SCOPE)
  endif()
endfunction()

function(vexel_install_pkg_config)
  file(RELATIVE_PATH VEXEL_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" VEXEL_PC_PREFIX "${VEXEL_PC_PREFIX}")
  vexel_pc_folder(VEXEL_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
  vexel_pc_folder(VEXEL_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
  get_target_property(VEXEL_PC_LIBRARY vexel OUTPUT_NAME)
  # Boost has no pkg-config file: one that the compiler does not find by itself has to be named.
  get_target_property(boost_include Boost::headers INTERFACE_INCLUDE_DIRECTORIES)
  if(boost_include AND NOT boost_include IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    set(VEXEL_PC_BOOST " -I${boost_include}")
  endif()
  if(NOT BUILD_SHARED_LIBS)
    set(VEXEL_PC_DEFINITION " -DVEXEL_STATIC")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/vexel.pc.in ${PROJECT_BINARY_DIR}/vexel.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vexel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT Development)
endfunction()

vexel_install_headers(${VEXEL_PUBLIC_HEADERS} ${VEXEL_QTGUI_HEADERS})
install(FILES ${VEXEL_BUILD_INCLUDE_DIR}/vexel/version.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vexel
        COMPONENT Development)
vexel_install_cmake_package()
vexel_install_pkg_config()
