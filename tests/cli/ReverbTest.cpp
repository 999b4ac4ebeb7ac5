#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::HasSubstr;

// An impulse of single echoes: (frame, gain).
Audio Echoes(std::initializer_list<std::pair<size_t, float>> echoes, int channels = 1, int rate = 48000) {
  Audio impulse;
  impulse.rate = rate;
  impulse.channels = channels;
  for (const auto& [frame, gain] : echoes) {
    impulse.samples.resize(std::max(impulse.samples.size(), (frame + 1) * static_cast<size_t>(channels)));
    for (int c = 0; c < channels; ++c)
      impulse.samples[frame * static_cast<size_t>(channels) + static_cast<size_t>(c)] = gain;
  }
  return impulse;
}

TEST(Reverb, AddsTheEchoesOfTheImpulseAndRingsOutToItsEnd) {
  const Workspace here;
  const Audio in = MakeTone(2, 20011);
  WriteAudio(here / "in.wav", in);
  // A long silence before the last echo must not end the tail.
  WriteAudio(here / "impulse.wav", Echoes({{0, 0.5f}, {100, 0.25f}, {150'000, 0.125f}}, 2));
  const Outcome run = here.Prismel("reverb -p Wet=1 -i impulse.wav in.wav out.wav");
  ASSERT_EQ(run.status, 0) << run.err;
  const Audio out = ReadAudio(here / "out.wav");
  // Up to the last frame of the last echo that is above -90 dB.
  ASSERT_GT(out.Frames(), 150'000u + 19'000u);
  ASSERT_LE(out.Frames(), 150'000u + 20'011u);
  for (size_t i = 0; i < out.samples.size(); ++i) {
    const auto at = [&](size_t frames) {
      return i >= 2 * frames && i - 2 * frames < in.samples.size() ? in.samples[i - 2 * frames] : 0.0f;
    };
    ASSERT_NEAR(out.samples[i], 0.5f * at(0) + 0.25f * at(100) + 0.125f * at(150'000), 3e-6f) << i;
  }
}

TEST(Reverb, TakesEveryKnobByNameInItsUnit) {
  const Workspace here;
  WriteAudio(here / "in.wav", Echoes({{0, 1.0f}, {4000, 1.0f}}));
  WriteAudio(here / "impulse.wav", Echoes({{0, 1.0f}}));
  const Outcome run = here.Prismel(
      "reverb -p wet=1 -p IRGain=-20 -p PreDelayMs=20 -p Decay=0.5 -p Stretch=1 -p LengthFactor=1 "
      "-p EngineCrossfadeDuration=0.1 -p ImpulseUpdateBehaviour=1 -p ImpulseUpdatePollingTime=100 "
      "-p ImpulseFadeBehaviour=1 -i impulse.wav in.wav out.wav");
  ASSERT_EQ(run.status, 0) << run.err;
  const Audio out = ReadAudio(here / "out.wav");
  ASSERT_GT(out.Frames(), 960u);
  EXPECT_NEAR(out.samples[0], 0.0f, 1e-6f);
  EXPECT_NEAR(out.samples[960], 0.1f, 1e-4f);
}

TEST(Reverb, TheResultIsTheSameForAnyBlockAndAlmostAlwaysInRealTime) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 30'001));
  WriteAudio(here / "impulse.wav", MakeTone(2, 9000, 44100));
  ASSERT_EQ(here.Prismel("reverb --tail 0 --stereo -i impulse.wav in.wav a.wav").status, 0);
  ASSERT_EQ(here.Prismel("reverb --tail 0 --stereo --block 77 -i impulse.wav in.wav b.wav").status, 0);
  EXPECT_EQ(ReadBytes(here / "a.wav"), ReadBytes(here / "b.wav"));
  const Outcome run = here.Prismel("reverb --tail 0 --stereo --realtime -i impulse.wav in.wav c.wav");
  ASSERT_EQ(run.status, 0) << run.err;
  if (run.err.find("didn't keep up") != std::string::npos) GTEST_SKIP() << "the machine is busy: " << run.err;
  const Audio offline = ReadAudio(here / "a.wav"), live = ReadAudio(here / "c.wav");
  ASSERT_EQ(live.samples.size(), offline.samples.size());
  for (size_t i = 0; i < live.samples.size(); ++i)
    ASSERT_NEAR(live.samples[i], offline.samples[i], 1e-5f) << i;
}

TEST(Reverb, WetAndDryMeetAtEveryRate) {
  const Workspace here;
  WriteAudio(here / "impulse.wav", Echoes({{0, 1.0f}}));
  for (const int rate : {44100, 88200, 96000, 176400, 192000, 384000}) {
    Audio click = MakeTone(1, static_cast<size_t>(rate) / 5, rate);
    std::fill(click.samples.begin(), click.samples.end(), 0.0f);
    click.samples[1000] = 1.0f;
    WriteAudio(here / "in.wav", click);
    for (const char* wet : {"0", "0.5", "1"}) {
      const Outcome run = here.Prismel("reverb -qy in.wav out.wav -i impulse.wav -p Wet=" + std::string(wet));
      ASSERT_EQ(run.status, 0) << run.err;
      const Audio out = ReadAudio(here / "out.wav");
      const auto highest = std::max_element(out.samples.begin(), out.samples.end());
      EXPECT_NEAR(static_cast<double>(highest - out.samples.begin()), 1000.0, 1.0)
          << rate << " Hz, wet " << wet;
      if (wet == std::string("0")) {
        EXPECT_NEAR(*highest, 1.0f, 1e-6f);
      }
    }
  }
}

TEST(Reverb, BringsAnImpulseToUnitEnergyAndListsItsKnobs) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 4800));
  WriteAudio(here / "loud.wav", Echoes({{0, 10.0f}}));
  WriteAudio(here / "unit.wav", Echoes({{0, 1.0f}}));
  ASSERT_EQ(here.Prismel("reverb -q in.wav a.wav -i loud.wav --normalize-impulse -p Wet=1").status, 0);
  ASSERT_EQ(here.Prismel("reverb -q in.wav b.wav -i unit.wav -p Wet=100% IRGain=0dB").status, 0);
  const Audio a = ReadAudio(here / "a.wav"), b = ReadAudio(here / "b.wav");
  ASSERT_EQ(a.Frames(), b.Frames());
  for (size_t i = 0; i < a.Frames(); ++i) ASSERT_NEAR(a.samples[i], b.samples[i], 1e-5f);
  EXPECT_THAT(here.Prismel("reverb --params").out, HasSubstr("0.5"));
  EXPECT_THAT(here.Prismel("plate --params").out, HasSubstr("20 kHz"));
}

TEST(Reverb, SaysWhichImpulseItCannotUseAndWhy) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 1000));
  WriteAudio(here / "three.wav", Echoes({{9, 1.0f}}, 3));
  WriteAudio(here / "nan.wav", Echoes({{5, std::numeric_limits<float>::quiet_NaN()}}));
  WriteBytes(here / "text.wav", "nothing to hear");
  ASSERT_EQ(here.Shell("mkdir folder && ln -s gone.wav link.wav").status, 0);
  for (const auto& [impulse, reason] : {std::pair{"three.wav", "has 3 channels"},
                                        {"nan.wav", "not finite"},
                                        {"text.wav", "text.wav: "},
                                        {"folder", "is a directory"},
                                        {"link.wav", "No such file"},
                                        {"none.wav", "No such file"}}) {
    const Outcome run = here.Prismel(std::string("reverb in.wav out.wav -i ") + impulse);
    EXPECT_EQ(run.status, 1) << impulse;
    EXPECT_THAT(run.err, HasSubstr(std::string(impulse) + ": "));
    EXPECT_THAT(run.err, HasSubstr(reason));
  }
  const Outcome unknown = here.Prismel("reverb in.wav out.wav -i three.wav -p Size=3");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("There is no parameter \"Size\"; the nearest is "));
  EXPECT_EQ(here.Prismel("reverb in.wav out.wav -i three.wav -p Wet=1.5").status, 2);
}

}  // namespace
}  // namespace Vantora::cli::tests
