#pragma once

#include <cstddef>

// The C library's own names for its memory, for tests that stand in front of `malloc` and its kin.
#pragma GCC visibility push(default)
extern "C" {

void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);

}  // extern "C"
#pragma GCC visibility pop
