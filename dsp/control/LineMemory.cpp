#include "dsp/control/LineMemory.h"

#include <cstdlib>
#include <new>

#include "dsp/control/LinePages.h"

namespace Vantora::dsp {
namespace {

[[maybe_unused]] constexpr std::size_t kOwnPagesFrom = 16384;  // bytes

constexpr bool HasOwnPages(std::size_t bytes) noexcept {
#if defined(__linux__)
  return bytes >= kOwnPagesFrom;
#else
  (void)bytes;
  return false;
#endif
}

}  // namespace

void LineMemory::Resize(std::size_t newCount) {
  if (newCount == count) return;
  Release();
  if (newCount == 0) return;
  if (newCount > static_cast<std::size_t>(-1) / (2 * sizeof(float))) throw std::bad_array_new_length();
  const std::size_t bytes = newCount * sizeof(float);
  void* const memory = HasOwnPages(bytes) ? LinePages::Take(bytes) : std::calloc(bytes, 1);
  if (memory == nullptr) throw std::bad_alloc();
  floats = static_cast<float*>(memory);
  count = newCount;
}

void LineMemory::Release() noexcept {
  const std::size_t bytes = count * sizeof(float);
  if (floats != nullptr && HasOwnPages(bytes)) {
    LinePages::Return(floats, bytes);
  } else {
    std::free(floats);
  }
  floats = nullptr;
  count = 0;
}

}  // namespace Vantora::dsp
