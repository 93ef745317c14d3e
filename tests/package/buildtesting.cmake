# BUILD_TESTING=OFF leaves the tests out, whose folder of the build shows whether they are there.
file(REMOVE_RECURSE ${work})
foreach(switch IN ITEMS OFF ON)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${source} -B ${work} -G ${generator} -DCMAKE_CXX_COMPILER=${compiler} -DVEXEL_QT=${qt}
            -DVEXEL_BUILD_EXAMPLES=OFF -DBUILD_TESTING=${switch}
    RESULT_VARIABLE result
    OUTPUT_VARIABLE output
    ERROR_VARIABLE output)
  if(result)
    message(FATAL_ERROR "The configuration with BUILD_TESTING=${switch} failed:\n${output}")
  endif()
  set(are_there OFF)
  if(EXISTS ${work}/tests)
    set(are_there ON)
  endif()
  if(NOT are_there STREQUAL switch)
    message(SEND_ERROR "With BUILD_TESTING=${switch}, tests are there: ${are_there}")
  endif()
endforeach()
