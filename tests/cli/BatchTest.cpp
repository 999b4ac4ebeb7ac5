// What a researcher's or an archivist's batch promises: repeatable variations, nothing done twice, a table
// in, a report out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kRandom = " -p FXType=harmonizer HarmonizerSpray=200 Prismelion=0.5 ";

float Peak(const Audio& audio) {
  float peak = 0.0f;
  for (const float x : audio.samples) peak = std::max(peak, std::abs(x));
  return peak;
}

TEST(Batch, ASeedIsAVariationThatComesBackAndZeroIsTheSoundWithoutOne) {
  const Workspace here;
  WriteAudio(here / "a.wav", MakeTone(2, 48000));
  std::filesystem::copy_file(here / "a.wav", here / "b.wav");
  std::filesystem::create_directory(here / "out");
  const auto render = [&](const std::string& options) {
    const Outcome run = here.Prismel("render -qy a.wav out.wav" + std::string(kRandom) + options);
    EXPECT_EQ(run.status, 0) << run.err;
    return ReadBytes(here / "out.wav");
  };
  const std::string plain = render("");
  EXPECT_EQ(render("--seed 0"), plain);
  const std::string one = render("--seed 1");
  EXPECT_NE(one, plain);
  EXPECT_EQ(render("--seed 1"), one);
  EXPECT_NE(render("--seed 2"), one);

  // The same recording under two names varies; a file alone sounds as in its batch.
  ASSERT_EQ(here.Prismel("render -q a.wav b.wav -o out --vary" + std::string(kRandom)).status, 0);
  EXPECT_NE(ReadBytes(here / "out" / "a.wav"), ReadBytes(here / "out" / "b.wav"));
  EXPECT_EQ(render("--vary"), ReadBytes(here / "out" / "a.wav"));
  EXPECT_NE(render("--vary --seed 5"), ReadBytes(here / "out" / "a.wav"));
  EXPECT_EQ(here.Prismel("render a.wav x.wav --seed -1").status, 2);
}

TEST(Batch, AFileSoundsTheSameAloneBesideItsLikeAndBesideOthers) {
  // Files of one form share a processor that is made ready once; files of several don't.
  const Workspace here;
  WriteAudio(here / "a.wav", MakeTone(2, 4800));
  WriteAudio(here / "b.wav", MakeTone(2, 9600));
  Audio other = MakeTone(1, 4410);
  other.rate = 44100;
  WriteAudio(here / "c.wav", other);
  for (const char* folder : {"two", "three"}) std::filesystem::create_directory(here / folder);
  for (const std::string preset :
       {"Glass Choir", "Broken Radio", "Octave Halo", "Shattered", "Smooth Wander"}) {
    const std::string options = " -qy -P '" + preset + "'";
    ASSERT_EQ(here.Prismel("render a.wav b.wav -o two" + options).status, 0);
    ASSERT_EQ(here.Prismel("render a.wav b.wav c.wav -o three" + options).status, 0);
    for (const std::string name : {"a.wav", "b.wav", "c.wav"}) {
      ASSERT_EQ(here.Prismel("render " + name + " alone.wav" + options).status, 0);
      const std::string alone = ReadBytes(here / "alone.wav");
      EXPECT_EQ(ReadBytes(here / "three" / name), alone) << preset << ' ' << name;
      if (name == "c.wav") continue;
      EXPECT_EQ(ReadBytes(here / "two" / name), alone) << preset << " " << name;
    }
  }
}

TEST(Batch, WhatIsThereIsLeftAloneAndARunThatBrokeOffGoesOn) {
  const Workspace here;
  for (const char* name : {"a.wav", "b.wav", "c.wav"}) WriteAudio(here / name, MakeTone(1, 4800));
  std::filesystem::create_directory(here / "out");
  WriteBytes(here / "out" / "b.wav", "done before");
  const Outcome run = here.Prismel("render a.wav b.wav c.wav -o out --skip-existing");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("1 of 3 outputs were there already"));
  EXPECT_EQ(ReadBytes(here / "out" / "b.wav"), "done before");
  EXPECT_GT(ReadAudio(here / "out" / "c.wav").Frames(), 0u);
  EXPECT_EQ(here.Prismel("render a.wav out.wav --skip-existing -y").status, 2);
}

TEST(Batch, ATableSaysForEachRenderWhatItTakesAndHowItSounds) {
  const Workspace here;
  WriteAudio(here / "a.wav", MakeTone(2, 9600));
  WriteBytes(here / "table.csv",
             "input,output,preset,seed,Prismelion,CombCutoff\n"
             "a.wav,one.wav,Glass Choir,1,0.3,\n"
             "a.wav,two.wav,,,,440 Hz\n");
  ASSERT_EQ(here.Prismel("render -q --table table.csv -p FXType=comb").status, 0);
  ASSERT_EQ(
      here.Prismel("render -q a.wav 1.wav -P 'Glass Choir' -p FXType=comb Prismelion=0.3 --seed 1").status,
      0);
  ASSERT_EQ(here.Prismel("render -q a.wav 2.wav -p FXType=comb CombCutoff=440Hz").status, 0);
  EXPECT_EQ(ReadBytes(here / "one.wav"), ReadBytes(here / "1.wav"));
  EXPECT_EQ(ReadBytes(here / "two.wav"), ReadBytes(here / "2.wav"));

  for (const auto& [text, reason] :
       {std::pair{"file,Wet\na.wav,1\n", "\"input\""}, std::pair{"input,Wett\na.wav,1\n", "line 2: "},
        std::pair{"input,Wet\na.wav,7\n", "line 2: "},
        std::pair{"input,output\na.wav,x.wav\na.wav,x.wav\n", "another"},
        std::pair{"input,seed\na.wav,-3\n", "line 2: seed"}, std::pair{"input\n", "no rows"}}) {
    WriteBytes(here / "bad.csv", text);
    const Outcome refused = here.Prismel("render --table bad.csv");
    EXPECT_EQ(refused.status, 2) << text;
    EXPECT_THAT(refused.err, HasSubstr(reason)) << text;
  }
}

TEST(Batch, AReportHoldsFiguresDigestsAndVersions) {
  const Workspace here;
  WriteAudio(here / "a.wav", MakeTone(2, 48000));
  WriteBytes(here / "bad.wav", "no audio");
  std::filesystem::create_directory(here / "out");
  EXPECT_EQ(here.Prismel("render -q a.wav bad.wav -o out --report report.json --seed 7").status, 1);
  const auto report = nlohmann::json::parse(ReadBytes(here / "report.json"));
  EXPECT_THAT(report["program"].get<std::string>(), HasSubstr("prismel "));
  EXPECT_THAT(report["command"].get<std::string>(), HasSubstr("render -q a.wav bad.wav -o out"));
  const auto& file = report["files"][0];
  EXPECT_EQ(file["seed"], 7);
  EXPECT_EQ(file["inputSeconds"], 1.0);
  EXPECT_LT(file["outputLufs"], 0.0);
  EXPECT_EQ(file["outputSha256"].get<std::string>() + "\n",
            here.Shell("sha256sum out/a.wav | cut -d' ' -f1").out);
  EXPECT_EQ(report["files"][1]["done"], false);
  EXPECT_THAT(report["files"][1]["failure"].get<std::string>(), HasSubstr("not an audio file"));
}

TEST(Batch, AMonoInputComesOutWideWhereTheSoundIsAndSaysSo) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 9600));
  const auto channels = [&](const std::string& options) {
    const Outcome run = here.Prismel("render -y in.wav out.wav " + options);
    EXPECT_EQ(run.status, 0) << run.err;
    const int count = ReadAudio(here / "out.wav").channels;
    EXPECT_EQ(run.err.find("stereo from mono") != std::string::npos, count == 2) << run.err;
    return count;
  };
  EXPECT_EQ(channels("-p Prismelion=0.5"), 2);
  EXPECT_EQ(channels("-P 'Soft Doubler'"), 2);
  EXPECT_EQ(channels("-p Prismelion=0.5 --mono"), 1);
  EXPECT_EQ(channels("-p Prismelion=0.5 Voices=1"), 1);
  EXPECT_EQ(channels("-p Prismelion=0.5 Bypass=on"), 1);
  EXPECT_EQ(channels("-p Voices=1 --stereo"), 2);
}

TEST(Batch, FilesOfManyChannelsGoByPairs) {
  const Workspace here;
  WriteAudio(here / "five.wav", MakeTone(5, 4800));
  ASSERT_EQ(here.Prismel("render -q five.wav out.wav --split pairs -p Bypass=on --tail 0").status, 0);
  EXPECT_THAT(here.Files(), ElementsAre("five.wav", "out-1-2.wav", "out-3-4.wav", "out-5.wav"));
  const Audio in = ReadAudio(here / "five.wav"), last = ReadAudio(here / "out-5.wav");
  ASSERT_EQ(last.Frames(), in.Frames());
  for (size_t i = 0; i < last.Frames(); ++i) ASSERT_EQ(last.samples[i], in.samples[5 * i + 4]);
}

TEST(Batch, ALimiterHoldsPeaksAndTouchesNothingBelow) {
  const Workspace here;
  Audio tone = MakeTone(2, 48000);
  for (size_t i = 40000; i < 40200; ++i) tone.samples[i] *= 40.0f;
  WriteAudio(here / "in.wav", tone);
  const std::string dry = "render -qy in.wav out.wav -p Bypass=on --tail 0 ";
  ASSERT_EQ(here.Prismel(dry + "--limit -1dB").status, 0);
  const Audio held = ReadAudio(here / "out.wav");
  ASSERT_EQ(held.Frames(), tone.Frames());
  EXPECT_LE(Peak(held), 0.89126f);
  EXPECT_TRUE(std::equal(held.samples.begin(), held.samples.begin() + 30000, tone.samples.begin()));
  ASSERT_EQ(here.Prismel(dry + "--limit 0dB -p OutputGain=0dB --start 0.8s").status, 0);
  // Louder than full scale would allow, by the limiter's help.
  const Outcome loud = here.Prismel("render -y in.wav out.wav -p Bypass=on --tail 0 --limit -1dB -n -3LUFS");
  EXPECT_THAT(loud.err, HasSubstr("-> -1.0 dBFS"));
  EXPECT_THAT(here.Prismel(dry + "-n -1dBTP").status, 0);
  EXPECT_LT(Peak(ReadAudio(here / "out.wav")), 0.8913f);
  EXPECT_EQ(here.Prismel(dry + "--limit -14LUFS").status, 2);
}

TEST(Batch, ManyClippedFilesAreOneLine) {
  const Workspace here;
  for (int i = 0; i < 12; ++i)
    WriteAudio(here / ("in" + std::to_string(i) + ".wav"), [] {
      Audio loud = MakeTone(1, 4800);
      loud.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
      return loud;
    }());
  std::filesystem::create_directory(here / "out");
  const Outcome run = here.Prismel("render -q in*.wav -o out -p InputGain=24dB -p Wet=1");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_THAT(run.err, HasSubstr("12 of 12 files were clipped"));
}

}  // namespace
}  // namespace Vantora::cli::tests
