#pragma once

#include <cstddef>
#include <cstdint>

#include "LogSink.h"

namespace Vantora::Processor {

/// DescriptionBlock: the six numbers that every generation of a processor's description begins with.
struct DescriptionBlock {
  uint32_t parameterCount;      ///< host parameters; 0 until `Attach`
  uint32_t inputChannelCount;   ///< audio inputs
  uint32_t outputChannelCount;  ///< audio outputs
  uint32_t reservedCount;       ///< 1
  uint32_t referenceBlockSize;  ///< samples; the block size at 44.1 kHz
  uint32_t interfaceVersion;    ///< generation of this record
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(sizeof(DescriptionBlock) == 24);
#endif

/// Generation 3: with the shell's error callback, null until `Attach`.
struct DescriptionBlock_V3 : DescriptionBlock {
  LogSink* logSink;
};

/// Generation 4: one word of zero behind the common fields.
struct DescriptionBlock_V4 : DescriptionBlock {
  uint32_t reservedWord;
};

/// Generation 5: a word and a byte of zero behind the common fields.
struct DescriptionBlock_V5 : DescriptionBlock {
  uint32_t reservedWord;
  uint8_t reservedByte;
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(sizeof(DescriptionBlock_V3) == 32 && sizeof(DescriptionBlock_V4) == 28);
static_assert(sizeof(DescriptionBlock_V5) == 32);
#endif

}  // namespace Vantora::Processor
