# Toolchain: ARM64 on Debian's cross compiler, run by qemu in user mode.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64;-L;/usr/aarch64-linux-gnu")
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# Highway's NEON kernels are compiled for processors with the cryptographic extension; GCC refuses to inline across
# different targets, so the whole program is.
set(CMAKE_CXX_FLAGS_INIT "-march=armv8-a+crypto")
