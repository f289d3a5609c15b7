// Chooses which implementation of a vectorised kernel the exported C symbol runs.
//
// Every vector kernel has a portable reference in namespace ozmu::ref and, per instruction set,
// an implementation in ozmu::neon (AArch64) and later ozmu::sse4 / ozmu::avx2. The exported
// function forwards to OZMU_NATIVE::<kernel>; tests reach both through the static library.
#pragma once

#if defined(__aarch64__) && defined(__ARM_NEON)
#define OZMU_HAVE_NEON 1
#define OZMU_NATIVE neon
#else
#define OZMU_HAVE_NEON 0
#define OZMU_NATIVE ref
#endif

// Second exported name for the same entry point (one address, two symbols).
#define OZMU_ALIAS(target) __attribute__((alias(#target), visibility("default")))
