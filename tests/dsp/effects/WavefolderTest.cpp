#include "dsp/effects/Wavefolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "dsp/effects/TriangleFold.h"
#include "dsp/effects/distortion/DistortionKernels.h"
#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

class Folder : public test::EffectRig<Wavefolder> {
 public:
  explicit Folder(uint32_t blockSize = 48) : EffectRig(blockSize) {
    Set(Wavefolder::kWet, 1.0f);
    for (uint32_t dB : {Wavefolder::kDrive, Wavefolder::kOutputGain, Wavefolder::kGainStagingIn,
                        Wavefolder::kGainStagingOut}) {
      Set(dB, 0.0f);
    }
  }
};

double Sine(uint32_t i, double hz, double size = 1.0) {
  return size * std::sin(2.0 * std::numbers::pi * hz * i / 48000.0);
}

TEST(Wavefolder, AtZeroDriveASineFoldIsTheSineOfTheInputTimesTheCompensation) {
  Folder plain;
  Folder compensated;
  compensated.Set(Wavefolder::kAutoComp, 1.0f);
  const auto source = [](uint32_t i) { return -3.0 + i * 0.0125; };
  const auto out = plain.Run(480, source);
  const auto level = compensated.Run(480, source);
  for (uint32_t i = 0; i < 480; ++i) {
    const double expected = std::sin(static_cast<float>(source(i)) * std::numbers::pi / 2.0);
    EXPECT_NEAR(out[i], expected, 1e-6);
    EXPECT_NEAR(level[i], expected * std::pow(10.0, -1.153582 / 20.0), 1e-6);
  }
}

TEST(Wavefolder, DrivesByTheGainAndItsFourthRootAndTakesTheRootBack) {
  Folder folder;
  folder.Set(Wavefolder::kDrive, 12.0f);
  folder.Set(Wavefolder::kGainStagingIn, 6.0f);
  folder.Set(Wavefolder::kOutputGain, -3.0f);
  folder.Set(Wavefolder::kGainStagingOut, 1.0f);
  folder.Set(Wavefolder::kWet, 0.75f);
  folder.Set(Wavefolder::kAutoComp, 1.0f);
  for (const float type : {0.49f, 0.5f}) {
    folder.Set(Wavefolder::kType, type);
    folder.effect.ResetState(true);
    const auto out = folder.Run(4800, [](uint32_t i) { return Sine(i, 100.0, 0.8); });
    const double g = std::pow(10.0, 18.0 / 20.0), r = std::pow(g, 0.25);
    const double gain =
        std::pow(2.0, -2.0 * 0.1660964) * std::pow(2.0, (type < 0.5f ? -1.153582 : 0.0) * 0.1660964) / r;
    for (uint32_t i = 0; i < 4800; ++i) {
      const double x = static_cast<float>(Sine(i, 100.0, 0.8));
      const double driven = x * g * r;
      const double folded = type < 0.5f ? std::sin(driven * std::numbers::pi / 2.0) : FoldTriangle(driven);
      ASSERT_NEAR(out[i], 0.25 * x + 0.75 * gain * folded, 1e-5) << i;
    }
  }
}

TEST(Wavefolder, TriangleReturnsAtEachOddNumberAndKeepsItsAntiderivative) {
  const double at[][2] = {{0.0, 0.0},  {0.5, 0.5},   {1.0, 1.0},   {1.5, 0.5},   {2.0, 0.0}, {3.0, -1.0},
                          {3.5, -0.5}, {5.25, 0.75}, {-0.5, -0.5}, {-1.5, -0.5}, {-3.0, 1.0}};
  for (const auto& [x, y] : at) EXPECT_DOUBLE_EQ(FoldTriangle(x), y) << x;
  for (double x = -990.03; x < 990.0; x += 0.37) {
    const double slope = (FoldTriangleIntegral(x + 1e-4) - FoldTriangleIntegral(x - 1e-4)) / 2e-4;
    EXPECT_NEAR(slope, FoldTriangle(x), 1e-4) << x;
  }
  const auto jump = [](double x) { return FoldTriangleIntegral(x + 1e-9) - FoldTriangleIntegral(x - 1e-9); };
  EXPECT_NEAR(jump(901.0), 0.0, 1e-6);
  EXPECT_NEAR(jump(1011.0), -1011.0 * 1011.0, 1e-3);  // beyond 500 folds the parts no longer join
}

// A 2.4 kHz sine driven into some folds: what is not a harmonic of it is alias.
TEST(Wavefolder, AntiAliasingAndOversamplingLowerTheAliases) {
  const auto aliases = [](bool antiAlias, bool upsample) {
    Folder folder(64);
    folder.Set(Wavefolder::kType, 1.0f);
    folder.Set(Wavefolder::kDrive, 6.0f);
    folder.Set(Wavefolder::kAntiAl, antiAlias ? 1.0f : 0.0f);
    folder.Set(Wavefolder::kUpsmp, upsample ? 1.0f : 0.0f);
    auto out = folder.Run(
        8192, [](uint32_t i) { return std::sin(2.0 * std::numbers::pi * 203 * i / 4096.0 + 0.1); });
    out.erase(out.begin(), out.begin() + 4096);
    return test::AliasDb(out, 203);
  };
  const double plain = aliases(false, false);
  const double mended = aliases(true, false);
  const double doubled = aliases(false, true);
  const double both = aliases(true, true);
  std::printf("aliases in dB: plain %.1f, antiderivative %.1f, twice the rate %.1f, both %.1f\n", plain,
              mended, doubled, both);
  EXPECT_LT(mended, plain - 5.0);
  EXPECT_LT(doubled, plain - 10.0);
  EXPECT_LT(both, mended - 10.0);
}

TEST(Wavefolder, OversamplingIsTransparentForSmallSignalsInTheBand) {
  Folder folder;
  folder.Set(Wavefolder::kType, 1.0f);
  folder.Set(Wavefolder::kUpsmp, 1.0f);
  for (const double hz : {100.0, 1000.0, 8000.0}) {
    auto out = folder.Run(9600, [&](uint32_t i) { return Sine(i, hz, 0.1); });
    out.erase(out.begin(), out.begin() + 4800);
    EXPECT_NEAR(10.0 * std::log10(test::MeanSquare(out) / 0.005), 0.0, hz < 5000.0 ? 0.05 : 3.0) << hz;
  }
}

TEST(Wavefolder, SwitchingOversamplingOnStartsWithEmptySamplers) {
  Folder fresh, used;
  used.Set(Wavefolder::kUpsmp, 1.0f);
  used.Run(480, [](uint32_t i) { return Sine(i, 1000.0); });
  used.Set(Wavefolder::kUpsmp, 0.0f);
  used.Run(480, [](uint32_t i) { return Sine(i, 1000.0); });
  for (Folder* folder : {&fresh, &used}) folder->Set(Wavefolder::kUpsmp, 1.0f);
  const auto silence = [](uint32_t) { return 0.0; };
  EXPECT_EQ(used.Run(96, silence), fresh.Run(96, silence));
}

TEST(Wavefolder, FeedbackPortsCarryTheFoldOnlyWhileSwitchedOn) {
  Folder folder;
  std::fill_n(folder.inputs[4], 48, 0.25f);
  std::fill_n(folder.inputs[0], 48, 0.5f);
  folder.Process();
  EXPECT_NEAR(folder.outputs[0][7], std::sin(0.25 * std::numbers::pi), 1e-6);
  EXPECT_EQ(folder.outputs[2][7], 0.0f);
  folder.Set(Wavefolder::kFeedbackOn, 1.0f);
  folder.Process();
  EXPECT_NEAR(folder.outputs[0][7], std::sin(0.375 * std::numbers::pi), 1e-6);
  EXPECT_EQ(folder.outputs[2][7], folder.outputs[0][7]);
  folder.outputs[2] = nullptr;
  folder.inputs[4] = nullptr;
  folder.Process();
  EXPECT_NEAR(folder.outputs[0][7], std::sin(0.25 * std::numbers::pi), 1e-6);
}

TEST(Wavefolder, RunsTheSecondChannelOnlyInStereoAndSkipsMissingPorts) {
  Folder folder;
  std::fill_n(folder.inputs[1], 48, 0.5f);
  folder.Process();
  EXPECT_EQ(folder.outputs[1][0], 0.0f);
  folder.Set(Wavefolder::kStereo, 1.0f);
  folder.Process();
  EXPECT_NEAR(folder.outputs[1][0], std::sin(0.25 * std::numbers::pi), 1e-6);
  folder.inputs[1] = nullptr;
  EXPECT_EQ(folder.Process(), 1u);
}

// The integral's joining constants end there: beyond, the quotient of its differences is what it is.
TEST(Wavefolder, TheSmoothTriangleHasFiveHundredFolds) {
  Folder folder;
  folder.Set(Wavefolder::kAutoComp, 0.0f);
  folder.Set(Wavefolder::kType, 1.0f);
  folder.Set(Wavefolder::kAntiAl, 1.0f);
  folder.effect.ResetState(true);
  for (uint32_t i = 0; i < 48; ++i) folder.inputs[0][i] = i < 4 ? 600.0f : i < 8 ? 1000.0f : 1500.0f;
  folder.Process();
  EXPECT_LE(std::fabs(folder.outputs[0][4]), 1.0f);
  EXPECT_EQ(folder.outputs[0][8], -1250.0f);
}

TEST(Wavefolder, AnOutputGainUnderWayGoesOnByAllSamplesOfABlock) {
  Folder folder;
  folder.Set(Wavefolder::kAutoComp, 0.0f);
  folder.effect.ResetState(true);
  std::fill_n(folder.inputs[0], 48, 0.5f);
  folder.Process();
  const float folded = folder.outputs[0][0];
  folder.Set(Wavefolder::kOutputGain, 12.0f);
  SmootherInterpLPF gain(0.01f);
  gain.Setup(1, 48, 48000.0f);
  gain.SetValue(1.0);
  gain.SetTarget(std::pow(2.0, 12.0 * 0.1660964));
  for (const uint32_t count : {47u, 45u, 3u, 48u, 1u, 46u, 48u}) {
    std::array<float, 48> gains{};
    gain.Render(gains.data(), count);
    folder.Process(count);
    for (uint32_t i = 0; i < WholeQuads(count); ++i)
      ASSERT_NEAR(folder.outputs[0][i], folded * gains[i], 1e-5) << i << " of " << count;
  }
}

TEST(Wavefolder, LeavesWhatLiesBehindTheLastGroupOfFour) {
  Folder folder;
  std::fill_n(folder.inputs[0], 48, 0.5f);
  std::fill_n(folder.outputs[0], 48, 9.0f);
  folder.Process(7);
  EXPECT_LT(folder.outputs[0][3], 1.0f);
  for (uint32_t i = 4; i < 48; ++i) EXPECT_EQ(folder.outputs[0][i], 9.0f);
  std::fill_n(folder.outputs[0], 48, 9.0f);
  folder.Process(0);
  EXPECT_EQ(folder.outputs[0][0], 9.0f);
}

TEST(Wavefolder, ReportsOverloadOfTheDrivenInput) {
  Folder folder;
  std::fill_n(folder.inputs[0], 48, 1.0f);
  folder.Process();
  EXPECT_EQ(folder.effect.GetParam(Wavefolder::kOverload), 0.0f);
  folder.inputs[0][13] = -1.001f;
  folder.Process();
  EXPECT_EQ(folder.effect.GetParam(Wavefolder::kOverload), 1.0f);
  folder.Process(12);
  EXPECT_EQ(folder.effect.GetParam(Wavefolder::kOverload), 0.0f);
}

TEST(Wavefolder, ModulationMovesDriveAndWet) {
  Folder folder;
  std::fill_n(folder.inputs[0], 48, 0.1f);
  folder.Set(Wavefolder::kDrive, -24.0f);
  folder.MakeLive(3, 0.5f);  // half of the range: back to 0 dB
  folder.Process();
  EXPECT_NEAR(folder.outputs[0][9], std::sin(0.05 * std::numbers::pi), 1e-6);
  folder.MakeLive(2, -1.0f);
  for (int block = 0; block < 100; ++block) folder.Process();
  EXPECT_FLOAT_EQ(folder.outputs[0][9], 0.1f);
}

TEST(Wavefolder, CompensationRampsOverABlockAndIsThereAtOnceAfterAReset) {
  Folder folder;
  folder.Set(Wavefolder::kAutoComp, 1.0f);
  folder.Set(Wavefolder::kDrive, -24.0f);
  std::fill_n(folder.inputs[0], 48, 0.5f);
  folder.Process();
  EXPECT_NEAR(folder.outputs[0][0], folder.outputs[0][47], 1e-6f);
  // Switching the fold changes the table: the gain walks in a line to that of the new one.
  folder.Set(Wavefolder::kType, 1.0f);
  folder.Process();
  const float* out = folder.outputs[0];
  const float step = out[47] - out[46];
  EXPECT_GT(std::fabs(step), 1e-4f);
  for (int i = 2; i < 48; ++i) EXPECT_NEAR(out[i] - out[i - 1], step, 2e-6f);
  folder.effect.ResetState(false);
  folder.Process();
  EXPECT_NEAR(out[0], out[47], 1e-6f);
}

// In place it drives, folds and mixes one after another, else in one go.
TEST(Wavefolder, SoundsTheSameInPlaceAtEveryLengthAndSize) {
  Folder apart, inPlace;
  std::minstd_rand draw(5);
  std::uniform_real_distribution<float> position(0.0f, 1.0f);
  inPlace.outputs[0] = inPlace.inputs[0];
  for (Folder* folder : {&apart, &inPlace}) folder->effect.SetParam(Wavefolder::kAutoComp, 1.0f);
  for (uint32_t round = 0; round < 240; ++round) {
    const uint32_t count = round % 12 * 4 + 4;
    const float size = round % 5 == 4 ? 1e5f : 1.0f;  // beyond what the vector form folds, now and then
    const float drive = position(draw), wet = position(draw);
    const auto x = test::Noise(48, static_cast<uint32_t>(draw()), size);
    for (Folder* folder : {&apart, &inPlace}) {
      folder->effect.SetParam(Wavefolder::kType, round < 120 ? 0.0f : 1.0f);
      if (round % 3 == 0) folder->effect.SetParam(Wavefolder::kDrive, drive);
      if (round % 7 == 0) folder->effect.SetParam(Wavefolder::kWet, wet);
      std::copy(x.begin(), x.end(), folder->inputs[0]);
      folder->Process(count);
    }
    for (uint32_t i = 0; i < count; ++i)
      ASSERT_EQ(apart.outputs[0][i], inPlace.outputs[0][i]) << "round " << round << ", sample " << i;
    ASSERT_EQ(apart.effect.GetParam(Wavefolder::kOverload), inPlace.effect.GetParam(Wavefolder::kOverload));
  }
}

TEST(Wavefolder, DrivingAndFoldingInOneGoHasTheBitsOfItsSteps) {
  constexpr uint32_t kMost = 208;
  const auto sameBits = [](const float* a, const float* b, uint32_t count) {
    return std::memcmp(a, b, count * sizeof(float)) == 0;
  };
  std::minstd_rand draw(5);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  struct Rows {
    alignas(64) float dB[kMost], level[kMost], gain[kMost], root[kMost], wetGain[kMost], in[kMost],
        out[kMost], expected[kMost];
  };
  for (const auto target : {SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2, SimdTarget::Avx512}) {
    const DistortionKernelTable& kernels = DistortionKernelsFor(std::min(target, BestSimdTarget()));
    if (kernels.driveAndFold == nullptr) continue;  // a machine without vectors
    uint32_t blocks = 0, exact = 0, beyond = 0, odd = 0;
    for (const uint32_t count : {4u, 12u, 44u, 48u, 64u, 68u, 96u, 192u}) {
      for (uint32_t round = 0; round < 60; ++round) {
        const uint32_t blockCount = 1 + round % 7;
        std::vector<Rows> rows(blockCount);
        std::vector<DrivenFold> folds(blockCount);
        for (uint32_t b = 0; b < blockCount; ++b) {
          Rows& r = rows[b];
          // Now and then about a power of the root of 2, where a gain may be split into powers in two ways.
          const bool isOdd = round % 5 == 4;
          const float any = 102.0f * unit(draw) - 51.0f, size = b == 3 ? 8.0f : 2.0f;
          const float first = isOdd ? std::round(any / 3.0102999f) * 3.0102999f : any;
          const float step = (isOdd ? 1e-5f : 1.0f) * (unit(draw) - 0.5f);
          odd += isOdd;
          for (uint32_t i = 0; i < kMost; ++i) {
            r.dB[i] = std::clamp(first + step * static_cast<float>(i), -51.0f, 51.0f);
            r.level[i] = 1.0f;
            r.in[i] = i < count ? size * (unit(draw) - 0.5f) : 1e9f;  // behind the end nobody reads
            r.out[i] = r.expected[i] = 0.25f;                         // or writes
          }
          folds[b].in = r.in;
          folds[b].out = r.out;
          folds[b].dB = r.dB;
          folds[b].compensation = {unit(draw), 0.01f * unit(draw)};
        }
        kernels.driveAndFold(folds.data(), blockCount, count);
        for (uint32_t b = 0; b < blockCount; ++b) {
          Rows& r = rows[b];
          const FoldGainsRun gains = {r.dB,  r.level, r.gain, r.root, r.wetGain, folds[b].compensation,
                                      count, count};
          kernels.foldGains(&gains, 1);
          const float peak =
              kernels.foldThrough[0](r.in, {r.gain, r.root, r.level, r.wetGain}, r.expected, count);
          ++blocks;
          beyond += peak > 200.0f;
          if (!folds[b].isExact) continue;
          ++exact;
          EXPECT_EQ(folds[b].isOver, peak > 1.0f);
          EXPECT_EQ(folds[b].last, r.in[count - 1] * r.gain[count - 1] * r.root[count - 1]);
          ASSERT_TRUE(sameBits(r.out, r.expected, kMost)) << count << " samples, block " << b;
        }
      }
    }
    EXPECT_GT(exact, blocks - odd * 9 / 10 - beyond - 20);
    EXPECT_GT(beyond, 0u);
  }
}

// Where the mantissa of a gain is next to the root of 2 the two ways split it differently, and the faster one
// has to say so.
TEST(Wavefolder, GainsNextToOddPowersOfTheRootOfTwoAreNotDoneInOneGo) {
  const DistortionKernelTable& kernels = DistortionKernels();
  if (kernels.driveAndFold == nullptr) GTEST_SKIP() << "no vectors on this machine";
  alignas(64) float dB[16], in[16] = {1.0f}, out[16];
  for (const int power : {-5, -1, 1, 3, 7}) {
    for (const float off : {0.0f, 1e-3f}) {
      std::fill(std::begin(dB), std::end(dB), 3.0102999f * static_cast<float>(power) + off);
      DrivenFold fold{};
      fold.in = in;
      fold.out = out;
      fold.dB = dB;
      kernels.driveAndFold(&fold, 1, 16);
      EXPECT_EQ(fold.isExact, off > 0.0f) << power;
    }
  }
}

TEST(Wavefolder, IsRealTimeInEveryForm) {
  for (int form = 0; form < 8; ++form) {
    Folder folder;
    folder.Set(Wavefolder::kStereo, 1.0f);
    folder.Set(Wavefolder::kAutoComp, 1.0f);
    folder.Set(Wavefolder::kType, static_cast<float>(form & 1));
    folder.Set(Wavefolder::kUpsmp, static_cast<float>((form >> 1) & 1));
    folder.Set(Wavefolder::kAntiAl, static_cast<float>(form >> 2));
    folder.Process();
    folder.Set(Wavefolder::kDrive, 20.0f);
    EXPECT_REAL_TIME(folder.Process());
  }
}

}  // namespace
}  // namespace Vantora::dsp
