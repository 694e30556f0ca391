# cmake -P script: proves the ABI check on a small library of qdx_
# functions, built several ways by CC with debug information: a baseline is
# recorded from the first; an added function passes; a changed parameter or
# a grown struct fails at the same QDX_ABI_VERSION, and passes once the
# version goes up.
set(TEST_NAME "ABI check fixture")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(CHECK WORK_DIR CC ABIDW ABIDIFF)

# Writes WORK_DIR/<name>/include/qdx.h (with version, a struct of fields,
# e.g. "int width, height", and the declarations) and the library.
function(build_library name version fields declarations)
  set(dir ${WORK_DIR}/${name})
  file(WRITE ${dir}/include/qdx.h "#define QDX_ABI_VERSION ${version}\n"
             "typedef struct qdx_area { ${fields}; } qdx_area;\n${declarations};\n")
  string(REGEX REPLACE ";" " { return 0; }\n" definitions "${declarations}")
  file(WRITE ${dir}/lib.c "#include \"qdx.h\"\n${definitions} { return 0; }\n")
  step("build ${name}" ${CC} -g -O0 -shared -fPIC -I${dir}/include ${dir}/lib.c
       -o ${dir}/libfixture.so)
endfunction()

# Runs the check on a library; expect is "pass" or "fail".
function(run_check name expect)
  set(dir ${WORK_DIR}/${name})
  execute_process(COMMAND ${CMAKE_COMMAND} -DLIBRARY=${dir}/libfixture.so
                  -DHEADER=${dir}/include/qdx.h
                  -DBASELINE_DIR=${WORK_DIR}/baselines -DWORK_DIR=${dir}/check
                  -DABIDW=${ABIDW} -DABIDIFF=${ABIDIFF} ${ARGN} -P ${CHECK}
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if((expect STREQUAL "pass") AND NOT result EQUAL 0)
    message(FATAL_ERROR "ABI check fixture: ${name} should pass:\n${output}")
  endif()
  if((expect STREQUAL "fail") AND result EQUAL 0)
    message(FATAL_ERROR "ABI check fixture: ${name} should fail:\n${output}")
  endif()
  message(STATUS "ABI check fixture: ${name}: ${expect}ed, as it should")
  set(check_output "${output}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${WORK_DIR}/baselines)
set(fields "int width, height")
set(original_functions "int qdx_open(int size);int qdx_close(void);int qdx_fill(qdx_area* area)")
build_library(original 1 "${fields}" "${original_functions}")
run_check(original pass -DRECORD=ON)
run_check(original pass)
build_library(added 1 "${fields}" "${original_functions};int qdx_flush(void)")
run_check(added pass)
build_library(changed 1 "${fields}" "int qdx_open(double size);int qdx_close(void);int qdx_fill(qdx_area* area)")
run_check(changed fail)
if(NOT check_output MATCHES "changed incompatibly since version 1")
  message(FATAL_ERROR "ABI check fixture: the failure does not say why:\n${check_output}")
endif()
build_library(grown 1 "int width, height, depth" "${original_functions}")
run_check(grown fail)
build_library(raised 2 "${fields}" "int qdx_open(double size);int qdx_close(void);int qdx_fill(qdx_area* area)")
run_check(raised pass)
