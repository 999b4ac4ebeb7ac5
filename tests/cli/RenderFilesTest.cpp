// Files in, files out: what a render promises about formats,
// lengths, bytes and places, whatever the effect does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// "Bypass" hands the input through untouched, and the fade of its switching rests when a render begins.
constexpr const char* kDry = "-p Bypass=on ";

TEST(RenderFiles, BypassedFloatFilesComeBackBitForBitAtEveryRateWidthAndLength) {
  for (const int rate : {8000, 44100, 48000, 192000, 384000}) {
    for (const int channels : {1, 2}) {
      for (const size_t frames : {size_t{1}, size_t{47}, size_t{48}, size_t{4097}, size_t{20011}}) {
        SCOPED_TRACE(testing::Message()
                     << rate << " Hz, " << channels << " channels, " << frames << " frames");
        const Workspace here;
        const Audio in = MakeTone(channels, frames, rate);
        WriteAudio(here / "in.wav", in);
        const Outcome run = here.Prismel(std::string("render ") + kDry + "in.wav out.wav");
        ASSERT_EQ(run.status, 0) << run.err;
        const Audio out = ReadAudio(here / "out.wav");
        EXPECT_EQ(out.rate, rate);
        EXPECT_EQ(out.channels, channels);
        EXPECT_EQ(out.samples, in.samples);
        EXPECT_THAT(here.Files(), ElementsAre("in.wav", "out.wav"));
      }
    }
  }
}

TEST(RenderFiles, IntegerSamplesComeBackExactlyWithoutDitherAndWithinTwoStepsWithIt) {
  const Workspace here;
  for (const auto& [code, bits] : {std::pair{SF_FORMAT_PCM_16, 16}, std::pair{SF_FORMAT_PCM_24, 24}}) {
    Audio in = MakeTone(2, 5000);
    in.format = SF_FORMAT_WAV | code;
    in.samples[10] = -1.0f;
    WriteAudio(here / "in.wav", in);
    in = ReadAudio(here / "in.wav");  // as rounded by the file
    ASSERT_EQ(here.Prismel(std::string("render -y --no-dither ") + kDry + "in.wav out.flac").status, 0);
    const Audio exact = ReadAudio(here / "out.flac");
    EXPECT_EQ(exact.samples, in.samples) << bits;
    EXPECT_EQ(exact.format & SF_FORMAT_SUBMASK, code);
  }
  Audio quiet = MakeTone(1, 20000);
  for (float& x : quiet.samples) x *= 1e-4f;  // a few steps of 16 bit
  WriteAudio(here / "quiet.wav", quiet);
  ASSERT_EQ(here.Prismel(std::string("render -f 16 ") + kDry + "quiet.wav dithered.wav").status, 0);
  const Audio dithered = ReadAudio(here / "dithered.wav");
  double mean = 0.0, square = 0.0;
  for (size_t i = 0; i < quiet.samples.size(); ++i) {
    const double error =
        (static_cast<double>(dithered.samples[i]) - static_cast<double>(quiet.samples[i])) * 32768.0;
    EXPECT_LE(std::abs(error), 1.5);
    mean += error / static_cast<double>(quiet.samples.size());
    square += error * error / static_cast<double>(quiet.samples.size());
  }
  EXPECT_NEAR(mean, 0.0, 0.02);
  EXPECT_NEAR(square, 0.25, 0.02);  // 1/12 of rounding and 1/6 of the dither, in steps squared
}

TEST(RenderFiles, TheEndingNamesTheKindOfFile) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 9600));
  const std::pair<const char*, int> kKinds[] = {{"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_FLOAT},
                                                {"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24},
                                                {"a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
                                                {"a.W64", SF_FORMAT_W64 | SF_FORMAT_FLOAT},
                                                {"a.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT}};
  for (const auto& [name, code] : kKinds) {
    ASSERT_EQ(here.Prismel(std::string("render in.wav --tail 0 ") + name).status, 0) << name;
    const Audio out = ReadAudio(here / name);
    EXPECT_EQ(out.format & (SF_FORMAT_TYPEMASK | SF_FORMAT_SUBMASK), code) << name;
    EXPECT_EQ(out.Frames(), 9600u) << name;
  }
}

TEST(RenderFiles, TheSameBytesOnEveryRunForEveryPieceSizeAndAnyNumberOfJobs) {
  const Workspace here;
  std::filesystem::create_directory(here / "in");
  for (const char* name : {"a", "b", "c", "d", "e"}) {
    Audio audio = MakeTone(2, 30000u + 1000u * static_cast<size_t>(name[0]));
    WriteAudio(here / "in" / (std::string(name) + ".wav"), audio);
  }
  // Spray, jitter and sample and hold draw random numbers.
  const std::string sound =
      " -p FXType=harmonizer -p HarmonizerSpray=200 -p Prismelion=0.8 -p LFOPrismelAmount=0.5 "
      "-p LFOShapeType=4 ";
  for (const auto& [folder, options] : {std::pair{"one", "--jobs 1"}, std::pair{"two", "--jobs 2"},
                                        std::pair{"five", "--jobs 5 --block 37"}}) {
    std::filesystem::create_directory(here / folder);
    const Outcome run = here.Prismel("render in -o " + std::string(folder) + sound + options);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("5 of 5 files"));
  }
  // Alone, and as Ogg, whose streams other programs number at random.
  ASSERT_EQ(here.Prismel("render in/c.wav alone.wav" + sound).status, 0);
  ASSERT_EQ(here.Prismel("render in/c.wav a.ogg" + sound).status, 0);
  ASSERT_EQ(here.Prismel("render in/c.wav b.ogg" + sound).status, 0);
  EXPECT_EQ(ReadBytes(here / "a.ogg"), ReadBytes(here / "b.ogg"));
  EXPECT_EQ(ReadBytes(here / "alone.wav"), ReadBytes(here / "one" / "c.wav"));
  for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav", "e.wav"}) {
    const std::string bytes = ReadBytes(here / "one" / name);
    EXPECT_GT(bytes.size(), 30000u * 8);
    EXPECT_EQ(bytes, ReadBytes(here / "two" / name)) << name;
    EXPECT_EQ(bytes, ReadBytes(here / "five" / name)) << name;
  }
}

TEST(RenderFiles, StartDurationAndTailCutToTheSample) {
  const Workspace here;
  const Audio in = MakeTone(2, 48000);
  WriteAudio(here / "in.wav", in);
  ASSERT_EQ(
      here.Prismel(std::string("render in.wav out.wav --start 0.25 --duration 0:0.5 --tail 0.1 ") + kDry)
          .status,
      0);
  const Audio out = ReadAudio(here / "out.wav");
  ASSERT_EQ(out.Frames(), 24000u + 4800u);
  EXPECT_TRUE(
      std::equal(in.samples.begin() + 2 * 12000, in.samples.begin() + 2 * 36000, out.samples.begin()));
  for (size_t i = 2 * 24000; i < out.samples.size(); ++i) ASSERT_EQ(out.samples[i], 0.0f);
}

TEST(RenderFiles, MonoStaysMonoUnlessAskedAndChannelsAreChosen) {
  const Workspace here;
  WriteAudio(here / "mono.wav", MakeTone(1, 4800));
  ASSERT_EQ(here.Prismel(std::string("render mono.wav stereo.wav --stereo ") + kDry).status, 0);
  const Audio wide = ReadAudio(here / "stereo.wav");
  ASSERT_EQ(wide.channels, 2);
  for (size_t i = 0; i < wide.Frames(); ++i) ASSERT_EQ(wide.samples[2 * i], wide.samples[2 * i + 1]);

  const Audio four = MakeTone(4, 4800);
  WriteAudio(here / "four.wav", four);
  const Outcome refused = here.Prismel("render four.wav x.wav");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("--channels 1,2"));
  ASSERT_EQ(here.Prismel(std::string("render four.wav x.wav --channels 4,2 ") + kDry).status, 0);
  const Audio chosen = ReadAudio(here / "x.wav");
  ASSERT_EQ(chosen.Frames(), 4800u);
  for (size_t i = 0; i < 4800; ++i) {
    ASSERT_EQ(chosen.samples[2 * i], four.samples[4 * i + 3]);
    ASSERT_EQ(chosen.samples[2 * i + 1], four.samples[4 * i + 1]);
  }
}

TEST(RenderFiles, NormalizeReachesThePeakAndTheLoudnessAskedFor) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 96000));
  const Outcome peak = here.Prismel(std::string("render in.wav peak.wav -n -6dB ") + kDry);
  ASSERT_EQ(peak.status, 0) << peak.err;
  float highest = 0.0f;
  for (const float x : ReadAudio(here / "peak.wav").samples) highest = std::max(highest, std::abs(x));
  EXPECT_NEAR(highest, std::pow(10.0, -0.3), 1e-5);
  const Outcome loud = here.Prismel(std::string("render in.wav loud.wav -n -20LUFS ") + kDry);
  EXPECT_THAT(loud.err, HasSubstr("-> -20.0 LUFS"));
  const Outcome held = here.Prismel(std::string("render in.wav held.wav --normalize 0LUFS ") + kDry);
  EXPECT_EQ(held.status, 0);
  EXPECT_THAT(held.err, HasSubstr("would clip"));
  EXPECT_THAT(held.err, HasSubstr("-> 0.0 dBFS"));
}

TEST(RenderFiles, PipesCarryWavAndRawSamples) {
  const Workspace here;
  const Audio in = MakeTone(2, 30000);
  WriteAudio(here / "in.wav", in);
  const Outcome wav = here.Shell(std::string("cat in.wav | $PRISMEL render -q - - ") + kDry +
                                 "| $PRISMEL render -q - out.wav " + kDry);
  ASSERT_EQ(wav.status, 0) << wav.err;
  EXPECT_EQ(ReadAudio(here / "out.wav").samples, in.samples);
  // Raw samples of a narrower format, into a device and back.
  const Outcome raw = here.Shell(std::string("$PRISMEL render -q in.wav - --type raw ") + kDry +
                                 "| cat | $PRISMEL render -q --raw-input 48000,2,float - back.wav " + kDry);
  ASSERT_EQ(raw.status, 0) << raw.err;
  EXPECT_EQ(ReadAudio(here / "back.wav").samples, in.samples);
  // Standard output may be a file: "> piped.wav".
  ASSERT_EQ(here.Shell(std::string("$PRISMEL render -q in.wav - ") + kDry + "> piped.wav").status, 0);
  EXPECT_EQ(ReadAudio(here / "piped.wav").samples, in.samples);
  EXPECT_EQ(here.Prismel("render in.wav /dev/null --type wav").status, 0);
  EXPECT_EQ(here.Shell("$PRISMEL render -q in.wav - | head -c 100 >/dev/null").status, 0);
}

TEST(RenderFiles, SamplesThatAreNoNumbersCountAsZeroAndAreReported) {
  const Workspace here;
  Audio in = MakeTone(1, 4800);
  in.samples[100] = std::nanf("");
  in.samples[200] = INFINITY;
  WriteAudio(here / "in.wav", in);
  const Outcome run = here.Prismel(std::string("render in.wav out.wav ") + kDry);
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.err, HasSubstr("2 input samples"));
  const Audio out = ReadAudio(here / "out.wav");
  EXPECT_EQ(out.samples[100], 0.0f);
  EXPECT_EQ(out.samples[200], 0.0f);
  EXPECT_EQ(out.samples[300], in.samples[300]);
}

}  // namespace
}  // namespace Vantora::cli::tests
