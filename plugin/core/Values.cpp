#include "plugin/core/Values.h"

#include <utility>

namespace Vantora::plugin {

Values::~Values() {
  delete waitingSound.exchange(nullptr);
  FreeRetired();
}

Positions Values::All() const {
  Positions all;
  for (uint32_t i = 0; i < kParameterCount; ++i) all[i] = Get(i);
  return all;
}

void Values::Write(uint32_t index, float position) {
  const std::lock_guard lock(writers);
  Note(index, position);
  const uint64_t entry = (uint64_t{soundNumber} << 32) | BitCast<uint32_t>(position);
  // Relaxed: the bit publishes it.
  waiting[index].store(entry, std::memory_order_relaxed);
  dirty[index / 64].fetch_or(uint64_t{1} << (index % 64), std::memory_order_release);
  isWaiting.store(true, std::memory_order_release);
}

void Values::WriteSound(const Positions& positions) {
  const std::lock_guard lock(writers);
  FreeRetired();
  auto sound = std::make_unique<Sound>();
  sound->positions = positions;
  sound->number = ++soundNumber;
  for (uint32_t i = 0; i < kParameterCount; ++i) Note(i, positions[i]);
  // A sound that the audio thread hasn't seen is nobody's any more.
  delete waitingSound.exchange(sound.release(), std::memory_order_acq_rel);
  isWaiting.store(true, std::memory_order_release);
}

void Values::DropWaiting() {
  const std::lock_guard lock(writers);
  delete waitingSound.exchange(nullptr, std::memory_order_acquire);
  for (auto& word : dirty) word.store(0, std::memory_order_relaxed);
  isWaiting.store(false, std::memory_order_relaxed);
  FreeRetired();
}

void Values::Retire(Sound* sound) {
  // Pushed one by one, taken all at once: a plain stack has no ABA problem. Release publishes `next`.
  sound->next = retired.load(std::memory_order_relaxed);
  while (!retired.compare_exchange_weak(sound->next, sound, std::memory_order_release,
                                        std::memory_order_relaxed)) {
  }
}

void Values::FreeRetired() {
  for (Sound* sound = retired.exchange(nullptr, std::memory_order_acquire); sound != nullptr;) {
    delete std::exchange(sound, sound->next);
  }
}

}  // namespace Vantora::plugin
