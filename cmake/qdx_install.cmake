# What `cmake --install` puts into the prefix: the public headers, the
# library, a CMake package (find_package(qdx CONFIG) -> qdx::qdx) and a
# pkg-config file (qdx.pc).
include(CMakePackageConfigHelpers)

set(QDX_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/qdx)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/qdx
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
install(TARGETS qdx EXPORT qdxTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT qdxTargets NAMESPACE qdx:: DESTINATION ${QDX_INSTALL_CMAKEDIR})

# A static qdx brings its private dependencies along: the package config
# finds them again (by the names the exported target uses) in the consumer.
if(QDX_BUILD_SHARED)
  set(QDX_STATIC_LIBRARY OFF)
else()
  set(QDX_STATIC_LIBRARY ON)
endif()
# What a static qdx needs when a C compiler links it: the C++ runtime of the
# compiler that built it, and the maths library.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_FLAGS MATCHES "-stdlib=libc\\+\\+")
  set(QDX_CXX_RUNTIME c++ m)
else()
  set(QDX_CXX_RUNTIME stdc++ m)
endif()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/qdxConfig.cmake.in
  ${PROJECT_BINARY_DIR}/qdxConfig.cmake
  INSTALL_DESTINATION ${QDX_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qdxConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qdxConfig.cmake ${PROJECT_BINARY_DIR}/qdxConfigVersion.cmake
        DESTINATION ${QDX_INSTALL_CMAKEDIR})

# qdx.pc finds the prefix from its own place, so an installed tree may move.
file(RELATIVE_PATH QDX_PC_TO_PREFIX
  /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" QDX_PC_TO_PREFIX "${QDX_PC_TO_PREFIX}")
# qdx.pc is for C++ hosts; qdx-c.pc for C hosts of the C interface.
set(QDX_PC_REQUIRES_PRIVATE
    "openssl sqlite3 cairo pangocairo libpng libjpeg libplist-2.0 icu-i18n icu-uc")
list(TRANSFORM QDX_CXX_RUNTIME PREPEND "-l" OUTPUT_VARIABLE QDX_PC_CXX_RUNTIME)
list(JOIN QDX_PC_CXX_RUNTIME " " QDX_PC_CXX_RUNTIME)
configure_file(${CMAKE_CURRENT_LIST_DIR}/qdx.pc.in ${PROJECT_BINARY_DIR}/qdx.pc @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/qdx-c.pc.in ${PROJECT_BINARY_DIR}/qdx-c.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qdx.pc ${PROJECT_BINARY_DIR}/qdx-c.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
