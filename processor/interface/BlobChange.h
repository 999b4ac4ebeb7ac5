#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora::Processor {

/// BlobChange: a parameter whose value is a run of bytes has changed.
struct BlobChange {
  uint32_t index;    ///< flat parameter index; all ones while unused
  uint64_t size;     ///< bytes
  const char* data;  ///< owned by the processor, valid until the next `Process` or parameter write
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(offsetof(BlobChange, size) == 8 && offsetof(BlobChange, data) == 16 &&
              sizeof(BlobChange) == 24);
#endif

/// ValueChange: a parameter whose value the processor changed by itself.
struct ValueChange {
  int32_t index;  ///< flat parameter index; -1 while unused
  uint32_t words[2];
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(sizeof(ValueChange) == 12);
#endif

}  // namespace Vantora::Processor
