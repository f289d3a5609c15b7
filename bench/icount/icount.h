// Region markers for the AArch64 instruction counter (arm-icount): icount_mark(tag) issues an
// otherwise unused system call that the counting plugin records as "tag count"; run outside the
// counter it fails harmlessly with ENOSYS. Single-threaded programs only.
#pragma once
#include <sys/syscall.h>
#include <unistd.h>

inline void icount_mark(long tag) { syscall(0x7A51, tag); }
