# cmake -P script: installs qdx from BUILD_DIR into WORK_DIR/prefix, builds
# the host app in EXAMPLE_DIR against it twice (find_package, then
# `c++ main.cc $(pkg-config --cflags --libs --static qdx)`) and runs each
# build offline; any failing step fails the test with its output.
# CXX_FLAGS and LINKER_FLAGS carry the build's own flags (a sanitizer build's
# library needs its runtime in the host app too).
set(TEST_NAME "packaging test")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(BUILD_DIR EXAMPLE_DIR C_EXAMPLE_DIR WORK_DIR CXX CC PKG_CONFIG)
set(prefix ${WORK_DIR}/prefix)

# The host app must start the SDK and say so; its files stay in WORK_DIR.
function(run_host_app name program)
  step("${name}" ${CMAKE_COMMAND} -E env QDX_NETWORK=0 QDX_HOME=${WORK_DIR}/home/${name}
       QDX_KEYCHAIN_DIR=${WORK_DIR}/home/${name}-keychain ${program})
  if(NOT step_output MATCHES "SDK started offline")
    message(FATAL_ERROR "packaging test: ${name} did not start the SDK:\n${step_output}")
  endif()
endfunction()

step("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(installed include/qdx/qdx.h lib/pkgconfig/qdx-c.pc include/qdx/QDXAD.h include/qdx/QDXExport.h include/qdx/kit/View.h
                  include/qdx/RunLoop.h include/qdx/PosixPlatform.h include/qdx/kit/Renderer.h
                  lib/cmake/qdx/qdxConfig.cmake lib/pkgconfig/qdx.pc)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "packaging test: ${installed} was not installed")
  endif()
endforeach()

step("configure with find_package" ${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${WORK_DIR}/cmake
     -G Ninja -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX}
     "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}")
step("build with find_package" ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake)
run_host_app("run the find_package build" ${WORK_DIR}/cmake/qdx-host-app)

# The compiler line a Makefile or a shell would use.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
step("build with pkg-config" sh -c
     "\"${CXX}\" ${CXX_FLAGS} \"${EXAMPLE_DIR}/main.cc\" -o \"${WORK_DIR}/host-app-pc\" \
$(\"${PKG_CONFIG}\" --cflags --libs --static qdx) ${LINKER_FLAGS}")
run_host_app("run the pkg-config build" ${WORK_DIR}/host-app-pc)

# A C host of the C interface, built by a C-only project and by a plain C
# compiler line; each must link and load the library.
function(check_c_host name program)
  step("${name}" ${program} --check)
  if(NOT step_output MATCHES "c-host: qdx [0-9.]+, ABI [0-9]+")
    message(FATAL_ERROR "packaging test: ${name} did not report the library:\n${step_output}")
  endif()
endfunction()
step("configure the C host with find_package" ${CMAKE_COMMAND} -S ${C_EXAMPLE_DIR}
     -B ${WORK_DIR}/c-cmake -G Ninja -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${CC}
     "-DCMAKE_C_FLAGS=${C_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}")
step("build the C host with find_package" ${CMAKE_COMMAND} --build ${WORK_DIR}/c-cmake)
check_c_host("run the C host's find_package build" ${WORK_DIR}/c-cmake/qdx-c-host)
step("build the C host with pkg-config" sh -c
     "\"${CC}\" -std=c11 -Wall -Wextra -Werror -pedantic ${C_FLAGS} \"${C_EXAMPLE_DIR}/main.c\" \
-o \"${WORK_DIR}/c-host-pc\" $(\"${PKG_CONFIG}\" --cflags --libs --static qdx-c) ${LINKER_FLAGS}")
check_c_host("run the C host's pkg-config build" ${WORK_DIR}/c-host-pc)
