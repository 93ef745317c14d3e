# Runs `program` in the folder `work` and compares what it prints with the file `expected`.
include(${CMAKE_CURRENT_LIST_DIR}/../support/documentedprograms.cmake)

file(READ ${expected} text)
run_in(${work} output ${program})
require_same(docs/recipes.md "${text}" "${output}")
