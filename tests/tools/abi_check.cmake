# cmake -P script: the C interface keeps its ABI. Describes the qdx_
# functions of LIBRARY (with the types of the headers in HEADERS_DIR) with
# abidw, and compares them with abidiff against the newest baseline in
# BASELINE_DIR (qdx-c-abi-<version>.xml). HEADER's QDX_ABI_VERSION decides:
#   - equal to the baseline's: an incompatible change fails, a compatible
#     one (an added function) passes;
#   - above it: any change passes (it is declared), and the baseline for the
#     new version is to be recorded;
#   - below it: fails.
# With RECORD=ON the description is written as the baseline of HEADER's
# version instead.
set(TEST_NAME "ABI check")
include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)
begin_test(LIBRARY HEADER BASELINE_DIR WORK_DIR ABIDW ABIDIFF)

file(STRINGS ${HEADER} version_line REGEX "^#define QDX_ABI_VERSION [0-9]+")
if(NOT version_line MATCHES "QDX_ABI_VERSION ([0-9]+)")
  message(FATAL_ERROR "ABI check: ${HEADER} defines no QDX_ABI_VERSION")
endif()
set(version ${CMAKE_MATCH_1})

# Only the C entry points (the C++ API's symbols are mangled and never start
# with qdx_), and only the types the C header and the fixed-width integer
# headers declare: what the implementation includes is not the interface.
set(suppressions ${WORK_DIR}/only-c-interface.suppr)
file(WRITE ${suppressions}
  "[suppress_function]\n  symbol_name_not_regexp = ^qdx_\n  drop = yes\n"
  "[suppress_variable]\n  symbol_name_not_regexp = ^qdx_\n  drop = yes\n"
  "[suppress_type]\n  source_location_not_regexp = (qdx\\.h|stdint[^/]*\\.h|/types\\.h)$\n"
  "  drop = yes\n")
set(current ${WORK_DIR}/current.xml)
step("describe the library" ${ABIDW} --suppressions ${suppressions} --header-file ${HEADER}
     --drop-private-types --drop-undefined-syms --no-architecture --no-corpus-path --out-file ${current} ${LIBRARY})
file(STRINGS ${current} described REGEX "elf-symbol name='qdx_")
if(NOT described)
  message(FATAL_ERROR "ABI check: abidw described no qdx_ function of ${LIBRARY}")
endif()

if(RECORD)
  file(COPY_FILE ${current} ${BASELINE_DIR}/qdx-c-abi-${version}.xml)
  message(STATUS "ABI check: recorded ${BASELINE_DIR}/qdx-c-abi-${version}.xml")
  return()
endif()

file(GLOB baselines ${BASELINE_DIR}/qdx-c-abi-*.xml)
set(newest 0)
foreach(file IN LISTS baselines)
  if(file MATCHES "qdx-c-abi-([0-9]+)\\.xml$" AND CMAKE_MATCH_1 GREATER newest)
    set(newest ${CMAKE_MATCH_1})
  endif()
endforeach()
if(newest EQUAL 0)
  message(FATAL_ERROR "ABI check: no baseline in ${BASELINE_DIR}; record one with -DRECORD=ON")
endif()
if(version LESS newest)
  message(FATAL_ERROR "ABI check: QDX_ABI_VERSION is ${version}, below the baseline's ${newest}")
endif()
if(version GREATER newest)
  message(STATUS "ABI check: QDX_ABI_VERSION went up from ${newest} to ${version}: record its "
                 "baseline (cmake -DRECORD=ON ... -P ${CMAKE_CURRENT_LIST_FILE})")
  return()
endif()

execute_process(COMMAND ${ABIDIFF} ${BASELINE_DIR}/qdx-c-abi-${newest}.xml ${current}
                RESULT_VARIABLE result OUTPUT_VARIABLE report ERROR_VARIABLE report)
# abidiff's status is a bit field: 1 error, 2 usage, 4 a change, 8 a change
# it knows to be incompatible (a removed symbol). A changed function or type
# (bit 4 alone) breaks C callers as surely, so only added functions and
# variables count as compatible.
math(EXPR failed "${result} & 3")
if(NOT failed EQUAL 0)
  message(FATAL_ERROR "ABI check: abidiff failed (${result}):\n${report}")
endif()
set(incompatible OFF)
math(EXPR known_incompatible "${result} & 8")
if(NOT known_incompatible EQUAL 0)
  set(incompatible ON)
endif()
string(REGEX MATCHALL "changes summary: [0-9]+ Removed[^,]*, [0-9]+ Changed" summaries "${report}")
foreach(summary IN LISTS summaries)
  if(NOT summary MATCHES "summary: 0 Removed[^,]*, 0 Changed")
    set(incompatible ON)
  endif()
endforeach()
if(incompatible)
  message(FATAL_ERROR "ABI check: the C interface changed incompatibly since version ${newest}; "
                      "raise QDX_ABI_VERSION in qdx/qdx.h and record a new baseline:\n${report}")
endif()
message(STATUS "ABI check: compatible with version ${newest}\n${report}")
