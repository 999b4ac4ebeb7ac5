#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BlockBuffers.h"
#include "dsp/control/EnvFollower.h"
#include "dsp/control/LFO.h"
#include "dsp/control/SmootherSRL.h"
#include "dsp/stage/Prismel.h"
#include "processor/EffectProcessor.h"
#include "processor/PrismelProcessorRows.h"

namespace Vantora::Processor {

/// PrismelProcessor: the effect itself. It wires the voice engine, the LFO and the two meters together and
/// defines the list of host parameters.
///
///     LFO --(x LFOPrimaryAmount)--> primary parameter of "Prismel"
///         --(x LFOPrismelAmount)--> "Prismelion"
///     in --+--> Prismel --+--> out
///          |              +--> OutputAnalyzer --> OutputPower
///          +--> InputAnalyzer (+ InputGain) --> InputPower
///
/// Indices 0..174 belong to "Prismel", 175..200 to "LFO", 201..207 and 208..214 to the analyzers, 215..219 to
/// the frame, 220..225 to the enumeration below.
class PrismelProcessor
    : public EffectProcessor<64, 8, dsp::Prismel, dsp::LFO, dsp::EnvFollower, dsp::EnvFollower>,
      public PrismelProcessorKnobs::Indices {
 public:
  using OwnParam = PrismelProcessorKnobs::OwnParam;
  static constexpr uint32_t kParamCount = kOwnBase + kOutputPower + 1;
  static_assert(kChildBases[1] == 175 && kChildBases[2] == 201 && kChildBases[3] == 208 && kOwnBase == 215);
  static_assert(kParamCount == 226);

  /// Seeds follow from a process-wide count: the first processor of every process sounds the same on every
  /// run, and two of them differ.
  PrismelProcessor();
  /// With a seed of the caller's.
  explicit PrismelProcessor(uint32_t seed);
  /// Seed of the process's processor with this number, counted from 0.
  static uint32_t SeedOf(uint32_t number);

  void ConfigureProduct(uint32_t maxBlockSize, float sampleRate) override;
  void ResetProduct(bool hard) override;
  uint32_t ProcessWet(ProcessContext& context, ChannelMode channelMode) override;
  bool UpdateProduct(ProcessContext& context) override;

 private:
  enum ChildNumber : uint32_t { kPrismel, kLfo, kInputAnalyzer, kOutputAnalyzer };

  void RunLfo(const ProcessContext& context);
  void CopyInput(const ProcessContext& context, ChannelMode mode);
  /// Writes the levels of input and output into their read-outs, that of the input with `inputGainDb` on top.
  void Meter(const ProcessContext& context, std::array<float*, 2> input, std::array<float*, 2> output,
             float inputGainDb);

  // Control ports: four floats of header, of which the last is the live mark, then a block.
  std::vector<float> lfoOutput;
  std::vector<float> lfoScaled;
  dsp::SmootherSRL monoFade{0.01f, 1.0f};  // 1: the two inputs are summed; nothing aims it, so it rests at 0
  BlockBuffers portMemory;                 // a block each, in this order
  float* inputLeft = nullptr;
  float* inputRight = nullptr;
  float* silentBuffer = nullptr;
  std::array<float*, 2> analyzerOutputs{};
  AlignedFloats monoFadeBuffer;
};

}  // namespace Vantora::Processor
