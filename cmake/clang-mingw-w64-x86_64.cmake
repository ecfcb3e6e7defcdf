# Cross-build for 64-bit Windows with Clang, on MinGW-w64's headers and the
# libstdc++ of the posix-thread-model GCC (g++-mingw-w64-x86-64-posix).
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${ORV_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${ORV_TRIPLE})
set(CMAKE_SYSROOT /usr/${ORV_TRIPLE})

# Clang does not recognise Debian's GCC directory ("12-posix"), so
# libstdc++'s headers and libraries are named here.
if(NOT ORV_MINGW_GCC_DIR)
  file(GLOB gcc_dirs /usr/lib/gcc/${ORV_TRIPLE}/*-posix)
  list(SORT gcc_dirs COMPARE NATURAL)
  list(GET gcc_dirs -1 ORV_MINGW_GCC_DIR)
endif()
set(stdcxx ${ORV_MINGW_GCC_DIR}/include/c++)
# The flags reach the link too, where -nostdinc++ has nothing to do.
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${stdcxx} -isystem ${stdcxx}/${ORV_TRIPLE} -isystem ${stdcxx}/backward")
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-unused-command-line-argument")
# -pthread brings winpthread, which the posix libstdc++ needs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -pthread -L${ORV_MINGW_GCC_DIR}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -pthread -L${ORV_MINGW_GCC_DIR}")
