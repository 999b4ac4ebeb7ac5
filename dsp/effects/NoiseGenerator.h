#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dsp/effects/NoiseGeneratorRows.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// NoiseGenerator: six colours of noise out of one white source.
///
///     violet    white, differentiated, low-passed at 20 kHz              +6 dB per octave
///     white     the generator's numbers as they are                       0 dB per octave
///     pink      a bank of one-poles two octaves apart, 6 dB apart        -3 dB per octave
///     brown     white, summed, high-passed at 20 Hz                      -6 dB per octave
///     dark      pink, then brown                                         -9 dB per octave
///     variable  between neighbours: 0 brown, 0.25 pink, 0.5 white, 1 violet
///
/// Inputs   0 control, added to "NoiseColor"; acts on the variable colour
/// Outputs  0 audio, -1..1
/// Reset    pink and brown clear; the sequence goes on. A change of "NoiseType" does the same, so that no old
///          level jumps into the new colour
/// Threads  Configure off the audio thread, the rest on it; allocates in Configure only
/// Source   xorshift: G. Marsaglia, "Xorshift RNGs", 2003; the low-pass: R. Bristow-Johnson's cookbook
class NoiseGenerator : public UnitModule, public NoiseGeneratorKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 1, kOutputCount = 1;
  static constexpr uint32_t kParamCount = NoiseGeneratorKnobs::kRows.size();
  using ParamIndex = NoiseGeneratorKnobs::ParamIndex;
  enum Type : uint32_t { kViolet, kWhite, kPink, kBrown, kDark, kVariable, kTypeCount };

  /// Display names, by type.
  static constexpr std::array<std::string_view, kTypeCount> kTypeNames = {"Violet", "White", "Pink",
                                                                          "Brown",  "Dark",  "Variable"};

  /// The same seed gives the same sequence; 0 takes one from the clock.
  explicit NoiseGenerator(std::string name, uint32_t seed = 0);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

 private:
  static constexpr std::size_t kMostGroups = 4;  // sixteen poles reach beyond any rate in use

  void ConfigurePinkBank(double sampleRate, double gain);
  void ClearColours();

  // The steps to a colour, in place over a block.
  void White(float* data, uint32_t count);
  void Violet(float* data, uint32_t count);
  void Pink(float* data, uint32_t count);
  template <std::size_t groups>
  void RunBank(float* data, uint32_t count);
  void Brown(float* data, uint32_t count);
  void Variable(float* data, uint32_t count, float blend);

  uint32_t type = kWhite;  // until the first block has read "NoiseType"
  uint32_t poleCount = 0;
  // The pink bank, padded with poles of weight 0 to whole groups of four.
  std::vector<float> poleCoefs;
  std::vector<float> poleWeights;
  std::vector<float> poleStates;
  float pinkGain = 0.0f;
  float brownSum = 0.0f;  // an integrator without a leak; the high-pass takes its drift away
  float lastWhite = 0.0f;
  float hpGain = 0.0f, hpPole = 0.0f, hpState = 0.0f;
  float lpB0 = 0.0f, lpB1 = 0.0f, lpB2 = 0.0f, lpA1 = 0.0f, lpA2 = 0.0f;
  float lpState1 = 0.0f, lpState2 = 0.0f;
  float brownGain = 0.0f, darkGain = 0.0f, violetGain = 0.0f;
  float color = 0.0f;
  uint32_t randomState;
  std::vector<float> scratch;  // one block
};

}  // namespace Vantora::dsp
