#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora::Processor {

/// HostEvent: an event as the shell receives it after a block, 16 bytes.
struct HostEvent {
  static constexpr uint32_t kCapacity = 256;  ///< events of one block at most
  uint8_t bytes[3];                           ///< the MIDI message
  uint8_t zero[5];                            ///< always zero
  uint64_t size;                              ///< bytes of the message: 3
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(offsetof(HostEvent, size) == 8 && sizeof(HostEvent) == 16);
#endif

/// BusOutput: where `Process` leaves the events of one event bus.
struct BusOutput {
  uint32_t count;         ///< events written
  const HostEvent* data;  ///< owned by the processor, valid until the next `Process`
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(offsetof(BusOutput, data) == 8 && sizeof(BusOutput) == 16);
#endif

}  // namespace Vantora::Processor
