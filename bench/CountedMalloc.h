#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>

// Counts the allocations of a program. Exactly one source of the program includes this.

namespace bench {

inline thread_local bool counting = false;
inline thread_local int counted = 0;

inline void count() {
    if (counting) ++counted;
}

// The allocations that `work` makes on this thread.
template <typename Work>
int allocationsOf(Work work) {
    counted = 0;
    counting = true;
    work();
    counting = false;
    return counted;
}

[[noreturn]] inline void fail(const char* what) {
    fprintf(stderr, "benchmark: %s failed\n", what);
    exit(1);
}

}  // namespace bench

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* memory, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    bench::count();
    return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(size_t number, size_t size) {
    bench::count();
    return __libc_calloc(number, size);
}
__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
    bench::count();
    return __libc_realloc(memory, size);
}

}  // extern "C"
