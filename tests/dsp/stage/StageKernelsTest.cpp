// The stage's loops on every instruction set of this machine beside plain ones.
#include "dsp/stage/StageKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "basictools/AlignedVector.h"
#include "tests/support/Signals.h"

namespace Vantora::dsp {
namespace {

using namespace test;

// Taps that stand, that drift to and fro by little and by much, that jump, and that reach as far as they may.
TEST(StageKernels, TapsReadTheSameOnEveryInstructionSet) {
  constexpr uint32_t kLongest = 700;
  constexpr uint32_t kRoom = 96 + 2 * kVectorPadding;
  const Samples line = Noise(kVectorPadding + kLongest + kRoom, 5);
  const float* block = line.data() + kVectorPadding + kLongest;
  for (const float drift : {0.0f, 0.004f, -0.004f, 0.03f, -0.03f, 0.3f, -0.3f, 1.7f, -1.7f, 40.0f}) {
    for (const float start : {0.5f, 3.9f, 128.0f, 333.3f, 690.0f, 710.0f}) {
      for (const uint32_t count : {1u, 13u, 44u, 48u, 96u}) {
        AlignedFloats ramp(kRoom, 777.0f);  // behind the block anything may stand
        const AlignedFloats depth(kRoom, 2.0f);
        for (uint32_t i = 0; i < count; ++i) {
          const float way = start + drift * static_cast<float>(i);
          ramp[i] = 0.5f * (drift == 40.0f ? start * static_cast<float>(i % 3) / 2.0f : std::max(way, 0.0f));
        }
        Samples expected(count);
        for (uint32_t i = 0; i < count; ++i) {
          const float swept = ramp[i] * depth[i];
          const float delay = swept > 1.0f ? swept : 1.0f;
          const auto whole = static_cast<int32_t>(delay);
          const float* x =
              block + (static_cast<int32_t>(i) - std::min(whole, static_cast<int32_t>(kLongest) - 1));
          expected[i] = x[0] + (x[-1] - x[0]) * (delay - static_cast<float>(whole));
        }
        for (const auto target : {SimdTarget::Baseline, SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2,
                                  SimdTarget::Avx512}) {
          if (target > BestSimdTarget()) continue;
          AlignedFloats tap(kRoom);
          StageKernelsFor(target).readTap({.line = block,
                                           .furthest = static_cast<int32_t>(kLongest) - 1,
                                           .ramp = ramp.data(),
                                           .depth = depth.data(),
                                           .tap = tap.data()},
                                          count);
          ASSERT_EQ(std::memcmp(tap.data(), expected.data(), count * sizeof(float)), 0)
              << static_cast<int>(target) << ": " << count << " samples from " << start << " by " << drift;
        }
      }
    }
  }
}

}  // namespace
}  // namespace Vantora::dsp
