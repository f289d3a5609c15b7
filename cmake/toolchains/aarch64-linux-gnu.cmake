# Cross build for 64-bit Arm Linux with Debian's cross toolchain; tests run under qemu-aarch64.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(OZMU_CROSS_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${OZMU_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${OZMU_CROSS_TRIPLE}-g++)
set(OZMU_CROSS_SYSROOT /usr/${OZMU_CROSS_TRIPLE})

set(CMAKE_FIND_ROOT_PATH ${OZMU_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The sysroot's own libraries come first so that a multiarch libc6:arm64, if installed, is never
# mixed into the emulated process.
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-aarch64;-cpu;cortex-a76;-L;${OZMU_CROSS_SYSROOT};-E;LD_LIBRARY_PATH=${OZMU_CROSS_SYSROOT}/lib)
