#include "dsp/control/LineMemory.h"

#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace Vantora::dsp {
namespace {

[[maybe_unused]] constexpr std::size_t kOwnPagesFrom = 65536;  // bytes

bool HasOwnPages(std::size_t bytes) noexcept {
#if defined(__linux__)
  return bytes >= kOwnPagesFrom;
#else
  (void)bytes;
  return false;
#endif
}

void* Allocate(std::size_t bytes) noexcept {
#if defined(__linux__)
  if (HasOwnPages(bytes)) {
    void* pages =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
  }
#endif
  return std::calloc(bytes, 1);
}

}  // namespace

void LineMemory::Resize(std::size_t newCount) {
  if (newCount == count) return;
  Release();
  if (newCount == 0) return;
  if (newCount > static_cast<std::size_t>(-1) / sizeof(float)) throw std::bad_array_new_length();
  void* memory = Allocate(newCount * sizeof(float));
  if (memory == nullptr) throw std::bad_alloc();
  floats = static_cast<float*>(memory);
  count = newCount;
}

void LineMemory::Release() noexcept {
  const std::size_t bytes = count * sizeof(float);
#if defined(__linux__)
  if (HasOwnPages(bytes)) munmap(floats, bytes);
#endif
  if (!HasOwnPages(bytes)) std::free(floats);
  floats = nullptr;
  count = 0;
}

}  // namespace Vantora::dsp
