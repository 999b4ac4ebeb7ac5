#pragma once

#include <cstddef>

namespace Vantora::Processor {

/// 16-byte aligned memory from plain `malloc`, for a processor alone. The raw address stands in the eight
/// bytes in front of the block. Null when `malloc` fails.
void* AllocateAlignedBlock(std::size_t size) noexcept;

/// Releases such a block; null is allowed.
void FreeAlignedBlock(void* block) noexcept;

}  // namespace Vantora::Processor
