// Chooses which implementation of a vectorised kernel the exported C symbol runs.
//
// Every vector kernel has a portable reference in namespace ozmu::ref and, per instruction set,
// an implementation in ozmu::neon (AArch64) and, where it pays on x86-64, ozmu::sse2 (the
// baseline there; later ozmu::sse4 / ozmu::avx2). The exported function forwards to
// OZMU_NATIVE::<kernel> (or, for a kernel with an x86 version, to ozmu::sse2 under
// OZMU_HAVE_SSE2); tests reach every version through the static library.
#pragma once

#if defined(__aarch64__) && defined(__ARM_NEON)
#define OZMU_HAVE_NEON 1
#define OZMU_NATIVE neon
#else
#define OZMU_HAVE_NEON 0
#define OZMU_NATIVE ref
#endif

#if defined(__x86_64__) && defined(__SSE2__)
#define OZMU_HAVE_SSE2 1
#else
#define OZMU_HAVE_SSE2 0
#endif

// Second exported name for the same entry point (one address, two symbols).
#define OZMU_ALIAS(target) __attribute__((alias(#target), visibility("default")))
