#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "dsp/convolution/ConvolutionEngine.h"
#include "dsp/convolution/ImpulseFile.h"
#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/FIRUpDownsampler.h"

namespace Vantora::dsp {

/// Convolver: one impulse ready to sound, the engine and,
/// when it runs at a reduced rate, the samplers around it.
///
///     in --> carry --> down by M --> engine --> up by M --> queue --> out
///
/// The samplers work on whole groups of M samples. What doesn't fill a group is
/// carried into the next block; on the way out a queue, primed with as many
/// zeros as blocks of multiples of four can ever fall short of, evens that out.
///
/// Built and configured on the loading thread, then it belongs to the audio thread, which never destroys it.
class Convolver {
 public:
  /// Both channels of the impulse must be there. `rateDivisor` 0: no reduced rate.
  Convolver(const Impulse& impulse, const PartitionSchedule& schedule, uint64_t rateDivisor);

  /// `maxBlockSize` in samples and `sampleRate` in Hz, of the module. Allocates.
  void Configure(uint32_t maxBlockSize, float sampleRate);

  /// Forgets the sound, but rings on where the engine's reset does.
  void Reset();

  /// Replaces the outputs. A null inputs[1] or outputs[1] is a mono side.
  void Process(const std::array<float*, 2>& inputs, const std::array<float*, 2>& outputs, uint32_t count);

  /// What the wet signal comes late by, in samples of the module: 0 at the full rate.
  uint32_t Latency() const noexcept;

  ConvolutionEngine& Engine() noexcept { return engine; }
  uint64_t RateDivisor() const noexcept { return rateDivisor; }

 private:
  struct Channel {
    prims::FIRUpDownsampler down, up;
    prims::AlignedBuffer carried;  // input that waits for its group to fill
    prims::AlignedBuffer low;      // at the engine's rate, in place
    prims::AlignedBuffer queued;   // output that waits to be taken
  };

  void RunEngine(const std::array<float*, 2>& inputs, const std::array<float*, 2>& outputs, uint32_t count);
  void ClearSamplers() noexcept;
  uint32_t Priming() const noexcept;

  ConvolutionEngine engine;
  uint64_t rateDivisor;
  std::array<Channel, 2> channels;
  uint32_t carriedCount = 0;
  uint32_t queuedCount = 0;
  uint32_t shortfall = 0;  // zeros put out because blocks weren't multiples of four
};

}  // namespace Vantora::dsp
