# What both cross toolchains (GCC, Clang) share: the target, where Debian's
# MinGW-w64 packages live, and where the build machine keeps the two
# dependencies taken from it.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORV_TRIPLE x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER ${ORV_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ORV_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's googletest package: sources, built with the cross compiler.
set(ORV_GOOGLETEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest's sources (empty: find_package(GTest))")
# Debian's Boost headers: header-only use, reached without the rest of /usr/include.
set(ORV_BOOST_HOST_HEADERS /usr/include/boost CACHE PATH "The build machine's boost header directory")

# libgcc, libstdc++ and winpthread go inside each module: the DLLs need
# nothing but the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
