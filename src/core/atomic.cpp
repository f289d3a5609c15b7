// Acquire/release counters and a wait/wake pair on a shared 32-bit word.
//
// On AArch64 both are exclusive-monitor loops: the waiter parks in WFE with the word armed by
// LDAXR, so any store to it by another core raises the event that wakes it. Elsewhere the same
// contract is met with a futex on the word.
#include <climits>
#include <cstdint>

#include "ozmu.h"

#if !defined(__aarch64__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace {

#if defined(__aarch64__)

inline int exclusive_add(int *p, int delta)
{
    int result;
    unsigned failed;
    __asm__ volatile("1: ldaxr   %w[res], %[word]\n"
                     "   add     %w[res], %w[res], %w[delta]\n"
                     "   stlxr   %w[fail], %w[res], %[word]\n"
                     "   cbnz    %w[fail], 1b\n"
                     : [res] "=&r"(result), [fail] "=&r"(failed), [word] "+Q"(*p)
                     : [delta] "r"(delta)
                     : "memory");
    return result;
}

#else

inline int exclusive_add(int *p, int delta)
{
    return __atomic_add_fetch(p, delta, __ATOMIC_ACQ_REL);
}

long futex(int *word, int op, int value)
{
    return syscall(SYS_futex, word, op, value, nullptr, nullptr, 0);
}

#endif

}  // namespace

extern "C" {

int ozmu_atomic_inc(int *p) { return exclusive_add(p, 1); }

int ozmu_atomic_dec(int *p) { return exclusive_add(p, -1); }

#if defined(__aarch64__)

int ozmu_sync_wait(int *p, int value)
{
    __asm__ volatile("sevl" ::: "memory");  // arm the local event so the first WFE falls through
    for (;;) {
        int seen;
        __asm__ volatile("wfe\n"
                         "ldaxr %w[seen], %[word]\n"
                         : [seen] "=&r"(seen)
                         : [word] "Q"(*p)
                         : "memory");
        if (seen == -1)
            return -1;
        if (seen == value)
            return 0;
    }
}

int ozmu_sync_wake(int *p, int value)
{
    int seen;
    unsigned failed;
    __asm__ volatile("1: ldaxr   %w[seen], %[word]\n"
                     "   cmp     %w[seen], %w[value]\n"
                     "   b.eq    2f\n"
                     "   stlxr   %w[fail], %w[value], %[word]\n"
                     "   cbnz    %w[fail], 1b\n"
                     "   b       3f\n"
                     "2: clrex\n"
                     "3: sev\n"
                     : [seen] "=&r"(seen), [fail] "=&r"(failed), [word] "+Q"(*p)
                     : [value] "r"(value)
                     : "cc", "memory");
    return 0;
}

#else

int ozmu_sync_wait(int *p, int value)
{
    for (;;) {
        const int seen = __atomic_load_n(p, __ATOMIC_ACQUIRE);
        if (seen == -1)
            return -1;
        if (seen == value)
            return 0;
        // Sleeps only while the word still holds what was just seen; any wake re-checks it.
        futex(p, FUTEX_WAIT, seen);
    }
}

int ozmu_sync_wake(int *p, int value)
{
    if (__atomic_load_n(p, __ATOMIC_ACQUIRE) != value)
        __atomic_store_n(p, value, __ATOMIC_RELEASE);
    futex(p, FUTEX_WAKE, INT_MAX);
    return 0;
}

#endif

}  // extern "C"
