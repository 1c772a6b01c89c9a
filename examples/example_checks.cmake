# run_example and expect, for the examples' smoke tests (cmake -P scripts).

# Runs a program (through EMULATOR, when set, for a cross build), shows what
# it printed and fails unless it ended with status 0; its output goes to
# the variable `output`.
function(run_example output)
  execute_process(COMMAND ${EMULATOR} ${ARGN}
    RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(JOIN " " command ${ARGN})
  message("${command}\n${out}${err}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${command} ended with ${status}")
  endif()
  set(${output} "${out}" PARENT_SCOPE)
endfunction()

# Fails unless `pattern` matches `text` exactly `times` times.
function(expect text pattern times)
  string(REGEX MATCHALL "${pattern}" found "${text}")
  list(LENGTH found count)
  if(NOT count EQUAL times)
    message(FATAL_ERROR "expected ${times} line(s) matching '${pattern}', found ${count}")
  endif()
endfunction()
