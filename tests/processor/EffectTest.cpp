// Facts about the effect's sound and its surface, through the loaded library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include "tests/processor/Rig.h"
#include "tests/support/RealTimeGuard.h"
#include "tests/support/Signals.h"

namespace Vantora::test {
namespace {

float ImpulseAtZero(uint64_t n) { return n == 0 ? 1.0f : 0.0f; }

TEST(Surface, StartsAtTheTablesValues) {
  const LoadedProcessor p(0.0f);
  EXPECT_EQ(p.Value(kHostVoices), Step(4, 8));
  EXPECT_EQ(p.Value(kHostWet), 0.5f);
  EXPECT_EQ(p.Value(kHostLpf), 1.0f) << "exactly: the low-pass of a fresh effect is off";
  EXPECT_NEAR(p.Value(kHostHpf), 0.28809f, 1e-4f);
  EXPECT_EQ(p.Value(kHostInputGain), 0.5f);
  EXPECT_EQ(p.Value(kHostFeedbackTime), 498.0f / 998.0f);
  EXPECT_EQ(p.Value(21), 1.0f) << "the crusher's mix, from the clones' own configuration";
  EXPECT_EQ(p.Value(kHostLfoPrismelAmount), 0.0f);
  EXPECT_EQ(p.Value(175), 1.0f) << "song-locked";
  EXPECT_EQ(p.Value(186), 1.0f) << "control rate";
  EXPECT_NEAR(p.Value(202), 0.0398f, 1e-4f) << "0.2 s of 0.001..5";
}

TEST(Surface, ShapeAndRateSelectorsDriveTheLfo) {
  ProcessorRig rig;
  const auto shape = [&](int v) {
    rig.Set(kHostLfoShapeType, Step(v, 6));
    rig.Silence(48);
    return std::pair(std::lround(rig.Get(190) * 5.0f), rig.Get(192));
  };
  EXPECT_EQ(shape(5), std::pair(5L, 0.48f));
  for (const auto& [v, waveform] : {std::pair{1, 1L}, {2, 2L}, {3, 4L}, {4, 5L}, {0, 0L}}) {
    EXPECT_EQ(shape(v), std::pair(waveform, 0.0f)) << v;
  }
  const auto rate = [&](int v) {
    rig.Set(kHostLfoRateType, Step(v, 5));
    rig.Silence(48);
    return std::pair(std::lround(rig.Get(176) * 2.0f), std::lround(rig.Get(180) * 2.0f));
  };
  EXPECT_EQ(rate(3), std::pair(1L, 1L));
  EXPECT_EQ(rate(4), std::pair(1L, 2L));
  EXPECT_EQ(rate(1), std::pair(2L, 2L));
  EXPECT_EQ(rate(0).first, 0L);
}

TEST(Voices, OneVoiceAtRestIsTheInputOneSampleLate) {
  ProcessorRig rig;
  std::vector<float> right;
  const auto out = rig.Run(480, Music, &right);
  for (uint32_t n = 1; n < out.size(); ++n) {
    ASSERT_EQ(out[n], Music(n - 1)) << n;
    ASSERT_EQ(right[n], out[n]);
  }
}

TEST(Voices, StandAtTheirStartPhasesOfTwoMilliseconds) {
  ProcessorRig rig;
  rig.Set(kHostVoices, 1.0f);
  rig.Set(kHostPanic, 1.0f);
  const auto out = rig.Run(480, ImpulseAtZero);
  // 0.5 (1 + sin(2 pi phase - pi / 2)) of 96 samples, at least 1; a fractional delay falls on two samples.
  const double phases[] = {0.0, 0.25, 0.375, 0.472222, 0.055555, 0.483333, 0.05, 0.988888};
  std::vector<double> expected(480, 0.0);
  for (const double phase : phases) {
    const double delay = std::max(1.0, 96.0 * 0.5 * (1.0 + std::sin(2.0 * M_PI * phase - M_PI / 2.0)));
    const auto whole = static_cast<size_t>(delay);
    expected[whole] += 0.458502024 * (1.0 - (delay - static_cast<double>(whole)));
    expected[whole + 1] += 0.458502024 * (delay - static_cast<double>(whole));
  }
  for (size_t n = 0; n < expected.size(); ++n) EXPECT_NEAR(out[n], expected[n], 2e-4) << n;
}

TEST(Levels, DryIsTheRawInputAndTheGainsTouchTheWetPathOnly) {
  ProcessorRig rig;
  rig.Set(kHostWet, 0.0f);
  rig.Set(kHostInputGain, 1.0f);
  rig.Set(kHostWetGain, 1.0f);
  rig.Set(kHostPanic, 1.0f);
  const auto dry = rig.Run(480, Music);
  for (uint32_t n = 0; n < dry.size(); ++n) ASSERT_EQ(dry[n], Music(n));
  ProcessorRig loud;
  loud.Set(kHostInputGain, 0.75f);  // 12 dB
  loud.Set(kHostWetGain, 0.25f);    // -12 dB
  loud.Set(kHostPanic, 1.0f);
  const auto wet = loud.Run(480, Music);
  for (uint32_t n = 1; n < wet.size(); ++n) ASSERT_NEAR(wet[n], Music(n - 1), 1e-6f);
}

TEST(Filters, HighAndLowPassAreThreeDecibelsDownAtTheirCutoffs) {
  const auto levelAt = [](uint32_t param, float position, double hz) {
    ProcessorRig rig;
    rig.Set(param, position);
    rig.Set(kHostPanic, 1.0f);
    const auto out = rig.Run(48000, [hz](uint64_t n) {
      return static_cast<float>(std::sin(2.0 * M_PI * hz * static_cast<double>(n) / 48000.0));
    });
    return 20.0 * std::log10(Rms(out, 24000) * M_SQRT2);
  };
  // Position 0.5 of 20..20000 Hz bent by 6.
  const double hz = 20.0 + 19980.0 * (std::exp(3.0) - 1.0) / (std::exp(6.0) - 1.0);
  EXPECT_NEAR(levelAt(kHostHpf, 0.5f, hz), -3.01, 0.05);
  EXPECT_NEAR(levelAt(kHostLpf, 0.5f, hz), -3.01, 0.05);
  EXPECT_NEAR(levelAt(kHostHpf, 0.5f, hz / 8.0), -36.1, 0.3);
  EXPECT_NEAR(levelAt(kHostLpf, 0.5f, hz / 8.0), 0.0, 0.05);
}

TEST(Filters, AStaleStateNeverBurstsOutWhenOneOpens) {
  ProcessorRig rig;
  rig.Set(kHostHpf, 0.4f);
  rig.Run(4800, [](uint64_t) { return 0.5f; });
  rig.Set(kHostHpf, 0.0f);
  rig.Run(4800, Music);
  rig.Set(kHostHpf, 0.4f);
  const auto out = rig.Run(480, [](uint64_t) { return 0.0f; });
  EXPECT_LT(std::fabs(*std::max_element(out.begin(), out.end(),
                                        [](float a, float b) { return std::fabs(a) < std::fabs(b); })),
            1.0f);
  ProcessorRig low;
  low.Set(kHostLpf, 0.4f);
  low.Run(4800, [](uint64_t) { return 0.5f; });
  low.Set(kHostLpf, 1.0f);
  low.Silence(9600);
  low.Set(kHostLpf, 0.4f);
  EXPECT_LT(Rms(low.Silence(480)), 1e-6);
}

TEST(Meters, ReadSilenceLevelAndTheirUpperLimit) {
  ProcessorRig rig;
  rig.Silence(4800);
  EXPECT_EQ(rig.Get(kHostInputPower), 0.0f);
  EXPECT_EQ(rig.Get(kHostOutputPower), 0.0f);
  const auto tone = [](uint64_t n) { return std::sin(0.05f * static_cast<float>(n % 125664)); };
  rig.Run(96000, tone);
  EXPECT_NEAR(rig.Get(kHostInputPower) * 86.0f - 80.0f, 0.0f, 0.2f) << "a sine reads as its peak";
  EXPECT_NEAR(rig.Get(kHostOutputPower) * 86.0f - 80.0f, 0.0f, 0.2f);
  rig.Set(kHostOutputGain, 0.0f);
  rig.Set(kHostInputGain, 1.0f);
  rig.Run(96000, tone);
  EXPECT_EQ(rig.Get(kHostInputPower), 1.0f) << "stops at 6 dB";
  EXPECT_EQ(rig.Get(kHostOutputPower), 1.0f) << "taken in front of the frame's gain";
}

TEST(ReadOuts, FollowThePrismelionKnobAndThePrimaryParameter) {
  ProcessorRig rig;
  rig.Set(kHostPrismelion, 0.8f);
  rig.Set(kHostFxType, Step(1, 6));
  rig.Set(kHostBandpassCutoff, 0.3f);
  rig.Silence(96000);
  EXPECT_NEAR(rig.Get(kHostFeedbackPrismel), 0.8f, 1e-3f);
  EXPECT_NEAR(rig.Get(kHostFeedbackPrimary), 0.3f, 1e-3f);
}

TEST(Lfo, ModulatesPrismelionAtItsRate) {
  ProcessorRig rig;
  rig.Set(kHostPrismelion, 0.5f);
  rig.Set(kHostLfoPrismelAmount, 0.75f);
  // 120 beats a minute, synced, straight, 1/4 of a whole note: 0.5 s.
  rig.Set(kHostLfoRateType, Step(2, 5));
  rig.Set(kHostLfoRateSynced, Step(6, 10));
  std::vector<float> readings;
  for (int b = 0; b < 4000; ++b) {
    rig.Silence(48);
    readings.push_back(rig.Get(kHostFeedbackPrismel));
  }
  std::vector<int> rising;
  const double mean = std::accumulate(readings.begin() + 1000, readings.end(), 0.0) / 3000.0;
  for (size_t i = 1001; i < readings.size(); ++i) {
    if (readings[i - 1] < mean && readings[i] >= mean) rising.push_back(static_cast<int>(i));
  }
  ASSERT_GE(rising.size(), 4u);
  for (size_t i = 1; i < rising.size(); ++i) EXPECT_NEAR(rising[i] - rising[i - 1], 500, 1);
}

TEST(Feedback, ComesBackAfterTheKnobsTimeAndOnlyInTheHarmonizersUpperHalf) {
  const auto echoes = [](float spray, int type) {
    ProcessorRig rig;
    rig.Set(kHostFxType, Step(type, 6));
    rig.Set(kHostSpray, spray);
    rig.Set(kHostFeedbackTime, 98.0f / 998.0f);  // 100 ms
    rig.Silence(48000);                          // the delay glides to its place
    const uint64_t start = rig.clock;
    return rig.Run(48 * 250, [start](uint64_t n) { return n == start ? 1.0f : 0.0f; });
  };
  const auto out = echoes(1.0f, 5);
  // At interval 0 both heads stand still, one sample and half a grain behind, one whole grain behind; the tap
  // adds its sample. The places fall between samples, so an echo's level is that of its neighbourhood.
  const auto loudest = [&](int from, int to) {
    return static_cast<int>(std::max_element(out.begin() + from, out.begin() + to,
                                             [](float a, float b) { return std::fabs(a) < std::fabs(b); }) -
                            out.begin());
  };
  const auto levelAround = [&](int n) {
    return std::accumulate(out.begin() + n - 3, out.begin() + n + 4, 0.0);
  };
  const double halfGrain = 0.5 * 0.029985627 * 48000.0;
  const int first = loudest(0, 1000);
  const int second = loudest(4800, 5800 + first);
  EXPECT_NEAR(first, 2.0 + halfGrain, 1.0);
  EXPECT_NEAR(levelAround(first), 1.0, 1e-3);
  EXPECT_NEAR(second - first, 4800.0 + 2.0 + halfGrain, 1.0);
  EXPECT_NEAR(levelAround(second), 0.3535, 5e-3);
  for (const auto& [spray, type] : {std::pair{0.5f, 5}, {1.0f, 0}}) {
    const auto closed = echoes(spray, type);
    EXPECT_EQ(Rms(closed, 4700), 0.0) << type;
  }
}

TEST(Determinism, TheFirstProcessorOfEveryProcessSoundsTheSameAndTwoOfThemDiffer) {
  const auto render = [](ProcessorRig& rig) {
    rig.Set(kHostFxType, 1.0f);
    rig.Set(kHostChord, Step(5, 12));
    rig.Set(kHostVoices, 1.0f);
    rig.Set(kHostSpray, 0.6f);
    return rig.Run(48000, Music);
  };
  ProcessorRig first;
  ProcessorRig second;
  EXPECT_NE(render(first), render(second)) << "the spray draws from seeds of their own";
}

TEST(Robustness, APanicBringsTheSoundBackAfterNotANumber) {
  for (int type = 0; type < 6; ++type) {
    ProcessorRig rig;
    rig.Set(kHostFxType, Step(type, 6));
    rig.Set(kHostBandpassCutoff, 0.4f);
    rig.Set(kHostCombResonance, 0.9f);
    rig.Set(kHostHpf, 0.2f);
    rig.Set(kHostLpf, 0.9f);
    rig.Set(kHostSpray, 0.9f);
    rig.Run(480, [](uint64_t n) { return n == 7 ? std::nanf("") : n == 200 ? INFINITY : 0.1f; });
    rig.Set(kHostPanic, 1.0f);
    const auto out = rig.Run(48000, Music);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](float x) { return std::isfinite(x); })) << type;
    EXPECT_GT(Rms(out), 0.01) << type;
  }
}

/// What a random life did wrong.
struct Life {
  RealTimeViolations violations;  // of the first block with any, save page faults
  std::vector<int> faultyBlocks;  // those with page faults
  uint64_t notFinite = 0;         // samples
};

/// Every musician's knob moves at random in every block.
/// tests/proofs runs a million, with more kinds of events.
Life LiveWith(int type, uint32_t seed) {
  constexpr int kBlocks = 4000;
  Life life;
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> position(0.0f, 1.0f);
  ProcessorRig rig(type % 2 == 0 ? 44100.0f : 96000.0f, false);
  rig.Set(kHostFxType, Step(type, 6));
  rig.Silence(96);
  for (int b = 0; b < kBlocks && life.violations.None(); ++b) {
    for (uint32_t index = 152; index < 226; ++index) {
      if (index == kHostFxType || index == kHostBypass || index == kHostPresetLoading || index == kHostPanic)
        continue;
      if (random() % 4 == 0) rig.Set(index, position(random));
    }
    const uint32_t bank = random() % 152;  // and one of the clones' own, configuration included
    if (bank % 76 != 71) rig.Set(bank, position(random));
    if (random() % 64 == 0) rig.Set(random() % 2 == 0 ? kHostPanic : kHostPresetLoading, position(random));
    for (uint32_t i = 0; i < rig.effect.BlockSize(); ++i) {
      rig.block.left[i] = 2.0f * position(random) - 1.0f;
      rig.block.right[i] = 2.0f * position(random) - 1.0f;
    }
    rig.block.data.tempo = 30.0f + 200.0f * position(random);
    rig.block.data.isPlaying = static_cast<uint8_t>(random() % 2);
    rig.block.data.songPosition = 100.0f * position(random) - 10.0f;
    life.violations = Watch([&] { rig.effect->Process(&rig.block.data); });
    if (life.violations.pageFaults > 0) life.faultyBlocks.push_back(b);
    for (uint32_t i = 0; i < rig.effect.BlockSize(); ++i) {
      if (!std::isfinite(rig.block.outLeft[i]) || !std::isfinite(rig.block.outRight[i])) ++life.notFinite;
    }
  }
  return life;
}

TEST(RealTime, HoldsForEveryEffectWhileAllKnobsMove) {
  // A sanitizer has pages of its own, which it touches when it likes.
  const bool isLocked = RealTimeGuard::WatchesEverything() && RealTimeGuard::LockMemory();
  for (int type = 0; type < 6; ++type) {
    const uint32_t seed = 977u + static_cast<uint32_t>(type);
    const Life life = LiveWith(type, seed);
    EXPECT_TRUE(life.violations.None())
        << "type " << type << " seed " << seed << ": " << life.violations.Text();
    EXPECT_EQ(life.notFinite, 0u) << "type " << type << " seed " << seed;
    // The kernel moves locked pages too when it makes room for large ones, at any block. A fault of the
    // code's own comes at the same block in every such life.
    std::vector<int> own = life.faultyBlocks;
    for (int again = 0; isLocked && again < 2 && !own.empty(); ++again) {
      const std::vector<int> found = LiveWith(type, seed).faultyBlocks;
      std::erase_if(own, [&](int b) { return !std::binary_search(found.begin(), found.end(), b); });
    }
    if (isLocked) {
      EXPECT_THAT(own, testing::IsEmpty()) << "page faults, type " << type << " seed " << seed;
    }
  }
}

}  // namespace
}  // namespace Vantora::test
