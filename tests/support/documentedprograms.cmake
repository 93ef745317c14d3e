# Programs that stand in a Markdown page, each followed by what it prints.

# Cuts the first fenced block of a language out of a text: sets `block` to what is in it and `rest` to what follows it.
# Both are empty if there is none.
function(markdown_block text language block rest)
  set(${block} "" PARENT_SCOPE)
  set(${rest} "" PARENT_SCOPE)
  set(fence "\n```${language}\n")
  string(FIND "${text}" "${fence}" start)
  if(start EQUAL -1)
    return()
  endif()
  string(LENGTH "${fence}" length)
  math(EXPR start "${start} + ${length}")
  string(SUBSTRING "${text}" ${start} -1 text)
  string(FIND "${text}" "```" end)
  string(SUBSTRING "${text}" 0 ${end} content)
  string(SUBSTRING "${text}" ${end} -1 text)
  set(${block} "${content}" PARENT_SCOPE)
  set(${rest} "${text}" PARENT_SCOPE)
endfunction()

# Runs a command in the folder `work` and sets `output` to what it prints. It has to succeed.
function(run_in work output)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${work} RESULT_VARIABLE result OUTPUT_VARIABLE printed
                  ERROR_VARIABLE errors)
  if(result)
    message(FATAL_ERROR "${ARGN} ended with ${result}:\n${printed}${errors}")
  endif()
  set(${output} "${printed}" PARENT_SCOPE)
endfunction()

# Fails unless a program has printed what its page says.
function(require_same page expected printed)
  if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "${page} says\n${expected}but the program prints\n${printed}")
  endif()
endfunction()
