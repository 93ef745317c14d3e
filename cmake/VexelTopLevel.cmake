# Conveniences for those who work on vexel itself. A project that contains it decides these things on its own.

get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT is_multi_config AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Type of build" FORCE)
endif()

find_program(VEXEL_CCACHE ccache)
mark_as_advanced(VEXEL_CCACHE)
if(VEXEL_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VEXEL_CCACHE})
endif()
