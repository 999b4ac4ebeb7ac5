#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "dsp/stage/StageRoutes.h"
#include "dsp/stage/SweepLfo.h"
#include "host/Parameter.h"
#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// TapPicture: where the sixteen taps stand and how the voices' values spread, run along with the effect by
/// the effect's own formulas, because it doesn't tell them.
///
/// Follows "Prismelion" as the effect reads it out, which is smoothed for the eye: while it moves fast the
/// picture trails the sound by a few tenths of a second. It moves in steps of some blocks, about as often as
/// a screen can show; in longer ones while nobody looks.
///
/// Threads  `Configure` off the audio thread; `Restart`, `Count`, `IsDue` and `Advance` on it; `Store`
/// anywhere.
class TapPicture {
 public:
  TapPicture();

  /// For blocks of `blockSize` samples at `sampleRate` Hz.
  void Configure(double sampleRate, uint32_t blockSize);
  /// [process] The sweep begins anew, as after a preset or a panic.
  void Restart() {
    sweep.Restart();
    blocksGone = kDueNow;
  }
  /// [process] A block begins.
  void Count() { ++blocksGone; }
  /// [process] Whether a step begins with this block, and `Advance` is wanted.
  bool IsDue() const { return blocksGone >= blocksToStep; }
  /// Steps in `seconds` of sound.
  uint32_t StepsIn(double seconds) const { return static_cast<uint32_t>(seconds / stepSeconds); }

  /// What `Advance` follows.
  struct Reading {
    uint32_t effect = 0;      ///< value of "FXType"
    uint32_t voices = 1;      ///< on each side, 1 to 8
    float prismelion = 0.0f;  ///< modulated, position
    float primary = 0.0f;     ///< modulated position of the effect's first knob
  };
  /// [process] One step. `isWatched`: also publish the positions; the sweep itself runs in any case, in
  /// longer steps. True when what is published moved.
  bool Advance(const Reading& reading, bool isWatched);

  /// [any thread] The first knob of an effect, a value of "FXType"; null without one.
  const host::Parameter* PrimaryOf(uint32_t effect) const {
    return effect < primary.size() ? primary[effect] : nullptr;
  }
  /// [any thread] Fills in taps and spread.
  void Store(LiveView& view) const;

 private:
  using Published = std::array<std::array<std::atomic<float>, LiveView::kVoices>, LiveView::kSides>;
  void SetIncrements(float position, uint32_t voices);
  bool PublishTaps(uint32_t voices, float depthMs);
  bool PublishSpread(const Reading& reading);

  static constexpr uint32_t kUnwatchedSteps =
      3;  // in one: a host's own view shows read-outs 20 times a second
  static constexpr uint32_t kDueNow = 1u << 30;
  uint32_t blocksToStep = 1, blocksGone = kDueNow;  // first: asked in every block
  uint32_t stepBlocks = 1;
  const host::Parameter& depth;                     // "Detune": "Prismelion" to ms
  const host::Parameter& rate;                      // "Rate": "Prismelion" to Hz
  std::array<const host::Parameter*, 6> primary{};  // the effects' first knobs
  dsp::SweepLfo sweep;
  std::array<dsp::StageSpread, 2> spreads;
  double stepSeconds = 0.001;
  float sampleMs = 1.0f / 48.0f;  // the shortest delay
  float sweepPosition = -1.0f;    // "Prismelion" of the increments
  uint32_t sweepVoices = 0;
  Reading spreadReading{~0u, 0, 0.0f, 0.0f};
  Published taps{}, spread{};
};

}  // namespace Vantora::plugin
