# Helpers of the cmake -P test scripts. TEST_NAME names the test in messages.
#
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

# begin_test(VAR...): stops the test unless every named variable is set,
# then gives it an empty WORK_DIR with a home folder for the apps it runs.
function(begin_test)
  foreach(var ${ARGN})
    if(NOT ${var})
      message(FATAL_ERROR "${TEST_NAME}: ${var} is not set")
    endif()
  endforeach()
  file(REMOVE_RECURSE ${WORK_DIR})
  file(MAKE_DIRECTORY ${WORK_DIR}/home)
endfunction()
