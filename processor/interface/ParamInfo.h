#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora::Processor {

/// ParamInfo: what `GetParamInfo` fills. Pass a zeroed record: some names arrive without a terminator.
struct ParamInfo {
  char name[256];      ///< the module path joined with "_"
  uint8_t unused[16];  ///< not touched
  uint64_t blobKind;   ///< 0; written for a blob parameter only
  uint64_t blobSize;   ///< bytes; written for a blob parameter only
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(offsetof(ParamInfo, blobKind) == 272 && offsetof(ParamInfo, blobSize) == 280);
static_assert(sizeof(ParamInfo) == 288);
#endif

}  // namespace Vantora::Processor
