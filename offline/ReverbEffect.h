#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dsp/convolution/ConvolutionReverb.h"
#include "offline/Effect.h"
#include "offline/ModuleEffect.h"
#include "offline/ModuleKnobs.h"

namespace Vantora::offline {

/// ReverbSettings: the sound of the convolution reverb, and how it is run.
struct ReverbSettings {
  struct Value {
    uint32_t index;  ///< of the module's parameter
    float value;     ///< in the parameter's unit
  };
  std::string impulse;  ///< path; with `samples` a name for messages, or empty
  /// An impulse in memory in place of a file: 1 sample or more, all finite, at 1 kHz to 768 kHz or unknown.
  std::shared_ptr<const dsp::Impulse> samples;
  /// True stereo: `samples` is then what the left input sounds like on both sides, and this what the right
  /// one does. Null: each input has its own side of `samples`.
  std::shared_ptr<const dsp::Impulse> rightSamples;
  std::vector<Value> values;  ///< the last one for a parameter counts; "Wet" is 0.5 unless named
  bool isRealTime = false;    ///< blocks of 64, and workers compute; otherwise the caller's thread does all
  /// Called before each block with the time, in seconds of the stream, at which a live host would have it
  /// ready: the place to wait in. May be empty.
  std::function<void(double seconds)> beforeBlock;
  /// Of "Wet" and "PreDelayMs", which glide; any other knob makes a new impulse. May be null.
  std::shared_ptr<const ModuleMoves> moves;
};

/// The reverb's parameters as they are named to users.
ModuleKnobs ReverbKnobs();

/// ReverbEffect: the convolution reverb over a recording. Offline everything is computed on the calling
/// thread and is the same on each run.
class ReverbEffect final : public Effect {
 public:
  explicit ReverbEffect(ReverbSettings reverbSettings) : settings(std::move(reverbSettings)) {}

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;
  /// The whole tail: an impulse may be silent for as long as it likes before its last echo.
  double LongestGap() const override { return tailSeconds; }
  /// Above 48 kHz what the samplers of the reduced rate take: wet and dry come equally late.
  uint64_t Latency() const override { return wetLatency; }
  uint64_t NonFiniteCount() const override { return buffer.NonFiniteCount(); }

  /// What came late or was lost since the start; all zero offline. After `Start`.
  const dsp::OverloadCounters& Overloads() const { return engines.front()->Overloads(); }

 private:
  std::unique_ptr<dsp::ConvolutionReverb> MakeEngine(const std::shared_ptr<const dsp::Impulse>& samples);
  void PrepareMix();
  void SetMix(float wet);
  void Move(uint32_t index, float normalized);
  void LineUp();
  void MeasureLatency();
  void MixDry();
  void RunModule();
  void RunBlock();

  ReverbSettings settings;
  std::vector<std::unique_ptr<dsp::ConvolutionReverb>> engines;  // one, or one for each input
  std::optional<host::AutomationPlayer> player;
  uint32_t outputCount = 0;
  host::BlockBuffer buffer;
  double rate = 0.0;  // Hz
  double tailSeconds = 0.0;
  uint64_t framesRun = 0;
  // Where the module runs at a reduced rate its dry signal would come early, and two modules would give it
  // twice: the mix is made here.
  bool splitsMix = false;
  uint32_t wetLatency = 0;                     // frames
  float wet = 0.0f;                            // where the mix goes
  float dryGain = 0.0f, wetGain = 1.0f;        // where it stands
  std::array<std::vector<float>, 2> dryLines;  // a ring of `wetLatency` each
  size_t dryPlace = 0;
  std::array<std::vector<float>, 2> second;  // outputs of the second engine
};

}  // namespace Vantora::offline
