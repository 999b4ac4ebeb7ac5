#include "processor/AlignedBlock.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Vantora::Processor {

void* AllocateAlignedBlock(std::size_t size) noexcept {
  void* raw = std::malloc(size + 32);
  if (raw == nullptr) return nullptr;
  const auto start = reinterpret_cast<std::uintptr_t>(raw);
  std::uintptr_t aligned = (start + 16) & ~std::uintptr_t{15};
  if (aligned - start < sizeof(raw)) aligned += 16;
  auto* block = reinterpret_cast<char*>(aligned);
  std::memcpy(block - sizeof(raw), &raw, sizeof(raw));
  return block;
}

void FreeAlignedBlock(void* block) noexcept {
  if (block == nullptr) return;
  void* raw = nullptr;
  std::memcpy(&raw, static_cast<char*>(block) - sizeof(raw), sizeof(raw));
  std::free(raw);
}

}  // namespace Vantora::Processor
