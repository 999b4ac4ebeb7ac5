#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora::Processor {

/// MidiEvent: one three-byte MIDI message as the library stores it, 24 bytes.
struct MidiEvent {
  uint32_t kind;          ///< 1: a three-byte MIDI message; no other value is produced
  uint32_t sampleOffset;  ///< sample within the block; always 0
  uint8_t bytes[3];       ///< the message
  uint8_t unused[13];
};
static_assert(sizeof(MidiEvent) == 24 && offsetof(MidiEvent, bytes) == 8 &&
              offsetof(MidiEvent, unused) == 11);

/// EventList: the events of one block, in the order in which they were pushed. A plain array, so that the
/// audio thread never allocates.
struct EventList {
  static constexpr uint32_t kCapacity = 256;
  uint32_t count;
  MidiEvent entries[kCapacity];
};
static_assert(offsetof(EventList, entries) == 4 && sizeof(EventList) == 4 + 24 * EventList::kCapacity);

}  // namespace Vantora::Processor
