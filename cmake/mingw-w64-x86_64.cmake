# Cross-builds the layer as a Windows x64 DLL with Debian's mingw-w64 compilers (the posix thread
# flavour), as a separate configure of the same tree:
#   cmake -S . -B build-windows -G Ninja --toolchain cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TOV_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TOV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TOV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TOV_MINGW_TRIPLE}-windres)
set(CMAKE_DLLTOOL ${TOV_MINGW_TRIPLE}-dlltool)
set(CMAKE_OBJDUMP ${TOV_MINGW_TRIPLE}-objdump)

set(CMAKE_FIND_ROOT_PATH /usr/${TOV_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The C++ runtime, libgcc and winpthread go into each binary, so that nothing needs mingw's
# runtime DLLs next to it.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
