#include "dsp/control/DelayLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <vector>

#include "dsp/control/AllPassDelay.h"

namespace Vantora::dsp {
namespace {

/// The same line told plainly: each cell knows itself whether it holds anything.
class PlainLine {
 public:
  void Resize(uint32_t size) {
    cells.assign(size, std::nullopt);
    next = 0;
  }
  void Clear() { Resize(static_cast<uint32_t>(cells.size())); }
  void Write(float value) {
    cells[next] = value;
    next = (next + 1) % cells.size();
  }
  float Read(uint32_t delay) const { return cells[Index(delay)].value_or(0.0f); }
  float ReadAt(uint32_t index) const { return cells[index % cells.size()].value_or(0.0f); }
  bool IsHole(uint32_t delay) const { return !cells[Index(delay)].has_value(); }

  void WriteAt(uint32_t delay, float value) {
    const size_t i = Index(delay);
    if (cells[i].has_value()) {
      cells[i] = value;
      return;
    }
    size_t below = i, above = i + 1;
    while (below > 0 && !cells[below - 1].has_value()) --below;
    while (above < cells.size() && !cells[above].has_value()) ++above;
    if (i - below <= above - 1 - i) {
      for (size_t k = below; k < i; ++k) cells[k] = 0.0f;
      cells[i] = value;
    } else {
      for (size_t k = i + 1; k < above; ++k) cells[k] = 0.0f;  // and the cell itself stays a hole
    }
  }

 private:
  size_t Index(uint32_t delay) const {
    const size_t size = cells.size();
    return (next + size * (1 + delay / size) - delay) % size;
  }

  std::vector<std::optional<float>> cells;
  size_t next = 0;
};

TEST(DelayLine, IsAPlainRingUnderAMillionRandomOperations) {
  std::mt19937 random(2023);
  std::uniform_real_distribution<float> value(-1.0f, 1.0f);
  DelayLine line;
  PlainLine plain;
  uint32_t size = 8;
  line.Resize(size);
  plain.Resize(size);
  int holes = 0;
  for (int i = 0; i < 1'000'000; ++i) {
    const uint32_t choice = random() % 1000;
    const uint32_t delay = random() % (3 * size);
    if (choice < 550) {
      const float x = value(random);
      line.Write(x);
      plain.Write(x);
    } else if (choice < 900) {
      ASSERT_EQ(line.Read(delay), plain.Read(delay)) << "operation " << i << " delay " << delay;
      ASSERT_EQ(line.ReadAt(delay), plain.ReadAt(delay)) << "operation " << i << " index " << delay;
    } else if (choice < 993) {
      const float x = value(random);
      holes += plain.IsHole(delay);
      line.WriteAt(delay, x);
      plain.WriteAt(delay, x);
    } else if (choice < 999) {
      line.Clear();
      plain.Clear();
    } else {
      size = 1 + random() % 300;
      line.Resize(size);
      plain.Resize(size);
    }
  }
  EXPECT_GT(holes, 10'000);
}

TEST(DelayLine, WritingIntoTheClearedRangeKeepsTheLowerSideAndSwallowsTheUpper) {
  DelayLine line;
  line.Resize(16);
  for (int i = 0; i < 16; ++i) line.Write(7.0f);
  line.Clear();
  line.WriteAt(16 - 4, 1.0f);  // index 4, lower half
  EXPECT_EQ(line.ReadAt(4), 1.0f);
  line.WriteAt(16 - 14, 2.0f);  // index 14, upper half: intended
  EXPECT_EQ(line.ReadAt(14), 0.0f);
  line.WriteAt(16 - 15, 3.0f);  // index 15 has been made real by that
  EXPECT_EQ(line.ReadAt(15), 3.0f);
  for (const uint32_t i : {0u, 1u, 2u, 3u, 5u, 13u, 14u}) EXPECT_EQ(line.ReadAt(i), 0.0f) << i;
}

/// Largest error against the sine itself when reading halfway between samples.
float HalfwayError(uint32_t mode, float cyclesPerSample) {
  DelayLine line;
  line.Resize(256);
  const float w = 6.2831853f * cyclesPerSample;
  for (int i = 0; i < 256; ++i) line.Write(std::sin(w * static_cast<float>(i)));
  float worst = 0.0f;
  for (uint32_t d = 2; d < 200; ++d) {
    const float exact = std::sin(w * (256.0f - static_cast<float>(d) - 0.5f));
    worst = std::max(worst, std::fabs(line.ReadInterpolated(d, mode, 0.5f) - exact));
  }
  return worst;
}

TEST(DelayLine, InterpolatesBetweenTwoSamples) {
  DelayLine line;
  line.Resize(8);
  for (const float x : {4.0f, -1.0f, 3.0f, 2.0f, 0.5f}) line.Write(x);  // Read(3) is 3, Read(4) is -1
  EXPECT_EQ(line.ReadInterpolated(3, kInterpolationLinear, 0.25f), 2.0f);
  for (const uint32_t mode : {kInterpolationLinear, kInterpolationFifthOrder}) {
    EXPECT_EQ(line.ReadInterpolated(3, mode, 0.0f), 3.0f);
    EXPECT_FLOAT_EQ(line.ReadInterpolated(3, mode, 1.0f), -1.0f);
  }
  EXPECT_EQ(line.ReadInterpolated(3, kInterpolationAllPass, 0.0f), 2.0f);  // the sum of both
  EXPECT_EQ(line.ReadInterpolated(3, kInterpolationAllPass, 0.5f), 3.0f * 0.5f / 1.5f - 1.0f);
  for (const uint32_t mode : {0u, 4u, 99u}) EXPECT_EQ(line.ReadInterpolated(3, mode, 0.5f), 3.0f);
  // p = -4, q = 2, a = 2, b = 3, c = -1, e = 4 at frac 0.5, worked out by hand.
  EXPECT_FLOAT_EQ(line.ReadInterpolated(3, kInterpolationFifthOrder, 0.5f),
                  -14.0f / 32 + 35.0f / 16 - 21.0f / 8 - 2.5f / 4 - 1.5f / 2 + 3.0f);
}

TEST(DelayLine, FifthOrderIsFarCloserToASineThanALine) {
  // What the header says of 1 kHz at 48 kHz and of an eighth of the rate.
  EXPECT_NEAR(HalfwayError(kInterpolationLinear, 1.0f / 48), 2.14e-3f, 3e-5f);
  EXPECT_NEAR(HalfwayError(kInterpolationLinear, 1.0f / 8.01f), 0.0759f, 1e-3f);
  EXPECT_LT(HalfwayError(kInterpolationFifthOrder, 1.0f / 48), 6e-5f);
  EXPECT_LT(HalfwayError(kInterpolationFifthOrder, 1.0f / 8.01f), 0.0125f);
}

TEST(AllPassDelay, PassesAllEnergy) {
  AllPassDelay allPass;
  allPass.Configure(64, 13, 0.6f);
  double energy = 0.0;
  for (int i = 0; i < 2000; ++i) {
    const float y = allPass.Process(i == 0 ? 1.0f : 0.0f);
    const float echo = i == 0 ? 0.6f : i == 13 ? 1.0f - 0.6f * 0.6f : i < 26 ? 0.0f : y;
    EXPECT_FLOAT_EQ(y, echo) << i;
    energy += static_cast<double>(y) * static_cast<double>(y);
  }
  EXPECT_NEAR(energy, 1.0, 1e-6);
}

TEST(AllPassDelay, ModulationMovesTheTapAndNeverReadsBelowOneSample) {
  AllPassDelay moved, plain;
  moved.Configure(64, 5, 0.5f);
  plain.Configure(64, 5, 0.5f);
  plain.SetDelay(8);
  for (int i = 0; i < 100; ++i) {
    const float x = std::sin(static_cast<float>(i));
    EXPECT_EQ(moved.ProcessModulated(kInterpolationLinear, x, 3.0f), plain.Process(x));
  }
  plain.SetDelay(1);
  for (const float below : {-4.5f, -100.0f, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(moved.ProcessModulated(kInterpolationLinear, 0.25f, below), plain.Process(0.25f));
  }
  moved.Clear();
  EXPECT_EQ(moved.Process(0.0f), 0.0f);
}

}  // namespace
}  // namespace Vantora::dsp

namespace Vantora::dsp {
namespace {

TEST(DelayLine, BlockWritesAndRunsAreTheSampleBySampleOnes) {
  std::mt19937 random(4711);
  for (const uint32_t size : {5u, 17u, 64u}) {
    DelayLine blocks;
    DelayLine singles;
    blocks.Resize(size);
    singles.Resize(size);
    float next = 1.0f;
    for (int round = 0; round < 3000; ++round) {
      if (random() % 50 == 0) {
        blocks.Clear();
        singles.Clear();
      }
      std::vector<float> values(random() % (2 * size));
      for (float& value : values) value = next++;
      blocks.WriteBlock(values.data(), static_cast<uint32_t>(values.size()));
      for (const float value : values) singles.Write(value);
      const uint32_t delay = 1 + random() % size;
      std::vector<float> run(1 + random() % delay);
      blocks.CopyRun(run.data(), delay, static_cast<uint32_t>(run.size()));
      for (uint32_t i = 0; i < run.size(); ++i)
        ASSERT_EQ(run[i], singles.Read(delay - i)) << size << " " << round;
      const float* found = blocks.FindRun(delay, static_cast<uint32_t>(run.size()));
      ASSERT_TRUE(found == nullptr || std::equal(run.begin(), run.end(), found)) << size << " " << round;
      for (uint32_t d = 1; d <= size; ++d) ASSERT_EQ(blocks.Read(d), singles.Read(d)) << size << " " << round;
    }
  }
}

}  // namespace
}  // namespace Vantora::dsp
