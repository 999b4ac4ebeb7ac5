// What lives for days: counters beyond the numbers that a single holds, song positions beyond those that a
// single tells apart, and a sound that has been running since long before.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "dsp/control/LFO.h"
#include "dsp/convolution/FDL.h"
#include "tests/processor/Rig.h"

namespace Vantora::test {
namespace {

/// Largest step of the effect's LFO from one block to the next, at 120 BPM over the eight beats that begin at
/// `from` quarter notes.
double LargestLfoStep(double from) {
  ProcessorRig rig;
  rig.Set(kHostLfoRateType, Step(2, 5));     // synced, straight
  rig.Set(kHostLfoRateSynced, Step(4, 10));  // a whole note
  rig.Set(kHostLfoShapeType, 0.0f);          // sine
  rig.Set(kHostLfoPrismelAmount, 1.0f);
  rig.block.data.isPlaying = 1;
  const double beatsPerBlock = rig.effect.BlockSize() * 120.0 / 60.0 / 48000.0;
  double largest = 0.0, last = 0.0;
  for (int b = 0; b < 8 / beatsPerBlock; ++b) {
    rig.block.data.songPosition = static_cast<float>(from + b * beatsPerBlock);
    rig.effect->Process(&rig.block.data);
    const double value = static_cast<double>(rig.Get(200));
    if (b > 100) largest = std::max(largest, std::fabs(value - last));
    last = value;
  }
  return largest;
}

TEST(LongLives, ASyncedLfoGoesOnSmoothlyAsFarAsTheSongPositionTellsBlocksApart) {
  const double fresh = LargestLfoStep(0.0);
  ASSERT_GT(fresh, 1e-4);
  ASSERT_LT(fresh, 5e-3) << "a sine of 2000 blocks";
  // docs/host-interface.md has these. A single's numbers lie 2^-7 beats apart from 2^16 on, a block is 2^-9.
  const std::pair<int, double> wanted[] = {{12, 1.2}, {14, 2.0}, {15, 2.0},  {16, 2.0},
                                           {17, 4.0}, {18, 8.0}, {19, 16.0}, {20, 32.0}};
  for (const auto& [power, most] : wanted) {
    const double step = LargestLfoStep(std::ldexp(1.0, power));
    RecordProperty("largest step from 2^" + std::to_string(power) + " beats", std::to_string(step / fresh));
    std::printf("2^%d beats: largest step %.2f times that at the song's start\n", power, step / fresh);
    EXPECT_LE(step, most * fresh) << "2^" << power << " beats";
  }
}

TEST(LongLives, SwingAlternatesBeyondTheCyclesThatASingleCounts) {
  constexpr uint32_t kBlock = 64, kSteps = (1u << 25) + 64;
  dsp::LFO lfo("LFO", 1);
  lfo.ReDeclareParam(dsp::LFO::kRateUnSynced, MappingTools::Linear, false, 0.0f, 50.0f);
  lfo.SetRateTable({1.0f});
  lfo.SetParamInternal(dsp::LFO::kControlRate, 0.0f);
  lfo.Init(kBlock, 100.0f);
  lfo.SetParamInternal(dsp::LFO::kMode, dsp::LFO::kFree);
  lfo.SetParamInternal(dsp::LFO::kMidiSync, 0.0f);
  lfo.SetParamInternal(dsp::LFO::kRateUnSynced,
                       50.0f);  // of 100 Hz: a cycle has two samples, with swing 3 or 1
  lfo.SetParamInternal(dsp::LFO::kSwing, 75.0f);
  std::vector<float> left(kBlock), right(kBlock);
  float* outputs[2] = {left.data(), right.data()};
  float* inputs[3] = {};
  dsp::ProcessContext context;
  context.inputs = inputs;
  context.inputCount = 3;
  context.outputs = outputs;
  context.outputCount = 2;
  context.sampleCount = kBlock;
  context.tempo = 120.0f;
  for (uint32_t done = 0; done < kSteps; done += kBlock) lfo.Process(context);
  ASSERT_GE(lfo.GetCycles()[kBlock - 1], std::ldexp(1.0f, 24));
  std::vector<uint32_t> gaps;
  uint32_t last = 0;
  for (uint32_t i = 0; i < kBlock; ++i) {
    if (lfo.GetTriggers()[i] < 0.5f) continue;
    gaps.push_back(i - last);
    last = i;
  }
  ASSERT_GT(gaps.size(), 20u);
  for (size_t g = 2; g < gaps.size(); ++g) EXPECT_EQ(gaps[g] + gaps[g - 1], 4u) << g;
}

TEST(LongLives, ADelayedBlockOfAConvolutionKeepsItsTimeBeyondTwoToTheThirtySecond) {
  const std::vector<float> impulse(256, 0.01f);
  const auto render = [&](uint64_t start) {
    dsp::FDL line;
    line.Prepare(64, 4, 0, impulse.data(), impulse.size());
    std::vector<float> out;
    for (uint64_t b = 0; b < 40; ++b) {
      const std::vector<float> block(64, b % 7 == 0 ? 1.0f : 0.0f);
      line.SetInputTime(start + 64 * b);
      line.Push(block.data(), block.size());
      out.push_back(static_cast<float>(line.OutputTime() - start));
      if (const float* result = line.Take(64)) out.insert(out.end(), result, result + 64);
    }
    return out;
  };
  const auto fresh = render(0);
  EXPECT_EQ(render((uint64_t{1} << 32) - 640), fresh);
  EXPECT_EQ(render((uint64_t{1} << 53) - 640), fresh);
}

}  // namespace
}  // namespace Vantora::test
