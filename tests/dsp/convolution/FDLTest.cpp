#include "dsp/convolution/FDL.h"

#include <gtest/gtest.h>

#include <atomic>

#include "tests/dsp/convolution/ConvolutionRig.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::Signal;

// Pushes everything in blocks and puts each result where its time says.
Signal Collect(FDL& line, const Signal& input, uint64_t origin, tests::RandomBlocks blocks) {
  Signal output(input.size() + 4096);
  const uint64_t size = line.PartitionSize();
  for (size_t done = 0; done < input.size();) {
    const size_t count = std::min<size_t>(std::min<size_t>(blocks(), size), input.size() - done);
    line.Push(input.data() + done, count);
    done += count;
    const uint64_t time = line.OutputTime();
    if (const float* result = line.Take(size)) std::copy_n(result, size, output.data() + (time - origin));
  }
  return output;
}

// The part of the impulse that a line stands for, with zeros in front.
Signal Part(const Signal& impulse, size_t from, size_t to) {
  Signal part(std::min(to, impulse.size()));
  for (size_t k = from; k < part.size(); ++k) part[k] = impulse[k];
  return part;
}

TEST(FDL, ConvolvesItsPartOfTheImpulseAtTheTimeItSays) {
  const Signal input = Noise(3000, 1);
  for (const size_t length : {0u, 100u, 101u, 250u, 420u, 421u, 1000u}) {
    const Signal impulse = Noise(length, 2);
    FDL line;
    line.Prepare(64, 5, 100, impulse.data(), impulse.size());
    line.SetInputTime(5000);
    const Signal output = Collect(line, input, 5000, tests::RandomBlocks(64, 3));
    const Signal part = Part(impulse, 100, 420);
    // The last result ends with the last whole block.
    for (size_t i = 100; i < 100 + input.size() / 64 * 64; ++i) {
      ASSERT_NEAR(static_cast<double>(output[i]), tests::ConvolvedAt(input, part, i), 2e-5)
          << length << " " << i;
    }
  }
}

TEST(FDL, SoundsLikeANewOneAfterAResetInMidBlock) {
  const Signal impulse = Noise(700, 4), input = Noise(2000, 5);
  FDL line, fresh;
  for (FDL* each : {&line, &fresh}) each->Prepare(128, 4, 128, impulse.data(), impulse.size());
  Collect(line, Noise(1111, 6), 0, tests::RandomBlocks(128, 7));
  line.Reset();
  EXPECT_EQ(Collect(line, input, 0, tests::RandomBlocks(128, 8)),
            Collect(fresh, input, 0, tests::RandomBlocks(128, 8)));
}

TEST(FDL, SilenceWithoutASourceAndTooLongAPush) {
  const Signal impulse = Noise(256, 9);
  FDL line;
  line.Prepare(64, 4, 0, impulse.data(), impulse.size());
  const Signal input = Noise(64, 10);
  line.Push(input.data(), 65);
  EXPECT_EQ(line.Take(1), nullptr);
  line.Push(input.data(), 64);
  ASSERT_NE(line.Take(64), nullptr);
  EXPECT_EQ(line.Take(1), nullptr);
  // The tail rings out over the silence, and then nothing is left but rounding.
  for (int block = 1; block < 7; ++block) {
    line.Push(nullptr, 64);
    const float* result = line.Take(64);
    ASSERT_NE(result, nullptr);
    float peak = 0.0f;
    for (int i = 0; i < 64; ++i) peak = std::max(peak, std::fabs(result[i]));
    EXPECT_EQ(peak > 0.1f, block < 5) << block;
    EXPECT_EQ(peak<1e-5f, block> 4) << block;
  }
}

TEST(FDL, GivesUpWhenCancelled) {
  const Signal impulse = Noise(256, 11), input = Noise(64, 12);
  FDL line;
  line.Prepare(64, 4, 0, impulse.data(), impulse.size());
  std::atomic<int32_t> counter{1};
  EXPECT_FALSE(line.Push(input.data(), 64, counter));
  EXPECT_EQ(line.Take(64), nullptr);
  counter = 0;
  EXPECT_TRUE(line.Push(input.data(), 64, counter));
  EXPECT_NE(line.Take(64), nullptr);
}

}  // namespace
}  // namespace Vantora::dsp
