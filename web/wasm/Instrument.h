#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "host/ProcessorSource.h"
#include "plugin/core/Stream.h"
#include "plugin/core/Values.h"

namespace Vantora::web {

/// Instrument: the effect as an audio worklet plays it, in pieces of any length, one block (about 1 ms) late.
///
/// A browser can't flush denormal numbers, in which a dying tail may cost many times what the signal before
/// it did. A live instrument therefore adds +-1e-20, alternating, to its input: 400 dB below full scale, it
/// changes no bit of a sample above 1e-12, and all that rings keeps above the denormals. One that isn't live
/// leaves its input alone, so that a render in an OfflineAudioContext has the bits of `prismel render`.
///
/// Threads  the one that the module runs on; the constructor allocates, `Process` doesn't
class Instrument {
 public:
  /// Numbers of `Live`: eight single ones, sixteen taps and sixteen values, each left voices first.
  enum LiveNumber : uint32_t {
    kVoices,      ///< on each side, 1 to 8
    kPrismelion,  ///< with its modulation, position
    kPrimary,     ///< first knob of the effect with its modulation, position
    kLfoPhase,    ///< 0 to 1
    kLfoValue,    ///< -1 to 1
    kInputDb,     ///< -80 to 6
    kOutputDb,    ///< -80 to 6
    kPosition,    ///< quarter notes
    kTaps,        ///< ms
    kSpread = kTaps + 16,
    kLiveCount = kSpread + 16
  };

  /// For `rate` Hz and calls of at most `longest` frames, sounding as `start` says from the first sample on.
  /// `seed` picks the sequence of the random elements; 0 is that of `prismel render`. Throws
  /// `host::HostError`.
  Instrument(float rate, uint32_t longest, uint32_t inputs, uint32_t outputs, uint32_t seed, bool isLive,
             const plugin::Positions& start);

  /// Room for the next input, and where the last output stands: `longest` frames a channel.
  float* Input(uint32_t channel) { return inputs[channel].data(); }
  float* Output(uint32_t channel) { return outputs[channel].data(); }

  /// `frames` from the inputs to the outputs; samples that aren't finite count as 0.
  void Process(uint32_t frames);

  plugin::Values& Values() { return values; }
  plugin::Stream& Stream() { return stream; }

  /// `kLiveCount` numbers as the last block left them, valid until the next call.
  const float* Live();

 private:
  plugin::Values values;
  plugin::Stream stream{values};
  std::array<std::vector<float>, 2> inputs, outputs;
  std::array<float, kLiveCount> live{};
  const bool isLive;
};

}  // namespace Vantora::web
