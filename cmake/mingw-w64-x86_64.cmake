# Cross-build for 64-bit Windows with MinGW-w64 (posix thread model).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORV_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ORV_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORV_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ORV_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ORV_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# libgcc, libstdc++ and winpthread go inside each module: the DLLs need
# nothing but the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
