# Takes the program, its CMakeLists.txt and its output from README.md, does with them what a reader would do, and
# compares what the program prints with what README.md says that it prints.

# Sets `result` to the first fenced block of the given language.
function(readme_block language result)
  file(READ ${source}/README.md text)
  set(fence "\n```${language}\n")
  string(FIND "${text}" "${fence}" start)
  if(start EQUAL -1)
    message(FATAL_ERROR "README.md has no block of ${language}")
  endif()
  string(LENGTH "${fence}" length)
  math(EXPR start "${start} + ${length}")
  string(SUBSTRING "${text}" ${start} -1 text)
  string(FIND "${text}" "```" end)
  string(SUBSTRING "${text}" 0 ${end} text)
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${work} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE errors)
  if(result)
    message(FATAL_ERROR "${ARGN} ended with ${result}:\n${output}${errors}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/examples)
file(COPY ${source}/examples/data DESTINATION ${work}/examples)
readme_block(cpp program)
file(WRITE ${work}/coarser.cpp "${program}")
readme_block(cmake project)
file(WRITE ${work}/CMakeLists.txt "${project}")
readme_block(text expected)

run(${CMAKE_COMMAND} -S . -B build -G ${generator} -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${compiler})
run(${CMAKE_COMMAND} --build build)
run(build/coarser)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "README.md says\n${expected}but the program prints\n${output}")
endif()
