// Reading and shaping of impulses.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <numbers>

#include "dsp/convolution/ImpulseFile.h"
#include "dsp/convolution/ImpulseShaping.h"
#include "tests/dsp/convolution/ConvolutionRig.h"
#include "tests/dsp/convolution/WavFile.h"
#include "tests/support/TempFolder.h"
#include "tools/SndFileLibrary.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::WavBytes;

class ImpulseFile : public ::testing::Test {
 protected:
  bool Read(const std::string& path) {
    impulse = {};
    problem.clear();
    return ReadImpulseFile(path, impulse, problem);
  }
  // Reads and returns why it was refused.
  std::string Refused(const std::string& path) { return Read(path) ? "accepted" : problem; }

  testsupport::TempFolder folder;
  Impulse impulse;
  std::string problem;
};

TEST_F(ImpulseFile, ReadsStereoWithAnOddFrameCountToTheEndAndMonoWithoutARightChannel) {
  const std::vector<float> samples = Noise(2 * 1537, 1);
  ASSERT_TRUE(Read(folder.Write("stereo.wav", WavBytes(samples, 2, 44100)))) << problem;
  ASSERT_EQ(impulse.left.size(), 1537u);
  ASSERT_EQ(impulse.right.size(), 1537u);
  EXPECT_EQ(impulse.fileRate, 44100.0f);
  for (size_t i = 0; i < 1537; ++i) {
    ASSERT_EQ(impulse.left[i], samples[2 * i]);
    ASSERT_EQ(impulse.right[i], samples[2 * i + 1]);
  }
  ASSERT_TRUE(Read(folder.Write("mono.wav", WavBytes(samples, 1, 96000)))) << problem;
  EXPECT_EQ(impulse.left, samples);
  EXPECT_TRUE(impulse.right.empty());
}

TEST_F(ImpulseFile, CutsAfterAHundredSeconds) {
  ASSERT_TRUE(Read(folder.Write("long.wav", WavBytes(Noise(101 * 1000, 2), 1, 1000))));
  EXPECT_EQ(impulse.left.size(), 100'000u);
  ASSERT_TRUE(Read(folder.Write("long2.wav", WavBytes(Noise(2 * 101 * 1000, 2), 2, 1000))));
  EXPECT_EQ(impulse.right.size(), 100'000u);
}

TEST_F(ImpulseFile, SaysWhyItRefusesAFile) {
  std::vector<float> samples = Noise(3000, 3);
  EXPECT_EQ(Refused(folder.Write("three.wav", WavBytes(samples, 3, 48000))),
            "has 3 channels instead of one or two");
  EXPECT_EQ(Refused(folder.Write("empty.wav", WavBytes({}, 1, 48000))), "has no frames");
  EXPECT_EQ(Refused(folder.Write("slow.wav", WavBytes(samples, 1, 999))),
            "has a sample rate of 999 Hz, outside 1 kHz to 768 kHz");
  EXPECT_EQ(Refused(folder.Write("fast.wav", WavBytes(samples, 1, 2'000'000'000))),
            "has a sample rate of 2000000000 Hz, outside 1 kHz to 768 kHz");
  for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    samples[2999] = bad;
    EXPECT_EQ(Refused(folder.Write("bad.wav", WavBytes(samples, 2, 48000))),
              "has samples that are not finite numbers");
  }
  EXPECT_EQ(Refused(folder.Path()), "is a directory");
  EXPECT_EQ(Refused(folder / "none.wav"), "No such file or directory");
  ASSERT_EQ(symlink((folder / "gone.wav").c_str(), (folder / "link.wav").c_str()), 0);
  EXPECT_EQ(Refused(folder / "link.wav"), "No such file or directory");
  ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
  EXPECT_EQ(Refused(folder / "pipe.wav"), "is not a regular file");
  EXPECT_NE(Refused(folder.Write("text.wav", "no sound at all")), "accepted");
  EXPECT_FALSE(problem.empty());
}

TEST_F(ImpulseFile, BelievesTheDataAndNotTheHeader) {
  // A header of a billion frames over a thousand: whichever
  // way libsndfile takes it, no more than those is used.
  const bool isRead = Read(folder.Write("liar.wav", WavBytes(Noise(1000, 4), 1, 48000, 1'000'000'000)));
  EXPECT_EQ(isRead ? impulse.left.size() : 1000u, 1000u);
  EXPECT_LT(impulse.left.capacity(), 200'000u);

  // A compressed stream that breaks off has fewer frames than its header says.
  const std::string whole = folder / "whole.flac";
  SndFileLibrary& library = SndFileLibrary::Instance();
  SndFileInfo info;
  info.sampleRate = 48000;
  info.channels = 2;
  info.format = 0x170002;  // FLAC, 16 bits
  SNDFILE* file = library.sf_open(whole.c_str(), kSndFileWrite, &info);
  ASSERT_NE(file, nullptr);
  library.sf_writef_float(file, Noise(2 * 50000, 5).data(), 50000);
  library.sf_close(file);
  ASSERT_TRUE(Read(whole)) << problem;
  const std::string bytes = testsupport::TempFolder::Read(whole);
  const std::string reason = Refused(folder.Write("broken.flac", bytes.substr(0, bytes.size() / 2)));
  EXPECT_NE(reason.find("of 50000 frames"), std::string::npos) << reason;
}

// -----------------------------------------------------------------------------------------------------------

TEST(ImpulseShaping, ChoosesTheFirstDivisorThatIsEnough) {
  struct Case {
    float rate;
    uint64_t divisor;
  };
  for (const auto& [rate, divisor] : {Case{44100, 0}, Case{48000, 0}, Case{48001, 0}, Case{88200, 2},
                                      Case{96000, 2}, Case{132300, 4}, Case{176400, 4}, Case{192000, 4},
                                      Case{288000, 6}, Case{384000, 8}, Case{768000, 0}, Case{96000.5f, 0}}) {
    EXPECT_EQ(ChooseRateDivisor(rate, 48000.0f), divisor) << rate;
  }
}

class Shaping : public ::testing::Test {
 protected:
  // One channel in, both out.
  Impulse Shape(const std::vector<float>& samples, float fileRate, const ImpulseShape& shape) {
    Impulse impulse;
    impulse.left = samples;
    impulse.fileRate = fileRate;
    impulse.fadeHint = hint;
    ShapeImpulse(impulse, shape, resampler);
    return impulse;
  }
  ImpulseResampler resampler;
  FadeHint hint;
};

TEST_F(Shaping, AtItsOwnRateAnImpulseStaysAsItIsAndFillsBothChannels) {
  const std::vector<float> samples = Noise(1000, 6);
  const Impulse impulse = Shape(samples, 48000, {.sampleRate = 48000});
  EXPECT_EQ(impulse.left, samples);
  EXPECT_EQ(impulse.right, samples);
  // Twice the rate at half the rate is the same again; an unknown rate is taken as it comes.
  EXPECT_EQ(Shape(samples, 44100, {.sampleRate = 88200, .rateDivisor = 2}).left, samples);
  EXPECT_EQ(Shape(samples, 0, {.sampleRate = 48000, .stretch = 2.0f}).left, samples);
}

TEST_F(Shaping, LengthIsTruncatedAndAtLeastOneSample) {
  const std::vector<float> samples = Noise(1001, 7);
  const ImpulseShape shape{.sampleRate = 48000};
  const auto scaled = [&](float factor) {
    ImpulseShape changed = shape;
    changed.lengthFactor = factor;
    return Shape(samples, 48000, changed).left;
  };
  EXPECT_EQ(scaled(0.5f), std::vector<float>(samples.begin(), samples.begin() + 500));
  EXPECT_EQ(scaled(0.0f), std::vector<float>{samples[0]});
  const std::vector<float> longer = scaled(2.0f);
  ASSERT_EQ(longer.size(), 2002u);
  EXPECT_EQ(longer[1000], samples[1000]);
  EXPECT_EQ(longer[1001], 0.0f);
}

TEST_F(Shaping, ResamplingKeepsThePitchTheLengthAndTheSum) {
  // A second of 1 kHz from 44.1 to 48 kHz: as long in time, and as loud once it is convolved with something.
  std::vector<float> sine(44100);
  for (size_t i = 0; i < sine.size(); ++i) {
    sine[i] =
        static_cast<float>(std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(i) / 44100.0));
  }
  const std::vector<float> resampled = Shape(sine, 44100, {.sampleRate = 48000}).left;
  ASSERT_EQ(resampled.size(), 48000u);
  double worst = 0.0;
  for (size_t i = 100; i < 47900; ++i) {
    const double phase = 2.0 * std::numbers::pi * 1000.0 * static_cast<double>(i) / 48000.0;
    worst =
        std::max(worst, std::fabs(static_cast<double>(resampled[i]) - std::sin(phase) * 44100.0 / 48000.0));
  }
  EXPECT_LT(worst, 2e-3);
  // Stretched by a tenth: an octave and more down the length, never down to nothing.
  EXPECT_EQ(Shape(sine, 44100, {.sampleRate = 44100, .stretch = 2.0f}).left.size(), 88200u);
  EXPECT_EQ(Shape({0.5f, 0.25f}, 48000, {.sampleRate = 48000, .stretch = 0.1f}).left.size(), 1u);
}

TEST_F(Shaping, GainIsInDecibelsAndDecayFallsByFiveTimeConstantsASecondOfTheEnginesRate) {
  const std::vector<float> ones(48001, 1.0f);
  EXPECT_NEAR(Shape(ones, 48000, {.sampleRate = 48000, .gainDb = -20.0f}).right[77], 0.1f, 1e-6f);
  const std::vector<float> full = Shape(ones, 48000, {.sampleRate = 48000, .decay = 0.0f}).left;
  EXPECT_EQ(full[0], 1.0f);
  EXPECT_NEAR(full[48000], std::exp(-5.0f), 1e-6f);
  const std::vector<float> half =
      Shape(ones, 48000, {.sampleRate = 96000, .rateDivisor = 2, .decay = 0.5f}).left;
  EXPECT_NEAR(half[48000], std::exp(-2.5f), 1e-6f);
}

TEST_F(Shaping, AHintedFadeStandsInForTheDecay) {
  hint = {true, 100.0f, 500.0f};
  const std::vector<float> ones(100000, 1.0f);
  EXPECT_EQ(Shape(ones, 48000, {.sampleRate = 48000}).left, ones);
  const std::vector<float> faded = Shape(ones, 48000, {.sampleRate = 48000, .decay = 0.5f}).left;
  EXPECT_EQ(faded[4799], 1.0f);
  EXPECT_NEAR(faded[4800 + 48000], std::exp(-5.0f), 1e-5f);  // 500 ms / 0.5
  EXPECT_NEAR(Shape(ones, 48000, {.sampleRate = 48000, .decay = 0.0f}).left[4800 + 48000], std::exp(-0.25f),
              1e-5f)
      << "at most 20 seconds";
}

}  // namespace
}  // namespace Vantora::dsp
