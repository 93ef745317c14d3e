# Takes the programs, their CMakeLists.txt and their output from README.md, does with them what a reader would do, and
# compares what the programs print with what README.md says that they print.
include(${source}/tests/support/documentedprograms.cmake)

file(READ ${source}/README.md page)
markdown_block("${page}" cmake project rest)
if(project STREQUAL "")
  message(FATAL_ERROR "README.md has no CMakeLists.txt")
endif()

file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work}/examples)
file(COPY ${source}/examples/data DESTINATION ${work}/examples)

# In their order. The project is that of the last one.
set(names heights coarser)
foreach(name IN LISTS names)
  markdown_block("${page}" cpp program page)
  markdown_block("${page}" text expected page)
  if(program STREQUAL "" OR expected STREQUAL "")
    message(FATAL_ERROR "README.md lacks the program of ${name}, or what it prints")
  endif()
  file(WRITE ${work}/${name}/${name}.cpp "${program}")
  string(REPLACE coarser ${name} own_project "${project}")
  file(WRITE ${work}/${name}/CMakeLists.txt "${own_project}")
  run_in(${work} output ${CMAKE_COMMAND} -S ${name} -B build-${name} -G ${generator} -DCMAKE_BUILD_TYPE=Release
         -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${compiler})
  run_in(${work} output ${CMAKE_COMMAND} --build build-${name})
  run_in(${work} output build-${name}/${name})
  require_same(README.md "${expected}" "${output}")
endforeach()
