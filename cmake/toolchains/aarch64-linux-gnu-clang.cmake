# The AArch64 cross build with clang, the compiler of the Android NDK, against Debian's cross
# sysroot: proves the library compiles and links with clang's intrinsics and inline assembly.
include(${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu.cmake)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${OZMU_CROSS_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${OZMU_CROSS_TRIPLE})
