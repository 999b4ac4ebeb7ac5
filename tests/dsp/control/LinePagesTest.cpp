#include "dsp/control/LinePages.h"

#include <gtest/gtest.h>

#if defined(__linux__)

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <thread>
#include <vector>

namespace Vantora::dsp {
namespace {

struct Line {
  explicit Line(std::size_t wanted) : bytes(wanted), data(static_cast<uint8_t*>(LinePages::Take(wanted))) {}
  void Fill(uint8_t value) { std::fill_n(data, bytes, value); }
  bool Holds(uint8_t value) const {  // seen at a place in each cache line
    for (std::size_t i = 0; i < bytes; i += 61) {
      if (data[i] != value) return false;
    }
    return data[bytes - 1] == value;
  }
  void Return() { LinePages::Return(data, bytes); }
  std::size_t bytes;
  uint8_t* data;
};

long ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  long size = 0, resident = 0;
  statm >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

// Lengths that share pages, cross large ones, and one that is longer than a region.
TEST(LinePages, LinesAreZeroApartAndKeepWhatTheyHoldWhileOthersComeAndGo) {
  constexpr std::size_t kLengths[] = {16384, 20001, 400000, 524288, 865540, 1338628, 3000000, 70 << 20};
  std::vector<Line> lines;
  uint32_t random = 1;
  for (int round = 0; round < 100; ++round) {
    random = random * 1664525u + 1013904223u;
    const bool isLong = round % 50 == 49;
    lines.emplace_back(kLengths[isLong ? 7 : (random >> 16) % 7]);
    ASSERT_NE(lines.back().data, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(lines.back().data) % 64, 0u);
    ASSERT_TRUE(lines.back().Holds(0)) << "line " << round;
    lines.back().Fill(static_cast<uint8_t>(lines.size()));
    if (lines.size() < 12) continue;
    Line& leaving = lines[(random >> 8) % lines.size()];
    leaving.Return();
    std::swap(leaving, lines.back());
    lines.pop_back();
    for (std::size_t i = 0; i < lines.size(); ++i) {
      ASSERT_TRUE(lines[i].Holds(lines[i].data[0])) << "round " << round;
      lines[i].Fill(static_cast<uint8_t>(i + 1));
    }
  }
  for (Line& line : lines) line.Return();
}

TEST(LinePages, MemoryGoesBackInWhateverOrderLinesLeave) {
  constexpr std::size_t kBytes = 1338628;
  const long before = ResidentBytes();
  std::vector<Line> lines;
  for (int i = 0; i < 160; ++i) lines.emplace_back(kBytes);
  EXPECT_GT(ResidentBytes() - before, 150l * static_cast<long>(kBytes));
  // All but every sixteenth: what stays holds a page at either end at most.
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i % 16 != 0) lines[i].Return();
  }
  EXPECT_LT(ResidentBytes() - before, 50l << 20);
  for (std::size_t i = 0; i < lines.size(); i += 16) lines[i].Return();
  EXPECT_LT(ResidentBytes() - before, 4l << 20);
}

TEST(LinePages, ThreadsTakeAndReturnSideBySide) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (std::size_t t = 0; t < wrong.size(); ++t) {
    threads.emplace_back([t, &wrong] {
      for (int round = 0; round < 100; ++round) {
        Line first(20000 + 1000 * t);
        Line second(600000);
        wrong[t] += first.Holds(0) && second.Holds(0) ? 0 : 1;
        first.Fill(static_cast<uint8_t>(t + 1));
        second.Fill(static_cast<uint8_t>(t + 11));
        wrong[t] += first.Holds(static_cast<uint8_t>(t + 1)) ? 0 : 1;
        first.Return();
        wrong[t] += second.Holds(static_cast<uint8_t>(t + 11)) ? 0 : 1;
        second.Return();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : wrong) EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace Vantora::dsp

#endif
