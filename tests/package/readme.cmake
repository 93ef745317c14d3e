# Takes the program, its CMakeLists.txt and its output from README.md, does with them what a reader would do, and
# compares what the program prints with what README.md says that it prints.
include(${source}/tests/support/documentedprograms.cmake)

# Sets `result` to the first fenced block of the given language.
function(readme_block language result)
  file(READ ${source}/README.md text)
  markdown_block("${text}" ${language} block rest)
  if(block STREQUAL "")
    message(FATAL_ERROR "README.md has no block of ${language}")
  endif()
  set(${result} "${block}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/examples)
file(COPY ${source}/examples/data DESTINATION ${work}/examples)
readme_block(cpp program)
file(WRITE ${work}/coarser.cpp "${program}")
readme_block(cmake project)
file(WRITE ${work}/CMakeLists.txt "${project}")
readme_block(text expected)

run_in(${work} output ${CMAKE_COMMAND} -S . -B build -G ${generator} -DCMAKE_BUILD_TYPE=Release
       -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${compiler})
run_in(${work} output ${CMAKE_COMMAND} --build build)
run_in(${work} output build/coarser)
require_same(README.md "${expected}" "${output}")
