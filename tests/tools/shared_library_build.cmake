# cmake -P script, the fixture of the shared-library tests: builds qdx as a
# shared library (-DQDX_BUILD_SHARED=ON, optimised, with debug information
# for the ABI check) from SOURCE_DIR in WORK_DIR and installs it into
# WORK_DIR/prefix, where the export test, the ABI check and the Python host
# find it.
set(TEST_NAME "shared library build")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(SOURCE_DIR WORK_DIR CXX CC)
set(prefix ${WORK_DIR}/prefix)

set(launcher "")
if(LAUNCHER)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} -DCMAKE_C_COMPILER_LAUNCHER=${LAUNCHER})
endif()
step("configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G Ninja
     -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQDX_BUILD_SHARED=ON -DQDX_BUILD_TESTS=OFF
     -DQDX_BUILD_TOOLS=OFF -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_C_COMPILER=${CC} ${launcher})
step("build" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
step("install" ${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${prefix})
if(NOT EXISTS ${prefix}/lib/libqdx.so)
  message(FATAL_ERROR "shared library build: no libqdx.so was installed")
endif()
