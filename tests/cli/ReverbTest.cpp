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
  for (const auto& [impulse, reason] :
       {std::pair{"three.wav", "has 3 channels; an impulse has one, two or, for true stereo, four"},
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

TEST(Reverb, FourChannelsAreTrueStereo) {
  const Workspace here;
  for (const int rate : {48000, 96000}) {
    // Left to left, left to right, right to left, right to right.
    Audio impulse;
    impulse.rate = rate;
    impulse.channels = 4;
    impulse.samples.resize(4 * 400);
    impulse.samples[4 * 0 + 0] = 0.5f;
    impulse.samples[4 * 100 + 1] = 0.25f;
    impulse.samples[4 * 200 + 2] = 0.125f;
    impulse.samples[4 * 300 + 3] = 0.75f;
    WriteAudio(here / "four.wav", impulse);
    Audio in;
    in.rate = rate;
    in.channels = 2;
    in.samples.resize(2 * 9000);
    in.samples[2 * 1000] = 1.0f;
    in.samples[2 * 5000 + 1] = 1.0f;
    WriteAudio(here / "in.wav", in);
    const Outcome run = here.Prismel("reverb -y -p Wet=1 -i four.wav in.wav out.wav");
    ASSERT_EQ(run.status, 0) << run.err;
    const Audio out = ReadAudio(here / "out.wav");
    // At 96 kHz the wet signal is made at half the rate, and a click is spread: most lies near its place.
    const float near = rate == 48000 ? 1e-5f : 0.05f;
    const auto sum = [&out](size_t frame, size_t side) {
      float all = 0.0f;
      for (size_t i = frame - 60; i < frame + 60; ++i) all += out.samples[2 * i + side];
      return all;
    };
    EXPECT_NEAR(sum(1000, 0), 0.5f, near) << rate;
    EXPECT_NEAR(sum(1100, 1), 0.25f, near) << rate;
    EXPECT_NEAR(sum(5200, 0), 0.125f, near) << rate;
    EXPECT_NEAR(sum(5300, 1), 0.75f, near) << rate;
    EXPECT_NEAR(sum(1000, 1), 0.0f, near) << rate;
    EXPECT_NEAR(sum(5300, 0), 0.0f, near) << rate;
    // The dry signal is there once.
    ASSERT_EQ(here.Prismel("reverb -y -p Wet=0 -i four.wav --tail 0 in.wav dry.wav").status, 0);
    EXPECT_EQ(ReadAudio(here / "dry.wav").samples, in.samples) << rate;
  }
}

TEST(Reverb, AnAutomationMovesWhatGlidesAndNothingElse) {
  const Workspace here;
  const Audio in = MakeTone(2, 48000);
  WriteAudio(here / "in.wav", in);
  WriteAudio(here / "impulse.wav", Echoes({{0, 0.5f}, {100, 0.25f}}, 2));
  WriteBytes(here / "moves.csv", "beats,parameter,value\n0,Wet,0\n1,Wet,1\n");
  ASSERT_EQ(here.Prismel("reverb -i impulse.wav in.wav out.wav --automation moves.csv --bpm 120").status, 0);
  const Audio out = ReadAudio(here / "out.wav");
  const size_t half = 2 * 24000;
  for (size_t i = 0; i < half - 200; ++i) ASSERT_EQ(out.samples[i], in.samples[i]) << i;
  size_t changed = 0;
  for (size_t i = half + 2 * 4800; i < in.samples.size(); ++i) {
    const float wet = 0.5f * in.samples[i] + 0.25f * in.samples[i - 200];
    changed += std::abs(out.samples[i] - wet) < 1e-3f ? 1 : 0;
  }
  EXPECT_EQ(changed, in.samples.size() - half - 2 * 4800);
  WriteBytes(here / "bad.csv", "0,Stretch,2\n");
  const Outcome bad = here.Prismel("reverb -i impulse.wav in.wav x.wav --automation bad.csv");
  EXPECT_EQ(bad.status, 1);
  EXPECT_THAT(bad.err, HasSubstr("Stretch can't be automated"));
}

}  // namespace
}  // namespace Vantora::cli::tests
