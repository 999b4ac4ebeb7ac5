// The voice engine by itself: how its voices fan out, come in and are filtered.
#include "dsp/stage/Prismel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>
#include <set>
#include <string>

#include "tests/support/ModuleRig.h"

namespace Vantora::dsp {
namespace {

using namespace test;

constexpr float kRate = 48000.0f;
constexpr uint32_t kBlock = 48;

/// The engine at 48 kHz with plain copies, nothing but the wet signal and no high-pass.
class PrismelTest : public testing::Test {
 protected:
  PrismelTest() : rig(prismel, 4, 2, kRate, kBlock) {
    Put(Prismel::kVoices, 1.0f);
    Put(Prismel::kWet, 1.0f);
    Turn(Prismel::kHpfCutoff, 0.0f);
    prismel.ResetState(true);
  }
  void Turn(Prismel::OwnParam knob, float position) { prismel.SetParam(Prismel::kOwnBase + knob, position); }
  void Put(Prismel::OwnParam knob, float value) { prismel.SetParamInternal(Prismel::kOwnBase + knob, value); }
  /// The last sample of `seconds` of a constant 1 on both sides.
  double Level(double seconds) {
    return double{rig.Run(Samples(static_cast<size_t>(seconds * double{kRate}), 1.0f)).back()};
  }

  Prismel prismel{"Prismel", 1};
  ModuleRig rig;
};

TEST(StageSpread, FansOutByTheLawsOfRatioAndRoot) {
  const StageSpread left(kLeftRatios, 1.0f), right(kRightRatios, kRightSide);
  for (uint32_t v = 0; v < kVoiceCount; ++v) {
    for (const double amount : {0.0, 0.3, 1.0}) {
      const auto r = static_cast<float>(amount);
      const double t = double{kRightRatios[v]} * double{kRightSide};
      EXPECT_NEAR(double{right.Ratio(v, 440.0f, r)} / (440.0 * std::pow(t, 5.0 * amount * amount)), 1.0,
                  1e-3);
      EXPECT_NEAR(double{left.Ratio(v, 440.0f, r)} /
                      (440.0 * std::pow(double{kLeftRatios[v]}, 5.0 * amount * amount)),
                  1.0, 1e-3);
      EXPECT_NEAR(double{right.Root(v, 12.0f, r, kDriveSpan)}, 12.0 - (std::sqrt(t) - 1.0) * amount * 25.0,
                  1e-4);
    }
    EXPECT_EQ(left.Root(v, 12.0f, 0.0f, kDriveSpan), 12.0f);
  }
}

TEST(StageSpread, ChordsHoldTheNotesOfTheirNamesAndNoOthers) {
  const std::map<std::string, std::set<int>> notes = {{"octaves", {0}},
                                                      {"fifths", {0, 7}},
                                                      {"minor", {0, 3, 7}},
                                                      {"minor 7th", {0, 3, 7, 10}},
                                                      {"minor add9", {0, 2, 3, 7}},
                                                      {"major", {0, 4, 7}},
                                                      {"dominant 7th", {0, 4, 7, 10}},
                                                      {"major 7th", {0, 4, 7, 11}},
                                                      {"major add9", {0, 2, 4, 7}},
                                                      {"major 6/9", {0, 2, 4, 9}},
                                                      {"sus2", {0, 2, 7}},
                                                      {"sus4", {0, 5, 7}}};
  for (std::size_t chord = 0; chord < kChords.size(); ++chord) {
    std::set<int> heard;
    for (const int semitones : kChords[chord]) heard.insert((semitones + 24) % 12);
    EXPECT_EQ(heard, notes.at(PrismelKnobs::kChordNames[chord])) << PrismelKnobs::kChordNames[chord];
  }
}

TEST_F(PrismelTest, TheFirstVoiceSpreadsOnTheRightOnly) {
  // Ratio 1 on the left and 1.0404 on the right: at full spread its band lies 1.0404^5 = 1.219 times as high.
  Put(Prismel::kFxType, 1.0f);
  Put(Prismel::kBandpassCutoff, 1000.0f);
  Put(Prismel::kBandpassResonance, 15.0f);
  Put(Prismel::kPrismelion, 1.0f);
  prismel.ResetState(true);
  rig.Run(Samples(48000));  // gains and tunings have landed
  const auto peak = [&](uint32_t side) {
    const Samples response = rig.Run(Impulse(9600), side);
    double best = 0.0, bestHz = 0.0;
    for (double hz = 800.0; hz < 1500.0; hz += 4.0) {
      const double gain = std::abs(ResponseAt(response, hz, double{kRate}));
      if (gain > best) best = gain, bestHz = hz;
    }
    return bestHz;
  };
  EXPECT_NEAR(peak(0), 1000.0, 12.0);
  EXPECT_NEAR(peak(1), 1219.0, 15.0);
}

TEST_F(PrismelTest, VoicesComeInOnALineOfAFifthOfASecondAndShareTheLevel) {
  EXPECT_NEAR(Level(0.1), 1.0, 1e-3);
  Put(Prismel::kVoices, 4.0f);
  const double shared = std::pow(4.0, -0.375);  // reached within the first tenth
  EXPECT_NEAR(Level(0.1), (1.0 + 3 * 0.5) * shared, 0.01);
  EXPECT_EQ(prismel.GetActiveVoices(), 4u);
  EXPECT_NEAR(Level(0.2), 4.0 * shared, 1e-3);
  Put(Prismel::kVoices, 2.0f);
  Level(0.1);
  EXPECT_EQ(prismel.GetActiveVoices(), 4u) << "the leaving ones still sound";
  EXPECT_NEAR(Level(0.15), 2.0 * std::pow(2.0, -0.375), 1e-3);
  EXPECT_EQ(prismel.GetActiveVoices(), 2u);
}

TEST_F(PrismelTest, AfterAResetAllVoicesStandAtOnce) {
  Put(Prismel::kVoices, 8.0f);
  prismel.ResetState(true);
  EXPECT_NEAR(Level(0.05), 8.0 * std::pow(8.0, -0.375), 1e-3);
  EXPECT_EQ(prismel.GetActiveVoices(), 8u);
}

TEST_F(PrismelTest, CutoffsThatMeetHoldTheHighPassWhereItWas) {
  // 1 kHz between a high-pass and a low-pass at 4 kHz: 24 dB below, unless the high-pass still stands at 250
  // Hz.
  const auto levelAt = [&](float lowPassPosition) {
    Put(Prismel::kHpfCutoff, 250.0f);
    Turn(Prismel::kLpfCutoff, 1.0f);
    prismel.ResetState(true);
    Level(0.02);
    Put(Prismel::kHpfCutoff, 4000.0f);
    Turn(Prismel::kLpfCutoff, lowPassPosition);
    prismel.ResetState(true);
    const Samples out = rig.Run(Sine(9600, 1000.0, double{kRate}));
    return Decibels(Rms(out, 4800) * std::numbers::sqrt2);
  };
  Put(Prismel::kHpfCutoff, 4000.0f);
  const float same = prismel.GetParam(Prismel::kOwnBase + Prismel::kHpfCutoff);
  EXPECT_NEAR(levelAt(same), 0.0, 0.5);
  EXPECT_NEAR(levelAt(std::nextafter(same, 0.0f) - 1e-5f), -24.0, 1.0);
}

TEST_F(PrismelTest, WetAndDryShareAtEqualPower) {
  for (const float wet : {0.0f, 0.25f, 0.5f, 1.0f}) {
    Put(Prismel::kWet, wet);
    prismel.ResetState(true);
    const double angle = double{wet} * std::numbers::pi / 2.0;
    EXPECT_NEAR(Level(0.05), std::sin(angle) + std::cos(angle), 1e-3)
        << wet;  // the same constant on both ways
  }
}

}  // namespace
}  // namespace Vantora::dsp
