#include "tests/faults/FailingMemory.h"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "tests/support/LibraryMemory.h"
#include "tests/support/Sanitized.h"

namespace Vantora::test {
namespace {

std::atomic<uint64_t> failing{0}, count{0};
std::atomic<bool> isOnward{false}, hasFailed{false};
std::atomic<int64_t> live{0};

}  // namespace

void FailingMemory::Arm(uint64_t which, Mode mode) {
  failing = 0;
  hasFailed = false;
  isOnward = mode == Mode::kOnward;
  count = 0;
  failing = which;
}

bool FailingMemory::Disarm() {
  failing = 0;
  return hasFailed;
}

uint64_t FailingMemory::Count() { return count; }
int64_t FailingMemory::LiveBlocks() { return live; }

bool FailingMemory::IsThere() {
#if defined(PRISMEL_SANITIZED)
  return false;
#else
  return true;
#endif
}

#if !defined(PRISMEL_SANITIZED)
/// Counts an allocation; true when it is to fail. Those of libresample and libsndfile never do: they write
/// through the null that they get, and nobody can keep them from that but by asking for as much memory before
/// they are called.
bool Fails(const void* caller) {
  const uint64_t now = count.fetch_add(1) + 1, which = failing;
  if (which == 0 || now < which || (now > which && !isOnward)) return false;
  hasFailed = true;
  Dl_info place{};
  if (dladdr(caller, &place) != 0 && (std::strstr(place.dli_fname, "libresample") != nullptr ||
                                      std::strstr(place.dli_fname, "libsndfile") != nullptr)) {
    return false;
  }
  errno = ENOMEM;
  return true;
}

void* Counted(void* memory) {
  if (memory != nullptr) ++live;
  return memory;
}

void CountRelease(const void* memory) {
  if (memory != nullptr) --live;
}
#endif

}  // namespace Vantora::test

#if !defined(PRISMEL_SANITIZED)

// Seen by every library of the process, whatever the project's own default.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(size_t size) {
  return Vantora::test::Fails(__builtin_return_address(0)) ? nullptr
                                                           : Vantora::test::Counted(__libc_malloc(size));
}

void* calloc(size_t number, size_t size) {
  return Vantora::test::Fails(__builtin_return_address(0))
             ? nullptr
             : Vantora::test::Counted(__libc_calloc(number, size));
}

void* realloc(void* memory, size_t size) {
  if (Vantora::test::Fails(__builtin_return_address(0))) return nullptr;
  void* const moved = __libc_realloc(memory, size);
  if (memory == nullptr) return Vantora::test::Counted(moved);
  if (size == 0) Vantora::test::CountRelease(memory);
  return moved;
}

void* memalign(size_t alignment, size_t size) {
  return Vantora::test::Fails(__builtin_return_address(0))
             ? nullptr
             : Vantora::test::Counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }

int posix_memalign(void** memory, size_t alignment, size_t size) {
  *memory = memalign(alignment, size);
  return *memory != nullptr ? 0 : ENOMEM;
}

void free(void* memory) {
  Vantora::test::CountRelease(memory);
  __libc_free(memory);
}

}  // extern "C"

#pragma GCC visibility pop

#endif
