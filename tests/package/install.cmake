# Installs the tree `build` into `first` and moves it to `moved`.
file(REMOVE_RECURSE ${first} ${moved})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix ${first} RESULT_VARIABLE result
                OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(result)
  message(FATAL_ERROR "The installation failed:\n${output}")
endif()
file(RENAME ${first} ${moved})

file(GLOB_RECURSE texts ${moved}/*.cmake ${moved}/*.pc ${moved}/*.h)
foreach(text IN LISTS texts)
  file(READ ${text} content)
  foreach(path IN ITEMS ${build} ${first})
    string(FIND "${content}" "${path}" position)
    if(NOT position EQUAL -1)
      message(SEND_ERROR "${text} names ${path}")
    endif()
  endforeach()
endforeach()
