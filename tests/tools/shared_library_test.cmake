# cmake -P script: builds qdx as a shared library (-DQDX_BUILD_SHARED=ON)
# from SOURCE_DIR in WORK_DIR, installs it, builds the example host app
# against it and runs it offline, and checks the library's dynamic symbols:
# the public API is exported, internals are not.
set(TEST_NAME "shared library test")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(SOURCE_DIR EXAMPLE_DIR WORK_DIR CXX NM)
set(prefix ${WORK_DIR}/prefix)

step("configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G Ninja
     -DCMAKE_BUILD_TYPE=Release -DQDX_BUILD_SHARED=ON -DQDX_BUILD_TESTS=OFF
     -DQDX_BUILD_TOOLS=OFF -DCMAKE_CXX_COMPILER=${CXX})
step("build" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
step("install" ${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${prefix})

file(GLOB library ${prefix}/lib/libqdx.so)
if(NOT library)
  message(FATAL_ERROR "shared library test: no libqdx.so was installed")
endif()
step("list the exported symbols" ${NM} -D -C --defined-only ${library})
foreach(public "qdx::QDXAD::initWithChannel" "qdx::PosixPlatform::setHomeDirectory"
               "qdx::RunLoop::main" "qdx::kit::writePng" "qdx::kit::tapView"
               "qdx::QDXAdLoader::loadAdWithType")
  string(FIND "${step_output}" "${public}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "shared library test: ${public} is not exported")
  endif()
endforeach()
foreach(internal "qdx::QDXHttpClient" "qdx::QDXEncryptUtil" "qdx::PosixEnv" "qdx::QDXADManager")
  string(FIND "${step_output}" "${internal}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "shared library test: the internal ${internal} is exported")
  endif()
endforeach()

step("configure the host app" ${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${WORK_DIR}/host -G Ninja
     -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX})
step("build the host app" ${CMAKE_COMMAND} --build ${WORK_DIR}/host)
step("run the host app" ${CMAKE_COMMAND} -E env QDX_NETWORK=0 LD_LIBRARY_PATH=${prefix}/lib
     ${WORK_DIR}/host/qdx-host-app ${WORK_DIR}/home)
if(NOT step_output MATCHES "SDK started offline")
  message(FATAL_ERROR "shared library test: the host app did not start the SDK:\n${step_output}")
endif()
