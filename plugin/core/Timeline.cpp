#include "plugin/core/Timeline.h"

#include <algorithm>

namespace Vantora::plugin {

Timeline::Timeline() : corners(kCapacity) { Clear(); }

void Timeline::Clear() {
  for (uint32_t i = 0; i < kCapacity; ++i) corners[i].next = i + 1 < kCapacity ? i + 1 : kNone;
  freeCorner = 0;
  tracks.fill({});
  active.fill(0);
  activeCount = 0;
}

void Timeline::SetActive(uint32_t index, bool isActive) {
  uint64_t& word = active[index / 64];
  const uint64_t bit = uint64_t{1} << (index % 64);
  if (((word & bit) != 0) == isActive) return;
  word ^= bit;
  activeCount += isActive ? 1u : ~0u;
}

void Timeline::RampTo(uint32_t index, float position, uint64_t from, uint64_t at, float now) {
  const Track& track = tracks[index];
  if (track.first == kNone && !(track.hasBegun && track.at >= from)) Append(index, {from, now, false, kNone});
  Append(index, {at, position, true, kNone});
}

void Timeline::Append(uint32_t index, Corner corner) {
  Track& track = tracks[index];
  if (track.last != kNone) {
    // Hosts send in order; what comes late is due at once, in the order of arrival.
    Corner& last = corners[track.last];
    corner.at = std::max(corner.at, last.at);
    if (corner.at == last.at && !corner.isRamp && !last.isRamp) {
      last.position = corner.position;
      return;
    }
  }
  if (freeCorner == kNone) {
    if (track.last == kNone) {
      track.at = corner.at, track.position = corner.position, track.hasBegun = true;
      SetActive(index, true);
      return;
    }
    corners[track.last] = corner;
    return;
  }
  const uint32_t place = freeCorner;
  freeCorner = corners[place].next;
  corners[place] = corner;
  (track.last == kNone ? track.first : corners[track.last].next) = place;
  track.last = place;
  SetActive(index, true);
}

bool Timeline::Advance(uint32_t index, uint64_t begin, uint64_t end, float& position) {
  Track& track = tracks[index];
  while (track.first != kNone && corners[track.first].at < end) {
    const uint32_t place = track.first;
    const Corner& reached = corners[place];
    track.at = reached.at;
    track.position = reached.position;
    track.hasBegun = true;
    track.first = reached.next;
    if (track.first == kNone) track.last = kNone;
    corners[place].next = freeCorner;
    freeCorner = place;
  }
  if (track.first == kNone) SetActive(index, false);
  if (!track.hasBegun) return false;
  position = track.position;
  if (track.first != kNone && corners[track.first].isRamp && track.at < begin) {
    const Corner& next = corners[track.first];
    const double travelled = static_cast<double>(begin - track.at) / static_cast<double>(next.at - track.at);
    position += static_cast<float>(travelled * static_cast<double>(next.position - track.position));
  }
  return true;
}

}  // namespace Vantora::plugin
