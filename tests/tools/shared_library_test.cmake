# cmake -P script: checks the shared library the fixture installed in
# PREFIX: its dynamic symbols (the public C++ API and every C entry point
# are exported, internals are not), and that a C++ host and a C host build
# against it and run offline.
cmake_minimum_required(VERSION 3.25)
set(TEST_NAME "shared library test")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(PREFIX HEADER EXAMPLE_DIR C_EXAMPLE_DIR WORK_DIR CXX CC NM)

set(library ${PREFIX}/lib/libqdx.so)
if(NOT EXISTS ${library})
  message(FATAL_ERROR "shared library test: ${library} is missing: run the fixture "
                      "packaging.BuildSharedLibrary first")
endif()
step("list the exported symbols" ${NM} -D -C --defined-only ${library})
set(exported "${step_output}")
foreach(public "qdx::QDXAD::initWithChannel" "qdx::PosixPlatform::setHomeDirectory"
               "qdx::RunLoop::main" "qdx::kit::writePng" "qdx::kit::tapView"
               "qdx::QDXAdLoader::loadAdWithType" "qdx::kit::Surface::draw")
  string(FIND "${exported}" "${public}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "shared library test: ${public} is not exported")
  endif()
endforeach()
foreach(internal "qdx::QDXHttpClient" "qdx::QDXEncryptUtil" "qdx::PosixEnv" "qdx::QDXADManager"
                 "qdx::capi::")
  string(FIND "${exported}" "${internal}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "shared library test: the internal ${internal} is exported")
  endif()
endforeach()

# Every function the C header declares is exported under its own name, and
# the library exports no other qdx_ symbol.
file(STRINGS ${HEADER} declarations REGEX "^QDX_EXPORT ")
set(declared "")
foreach(line IN LISTS declarations)
  if(line MATCHES "[ *](qdx_[a-z_0-9]+)\\(")
    list(APPEND declared ${CMAKE_MATCH_1})
  endif()
endforeach()
list(LENGTH declared count)
if(count LESS 30)
  message(FATAL_ERROR "shared library test: found only ${count} functions in ${HEADER}")
endif()
string(REGEX MATCHALL " T qdx_[a-z_0-9]+" defined "${exported}")
list(TRANSFORM defined REPLACE " T " "")
foreach(name IN LISTS declared)
  if(NOT name IN_LIST defined)
    message(FATAL_ERROR "shared library test: the C function ${name} is not exported")
  endif()
endforeach()
foreach(name IN LISTS defined)
  if(NOT name IN_LIST declared)
    message(FATAL_ERROR "shared library test: ${name} is exported but not declared in qdx.h")
  endif()
endforeach()

step("configure the host app" ${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${WORK_DIR}/host -G Ninja
     -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX})
step("build the host app" ${CMAKE_COMMAND} --build ${WORK_DIR}/host)
step("run the host app" ${CMAKE_COMMAND} -E env QDX_NETWORK=0 LD_LIBRARY_PATH=${PREFIX}/lib
     ${WORK_DIR}/host/qdx-host-app ${WORK_DIR}/home)
if(NOT step_output MATCHES "SDK started offline")
  message(FATAL_ERROR "shared library test: the host app did not start the SDK:\n${step_output}")
endif()

# A C host needs nothing but the library: no C++ runtime on its link line.
step("build the C host" ${CC} -std=c11 -Wall -Wextra -Werror -pedantic ${C_EXAMPLE_DIR}/main.c
     -I${PREFIX}/include -L${PREFIX}/lib -lqdx -o ${WORK_DIR}/c-host)
step("run the C host" ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PREFIX}/lib ${WORK_DIR}/c-host --check)
if(NOT step_output MATCHES "c-host: qdx [0-9.]+, ABI [0-9]+")
  message(FATAL_ERROR "shared library test: the C host did not load the library:\n${step_output}")
endif()
