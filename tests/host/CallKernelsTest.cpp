#include "host/CallKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/Signals.h"

namespace Vantora::host {
namespace {

constexpr size_t kStride = 80, kMost = 70;  // samples; more than four of the widest vectors

std::vector<SimdTarget> Targets() {
  std::vector<SimdTarget> targets;
  for (int t = 0; t <= static_cast<int>(BestSimdTarget()); ++t) targets.push_back(static_cast<SimdTarget>(t));
  return targets;
}

class Kernels : public testing::TestWithParam<SimdTarget> {
 protected:
  /// Two channels of a host's memory, and a block of four.
  std::vector<float> left = test::Noise(kStride, 1), right = test::Noise(kStride, 2);
  std::vector<float> block = test::Noise(4 * kStride, 3);
  const CallKernels& kernels = CallKernelsFor(GetParam());
};

TEST_P(Kernels, MovesAnyCountAlsoWhereInAndOutAreOneMemory) {
  for (const bool isShared : {false, true}) {
    for (size_t count = 0; count <= kMost; ++count) {
      const size_t place = count % 5;
      std::vector<float> in[2] = {left, right}, out[2] = {left, right}, moved = block;
      std::vector<float>* const to = isShared ? in : out;
      EXPECT_FALSE(kernels.exchange(in[0].data() + 1, in[1].data() + 2, to[0].data() + 1, to[1].data() + 2,
                                    moved.data() + place, kStride, count));
      std::vector<float> expected[2] = {left, right}, expectedBlock = block;
      for (size_t i = 0; i < count; ++i) {
        expectedBlock[place + i] = left[1 + i];
        expectedBlock[kStride + place + i] = right[2 + i];
        expected[0][1 + i] = block[2 * kStride + place + i];
        expected[1][2 + i] = block[3 * kStride + place + i];
      }
      ASSERT_EQ(moved, expectedBlock) << count;  // and nothing beside it
      ASSERT_EQ(to[0], expected[0]) << count;
      ASSERT_EQ(to[1], expected[1]) << count;
    }
  }
}

TEST_P(Kernels, TellsOfEverySampleThatMayBeNoSound) {
  const float infinity = std::numeric_limits<float>::infinity();
  std::vector<float> out[2] = {left, right};
  const auto isLoud = [&](size_t count) {
    return kernels.exchange(left.data(), right.data(), out[0].data(), out[1].data(), block.data(), kStride,
                            count);
  };
  for (std::vector<float>* channel : {&left, &right}) {
    for (const float bad : {2.0f, -2.0f, 1e30f, infinity, -infinity, std::nanf("")}) {
      for (size_t at = 0; at < kMost; ++at) {
        const float before = std::exchange((*channel)[at], bad);
        for (const size_t count : {at + 1, kMost})
          ASSERT_TRUE(isLoud(count)) << bad << ' ' << at << ' ' << count;
        ASSERT_FALSE(isLoud(at)) << bad << ' ' << at;  // it lies behind the end
        (*channel)[at] = before;
      }
    }
    (*channel)[7] = std::nextafter(2.0f, 0.0f);
    EXPECT_FALSE(isLoud(kMost));
  }
}

TEST_P(Kernels, SeeEveryBitThatDiffers) {
  for (size_t count = 0; count <= kMost; ++count) {
    std::vector<float> other = left;
    other[count] = -other[count];  // behind the end
    ASSERT_TRUE(kernels.areSame(left.data(), other.data(), count)) << count;
    for (size_t at = 0; at < count; ++at) {
      const float before = std::exchange(other[at], -other[at]);
      ASSERT_FALSE(kernels.areSame(left.data(), other.data(), count)) << count << ' ' << at;
      other[at] = before;
    }
  }
  const float nothing = 0.0f, negative = -0.0f;
  EXPECT_FALSE(kernels.areSame(&nothing, &negative, 1));
}

INSTANTIATE_TEST_SUITE_P(Targets, Kernels, testing::ValuesIn(Targets()));

}  // namespace
}  // namespace Vantora::host
