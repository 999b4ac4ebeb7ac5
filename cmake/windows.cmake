# Toolchain: 64-bit Windows on Debian's MinGW-w64, run by Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# The stack is aligned to 16 bytes there and the compiler spills wider vectors to it as if it weren't.
set(CMAKE_C_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
# One file each, without the compiler's own libraries beside it.
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
