// What the command makes the effect do: settings, presets, time and tails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::HasSubstr;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

TEST(Sound, WithoutSettingsTheEffectIsStillAndTheWetSignalIsInPlace) {
  const Workspace here;
  Audio in = MakeTone(1, 9600);
  WriteAudio(here / "in.wav", in);
  // One voice, no spread, wet only: the shortest tap, one sample late, through the open voice input.
  ASSERT_EQ(here.Prismel("render in.wav out.wav --tail 0 -p Voices=1 -p Wet=1 -p HPFCutoff=20Hz -q").status,
            0);
  const Audio out = ReadAudio(here / "out.wav");
  ASSERT_EQ(out.Frames(), in.Frames());
  for (size_t i = 1; i < in.Frames(); ++i) ASSERT_NEAR(out.samples[i], in.samples[i - 1], 1e-6f) << i;
}

TEST(Sound, AnAutomatedStepIsHeardFromTheBlockThatHoldsItsTime) {
  const Workspace here;
  Audio in = MakeTone(1, 48000);
  WriteAudio(here / "in.wav", in);
  WriteBytes(here / "moves.csv", "seconds,parameter,value\n0.5,Wet,1\n");
  const std::string sound = "-q --tail 0 -p Voices=1 -p Wet=0 -p HPFCutoff=20Hz ";
  ASSERT_EQ(here.Prismel("render in.wav out.wav " + sound + "--automation moves.csv").status, 0);
  const Audio out = ReadAudio(here / "out.wav");
  size_t first = 0;
  while (first < out.Frames() && out.samples[first] == in.samples[first]) ++first;
  EXPECT_GE(first, 24000u);
  EXPECT_LE(first, 24000u + 48u);
  for (size_t i = 30000; i < out.Frames(); ++i) ASSERT_NEAR(out.samples[i], in.samples[i - 1], 1e-4f);

  // The grid is the processor's own, counted from the output's first sample: 48 at 48 kHz.
  for (const size_t at : {24001u, 24041u, 24047u, 24048u}) {
    WriteBytes(here / "on.csv", "frames,parameter,value\n" + std::to_string(at) + ",Wet,1\n");
    ASSERT_EQ(here.Prismel("render -y in.wav on.wav " + sound + "--automation on.csv").status, 0);
    const Audio on = ReadAudio(here / "on.wav");
    size_t heard = 0;
    while (heard < on.Frames() && on.samples[heard] == in.samples[heard]) ++heard;
    EXPECT_GE(heard, at - at % 48) << at;
    EXPECT_LE(heard, at - at % 48 + 2) << at;
  }

  WriteBytes(here / "bad.csv", "seconds,parameter,value\n0.5,Wet,wet\n");
  const Outcome bad = here.Prismel("render in.wav x.wav --automation bad.csv");
  EXPECT_EQ(bad.status, 1);
  EXPECT_THAT(bad.err, HasSubstr("bad.csv"));
}

TEST(Sound, TheTempoReachesASyncedLfoAsANumberOrAsAMap) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 48000));
  const std::string sound =
      "-q -p FXType=band-pass -p BandpassCutoff=800Hz -p LFORateType='synced straight' -p LFO_RateSynced=1/4 "
      "-p LFOPrimaryAmount=0.8 ";
  WriteBytes(here / "map.csv", "seconds,bpm\n0,90\n");
  for (const char* run : {"a.wav", "b.wav --bpm 120", "c.wav --bpm 90", "d.wav --tempo-map map.csv"}) {
    ASSERT_EQ(here.Prismel("render in.wav " + std::string(run) + " " + sound).status, 0) << run;
  }
  EXPECT_EQ(ReadBytes(here / "a.wav"), ReadBytes(here / "b.wav"));
  EXPECT_NE(ReadBytes(here / "b.wav"), ReadBytes(here / "c.wav"));
  EXPECT_EQ(ReadBytes(here / "c.wav"), ReadBytes(here / "d.wav"));
}

TEST(Sound, AnAutomaticTailRingsUntilItIsQuietAndNoLonger) {
  const Workspace here;
  Audio in;
  in.samples.assign(4800, 0.0f);
  in.samples[4000] = 0.5f;
  WriteAudio(here / "in.wav", in);
  const std::string sound = "-q -p FXType=comb -p CombCutoff=200Hz -p CombResonance=25 -p Wet=1 -p Voices=3 ";
  ASSERT_EQ(here.Prismel("render in.wav auto.wav " + sound).status, 0);
  ASSERT_EQ(here.Prismel("render in.wav long.wav --tail 20 " + sound).status, 0);
  const Audio automatic = ReadAudio(here / "auto.wav");
  const Audio full = ReadAudio(here / "long.wav");
  EXPECT_EQ(full.Frames(), 4800u + 20u * 48000u);
  EXPECT_GT(automatic.Frames(), 4800u + 4800u);
  ASSERT_LT(automatic.Frames(), full.Frames());
  EXPECT_TRUE(std::equal(automatic.samples.begin(), automatic.samples.end(), full.samples.begin()));
  const float kQuiet = 3.1623e-5f;
  EXPECT_GT(std::abs(automatic.samples.back()), 0.9f * kQuiet);
  for (size_t i = automatic.Frames(); i < full.Frames(); ++i) ASSERT_LE(std::abs(full.samples[i]), kQuiet);
}

TEST(Presets, SavedSoundsLoadAgainAndDifferWhereTheyDiffer) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 24000));
  ASSERT_EQ(
      here.Prismel("preset save mine.json -p FXType=comb -p CombCutoff=330Hz -p Prismelion=0.3 --name Mine "
                   "--description 'A test.'")
          .status,
      0);
  const Outcome again = here.Prismel("preset save mine.json -p FXType=comb");
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.err, HasSubstr("-y"));
  ASSERT_EQ(here.Prismel("render -q in.wav a.wav -P mine.json").status, 0);
  ASSERT_EQ(
      here.Prismel("render -q in.wav b.wav -p FXType=comb -p CombCutoff=330Hz -p Prismelion=0.3").status, 0);
  EXPECT_EQ(ReadBytes(here / "a.wav"), ReadBytes(here / "b.wav"));

  ASSERT_EQ(here.Prismel("preset save other.json -P mine.json -p Wet=0.9").status, 0);
  const Outcome diff = here.Prismel("preset diff mine.json other.json");
  ASSERT_EQ(Lines(diff.out).size(), 1u) << diff.out;
  EXPECT_THAT(diff.out, HasSubstr("Prismel_Wet"));
  EXPECT_EQ(here.Prismel("preset diff mine.json mine.json").out, "");
  const Outcome show = here.Prismel("preset show mine.json");
  EXPECT_THAT(show.out, HasSubstr("330 Hz"));
  EXPECT_EQ(here.Prismel("preset show mine.json --json").out, ReadBytes(here / "mine.json"));
  const Outcome list = here.Prismel("preset list .");
  EXPECT_EQ(Lines(list.out).size(), 2u);
  EXPECT_THAT(list.out, HasSubstr("Mine   A test.\nother  A test.\n"));

  WriteBytes(here / "wrong.json", R"({"schema": 1, "parameters": {"Prismel_Wet": 7}})");
  const Outcome wrong = here.Prismel("render in.wav x.wav -P wrong.json");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.err, HasSubstr("Wet"));
  WriteBytes(here / "newer.json", R"({"schema": 1, "parameters": {"Prismel_Wetness": 1}})");
  const Outcome unknown = here.Prismel("render -q in.wav x.wav -P newer.json");
  EXPECT_EQ(unknown.status, 0);
  EXPECT_THAT(unknown.err, HasSubstr("Wetness"));
  EXPECT_EQ(here.Prismel("render in.wav y.wav -P 'No Such Preset'").status, 1);
}

}  // namespace
}  // namespace Vantora::cli::tests
