# What the library is built on. vexelConfig.cmake.in asks for the same versions, vexel.pc.in and VexelPackages.cmake too.
#
# The package files of GDAL and Eigen accept only the minor or major version that was asked for, so they are asked for
# any, and the lower bound is compared here.
function(vexel_at_least package minimum)
  if(${package}_VERSION AND ${package}_VERSION VERSION_LESS ${minimum})
    message(FATAL_ERROR "vexel needs ${package} ${minimum} or later, found ${${package}_VERSION}")
  endif()
endfunction()

find_package(GDAL REQUIRED)
vexel_at_least(GDAL 2.2)
find_package(Eigen3 REQUIRED NO_MODULE)
vexel_at_least(Eigen3 3.3)
find_package(OpenMP REQUIRED COMPONENTS CXX)

# Boost has a package file since 1.70. For older ones there is a module of CMake, which newer versions of CMake only
# have under the old policy. Under the new one, BOOST_ROOT is heeded by another policy.
if(POLICY CMP0167)
  cmake_policy(SET CMP0144 NEW)
  cmake_policy(SET CMP0167 NEW)
endif()
find_package(Boost 1.65 QUIET)
if(POLICY CMP0167 AND NOT Boost_FOUND)
  cmake_policy(SET CMP0167 OLD)
endif()
find_package(Boost 1.65 REQUIRED)

# Finds the Qt that VEXEL_QT asks for, and sets VEXEL_QT_MAJOR to its major version and VEXEL_QT_MINIMUM to the lowest
# version that will do. No program may have both: their classes have the same names.
function(vexel_find_qt)
  set(minimum_5 5.9)
  set(minimum_6 6.2)
  if(VEXEL_QT)
    set(candidates ${VEXEL_QT})
  elseif(TARGET Qt6::Core AND NOT TARGET Qt5::Core)
    set(candidates 6)
  else()
    set(candidates 5 6)
  endif()
  foreach(major IN LISTS candidates)
    if(NOT DEFINED minimum_${major})
      message(FATAL_ERROR "VEXEL_QT is 5 or 6, or empty, rather than ${VEXEL_QT}")
    endif()
    find_package(Qt${major} ${minimum_${major}} QUIET COMPONENTS Core)
    if(TARGET Qt${major}::Core)
      message(STATUS "Found Qt ${Qt${major}_VERSION}")
      set(VEXEL_QT_MAJOR ${major} PARENT_SCOPE)
      set(VEXEL_QT_MINIMUM ${minimum_${major}} PARENT_SCOPE)
      return()
    endif()
    list(APPEND missing "Qt ${major} (${minimum_${major}} or later)")
  endforeach()
  list(JOIN missing " or " missing)
  message(FATAL_ERROR "vexel needs ${missing} with its Core, which CMake does not find")
endfunction()
vexel_find_qt()
