#pragma once

#include "offline/Effect.h"

namespace Vantora::offline {

/// EffectAround: an effect that owns what another one needs, and leaves the work to that. `inner` may be a
/// member of the derived class: it isn't called before the constructor has ended.
class EffectAround : public Effect {
 public:
  void Start(int rate, int inputChannels, int outputChannels) override {
    inner.Start(rate, inputChannels, outputChannels);
  }
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override {
    inner.Feed(inputs, frames, sink);
  }
  void Finish(const Sink& sink) override { inner.Finish(sink); }
  uint64_t Latency() const override { return inner.Latency(); }
  double LongestGap() const override { return inner.LongestGap(); }
  uint64_t NonFiniteCount() const override { return inner.NonFiniteCount(); }

 protected:
  explicit EffectAround(Effect& itsInner) : inner(itsInner) {}
  EffectAround(const EffectAround&) = delete;
  EffectAround& operator=(const EffectAround&) = delete;

 private:
  Effect& inner;
};

}  // namespace Vantora::offline
