# step(NAME COMMAND...): runs a command for a cmake -P test script; stops the
# test with the command's output when it fails, and leaves the output in
# step_output. TEST_NAME names the test in its messages.
function(step name)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result
                  OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${TEST_NAME}: ${name} failed (${result}):\n${output}")
  endif()
  message(STATUS "${TEST_NAME}: ${name}: ok")
  set(step_output "${output}" PARENT_SCOPE)
endfunction()
