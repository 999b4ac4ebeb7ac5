#include "dsp/control/EnvFollower.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/BitCast.h"
#include "basictools/math/Decibels.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

/// Share of a step that one sample covers when `seconds` are five time constants.
float CoefficientOf(float seconds, float sampleRate) {
  return 1.0f - std::exp(-5.0f / (sampleRate * seconds));
}

constexpr float kLeast = BitCast<float>(0x358637BEu);  // the smallest number from 1e-6 on
static_assert(static_cast<double>(kLeast) >= 1e-6 && static_cast<double>(BitCast<float>(0x358637BDu)) < 1e-6);

/// One step of attack or release towards `t`. Written as a branch, which a predictor takes off the chain.
inline float Follow(float level, float t, float coef) noexcept {
  const float y = level + (t - level) * coef;
  return __builtin_expect(y >= kLeast, 1) ? y : 0.0f;
}

}  // namespace

EnvFollower::EnvFollower(std::string text)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(EnvFollowerKnobs::kRows)) {}

void EnvFollower::DelayLineDouble::Resize(uint32_t newSize) {
  squares.resize(newSize);
  Clear();
}

void EnvFollower::DelayLineDouble::Clear() noexcept {
  std::fill(squares.begin(), squares.end(), 0.0);
  writeIndex = 0;
  sum = 0.0;
}

void EnvFollower::Configure(uint32_t, float newSampleRate) {
  sampleRate = newSampleRate;
  const float longest = sampleRate * 0.001f * Param(kRmsWindow).GetMaximum();
  ring.Resize(static_cast<uint32_t>(longest) + 5);
  // Of milliseconds, not of samples: it only stands until the first UpdateParams, which Init makes come next.
  invWindow = static_cast<double>(1.0f / Value(kRmsWindow));
}

void EnvFollower::DoReset(bool) {
  envelope = 0.0f;
  ring.Clear();
}

bool EnvFollower::UpdateParams(ProcessContext&) {
  if (IsDirty(kAttack)) attackCoef = CoefficientOf(Value(kAttack), sampleRate);
  if (IsDirty(kRelease)) releaseCoef = CoefficientOf(Value(kRelease), sampleRate);
  if (IsDirty(kStereoInput)) stereoIn = Normalized(kStereoInput) > 0.5f;
  if (IsDirty(kRmsWindow)) {
    const int32_t window = static_cast<int32_t>(Value(kRmsWindow) * 0.001f * sampleRate);
    windowSamples = std::max(window, 1);
    invWindow = 1.0 / windowSamples;
    rmsOn = window > 1;
    DoReset(false);
    MarkChanged();
  }
  if (IsDirty(kFixedLinearGain)) gain = Value(kFixedLinearGain);
  if (IsDirty(kThreshold) || IsDirty(kThresholdActive)) {
    thresholdLinear = DbToGain(Value(kThreshold));
    thresholdOn = Normalized(kThresholdActive) > 0.5f && Normalized(kThreshold) > 0.0f;
  }
  return true;
}

template <bool kStereo, bool kGate>
void EnvFollower::FollowPeaks(const float* left, const float* right, float* out, uint32_t count) noexcept {
  float level = envelope;
  for (uint32_t i = 0; i < count; ++i) {
    float t = kStereo ? gain * 0.5f * (std::fabs(right[i]) + std::fabs(left[i])) : std::fabs(left[i]) * gain;
    if (kGate && !(t > thresholdLinear)) t = 0.0f;
    level = Follow(level, t, level > t ? releaseCoef : attackCoef);
    out[i] = level;
  }
  envelope = level;
}

void EnvFollower::WriteSquares(const ProcessContext& context, uint32_t start, uint32_t count,
                               double* __restrict squares) const noexcept {
  const float* __restrict left = context.Input(0) + start;
  const float* __restrict right = stereoIn ? context.Input(1) : nullptr;
  if (right == nullptr) {
    for (uint32_t i = 0; i < count; ++i) {
      const auto m = static_cast<double>(std::fabs(left[i]));
      squares[i] = m * m * invWindow;
    }
    return;
  }
  right += start;
  for (uint32_t i = 0; i < count; ++i) {
    const auto m = static_cast<double>((std::fabs(right[i]) + std::fabs(left[i])) * 0.5f);
    squares[i] = m * m * invWindow;
  }
}

template <uint32_t kFollowers, bool kGate, bool kOneSpeed>
void EnvFollower::FollowRms(EnvFollower* const* followers, ProcessContext* const* contexts) noexcept {
  struct Chain {
    double sum;
    float level;
    float gain, threshold, attack, release;
    double* squares;
    uint32_t size, newest, oldest;
    float* out;
    const double* leaving;  // of this run, as are the next two
    double* entering;
    float* levels;
  };
  constexpr uint32_t kLongest = 64;
  Chain chains[kFollowers];
  for (uint32_t f = 0; f < kFollowers; ++f) {
    EnvFollower& from = *followers[f];
    DelayLineDouble& ring = from.ring;
    const uint32_t size = ring.Size();
    const auto window = static_cast<uint32_t>(from.windowSamples);
    const uint32_t oldest =
        ring.writeIndex >= window ? ring.writeIndex - window : ring.writeIndex + size - window;
    chains[f] = {ring.sum,
                 from.envelope,
                 from.gain,
                 from.thresholdLinear,
                 from.attackCoef,
                 from.releaseCoef,
                 ring.squares.data(),
                 size,
                 ring.writeIndex,
                 oldest,
                 contexts[f]->Output(0),
                 nullptr,
                 nullptr,
                 nullptr};
  }
  const uint32_t count = contexts[0]->sampleCount;
  double squares[kFollowers][kLongest];
  for (uint32_t start = 0; start < count;) {
    // As far as neither end of a window meets its ring's end.
    uint32_t run = std::min(count - start, kLongest);
    for (const Chain& c : chains) run = std::min({run, c.size - c.newest, c.size - c.oldest});
    for (uint32_t f = 0; f < kFollowers; ++f)
      followers[f]->WriteSquares(*contexts[f], start, run, squares[f]);
    for (Chain& c : chains) {
      c.leaving = c.squares + c.oldest;
      c.entering = c.squares + c.newest;
      c.levels = c.out + start;
    }
    for (std::size_t i = 0; i < run; ++i) {
      for (uint32_t f = 0; f < kFollowers; ++f) {
        Chain& c = chains[f];
        const double square = squares[f][i];
        c.sum = c.sum - c.leaving[i] + square;
        // Also while the ring still holds values: it stops the rounding drift of the running sum.
        if (c.sum < 1e-10) c.sum = 0.0;
        c.entering[i] = square;
        const float rms = std::sqrt(static_cast<float>(c.sum));
        // Intended: this path compares before the gain, the peak path after it.
        // EnvFollower.GateComparesBehindTheGainForPeaksAndBeforeItForRms holds it.
        const float t = !kGate || rms > c.threshold ? c.gain * rms : 0.0f;
        c.level = Follow(c.level, t, kOneSpeed || !(c.level > t) ? c.attack : c.release);
        c.levels[i] = c.level;
      }
    }
    for (Chain& c : chains) {
      c.newest = c.newest + run == c.size ? 0 : c.newest + run;
      c.oldest = c.oldest + run == c.size ? 0 : c.oldest + run;
    }
    start += run;
  }
  for (uint32_t f = 0; f < kFollowers; ++f) {
    followers[f]->ring.sum = chains[f].sum;
    followers[f]->ring.writeIndex = chains[f].newest;
    followers[f]->envelope = chains[f].level;
  }
}

template <uint32_t kFollowers>
void EnvFollower::FollowRms(EnvFollower* const* followers, ProcessContext* const* contexts) noexcept {
  bool gate = false;
  bool oneSpeed = true;
  for (uint32_t f = 0; f < kFollowers; ++f) {
    gate = gate || followers[f]->thresholdOn;
    oneSpeed = oneSpeed && followers[f]->HasOneSpeed();
  }
  if (gate) {
    oneSpeed ? FollowRms<kFollowers, true, true>(followers, contexts)
             : FollowRms<kFollowers, true, false>(followers, contexts);
  } else {
    oneSpeed ? FollowRms<kFollowers, false, true>(followers, contexts)
             : FollowRms<kFollowers, false, false>(followers, contexts);
  }
}

uint32_t EnvFollower::DoProcess(ProcessContext& context) {
  const float* left = context.Input(0);
  const float* right = context.Input(1);
  float* out = context.Output(0);
  if (left == nullptr || out == nullptr) return 0;

  if (rmsOn) {
    EnvFollower* const self = this;
    ProcessContext* const own = &context;
    FollowRms<1>(&self, &own);
    return 1;
  }
  using Loop = void (EnvFollower::*)(const float*, const float*, float*, uint32_t) noexcept;
  static constexpr Loop kLoops[2][2] = {
      // [stereo][gate]: no flag is tested inside a loop
      {&EnvFollower::FollowPeaks<false, false>, &EnvFollower::FollowPeaks<false, true>},
      {&EnvFollower::FollowPeaks<true, false>, &EnvFollower::FollowPeaks<true, true>}};
  const bool stereo = stereoIn && right != nullptr;
  // Into a local first: GCC's undefined-behaviour sanitizer crashes on an index within the call.
  const Loop loop = kLoops[stereo][thresholdOn];
  (this->*loop)(left, right, out, context.sampleCount);
  return 1;
}

void EnvFollower::ProcessBoth(EnvFollower& first, ProcessContext& firstContext, EnvFollower& second,
                              ProcessContext& secondContext) {
  const auto isReady = [](const EnvFollower& follower, const ProcessContext& context) {
    return follower.rmsOn && !follower.IsAnyDirty() && context.Input(0) != nullptr &&
           context.Output(0) != nullptr;
  };
  if (!isReady(first, firstContext) || !isReady(second, secondContext) ||
      first.thresholdOn != second.thresholdOn) {
    first.Process(firstContext);
    second.Process(secondContext);
    return;
  }
  EnvFollower* const both[] = {&first, &second};
  ProcessContext* const contexts[] = {&firstContext, &secondContext};
  FollowRms<2>(both, contexts);
  first.changed = second.changed = 0;
}

}  // namespace Vantora::dsp
