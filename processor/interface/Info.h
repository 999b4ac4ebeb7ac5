#pragma once

#include <cstdint>

namespace Vantora::Processor {

/// Info: a processor's description as an object. Five generations extend one another; the fields of `Info_V5`
/// stand, counted from behind the virtual table, at 0, 4, ... 20 (the six of `Info`), 24, 28, 32 and 36.
class Info {
 public:
  virtual ~Info() = default;

  uint32_t parameterCount = 0;      ///< host parameters; 0 until `Attach`
  uint32_t inputChannelCount = 0;   ///< audio inputs
  uint32_t outputChannelCount = 0;  ///< audio outputs
  uint32_t reservedCount = 0;       ///< 1
  uint32_t referenceBlockSize = 0;  ///< samples; the block size at 44.1 kHz
  uint32_t interfaceVersion = 0;    ///< generation of the processor: 7
};

class Info_V2 : public Info {
 public:
  uint32_t reservedWord = 0;
};

class Info_V3 : public Info_V2 {
 public:
  uint8_t reservedByte = 0;
};

class Info_V4 : public Info_V3 {
 public:
  uint32_t eventBusCount = 0;  ///< event buses beside the main one; 0 in this product
};

/// The only generation that is instantiated. The processor owns it.
class Info_V5 : public Info_V4 {
 public:
  uint32_t trailingWord = 0;
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(sizeof(Info_V5) == 48);
#endif

}  // namespace Vantora::Processor
