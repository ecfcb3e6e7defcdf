# Cross-build for 64-bit Windows with MinGW-w64 GCC (posix thread model).
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)

set(CMAKE_C_COMPILER ${ORV_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORV_TRIPLE}-g++-posix)
