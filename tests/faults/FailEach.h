#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "tests/faults/FailingMemory.h"

namespace Vantora::test {

/// What a step came to: a number of its result, the same each time.
using Step = std::function<uint64_t()>;

inline uint64_t Hash(const void* bytes, size_t size, uint64_t seed = 14695981039346656037u) {
  for (size_t i = 0; i < size; ++i) {
    seed = (seed ^ static_cast<const unsigned char*>(bytes)[i]) * 1099511628211u;
  }
  return seed;
}
inline uint64_t Hash(const std::string& text) { return Hash(text.data(), text.size()); }
inline uint64_t Hash(const std::vector<float>& samples) {
  return Hash(samples.data(), samples.size() * sizeof(float));
}

/// Of the many thousand allocations of a long step so many are tried, evenly; all of them when the night has
/// time.
inline uint64_t Stride(uint64_t allocations) {
  constexpr uint64_t kTried = 100;
  return std::getenv("PRISMEL_LONG_TESTS") != nullptr ? 1 : allocations / kTried + 1;
}

/// Runs `step` with each of its allocations failing. It may refuse by std::bad_alloc or HostError, and by
/// `refusal`, the result that stands for "no".
inline void FailEach(const char* name, const Step& step, uint64_t refusal = 0) {
  if (!FailingMemory::IsThere()) GTEST_SKIP() << "this build's sanitizer has its own allocator";
  const uint64_t wanted = step();
  ASSERT_NE(wanted, refusal) << name << " works";
  FailingMemory::Arm(0, FailingMemory::Mode::kOne);
  ASSERT_EQ(step(), wanted) << name << " comes to the same each time";
  const uint64_t allocations = FailingMemory::Count();
  ASSERT_GT(allocations, 0u);

  uint64_t refused = 0, unminded = 0;
  for (const auto mode : {FailingMemory::Mode::kOne, FailingMemory::Mode::kOnward}) {
    uint64_t which = 1;
    for (bool hasFailed = true; hasFailed; which += Stride(allocations)) {
      const int64_t before = FailingMemory::LiveBlocks();
      uint64_t result = refusal;
      bool isThrown = false, isForeign = false;
      FailingMemory::Arm(which, mode);
      try {
        result = step();
      } catch (const std::bad_alloc&) {
        isThrown = true;
      } catch (const host::HostError&) {
        isThrown = true;
      } catch (const std::exception&) {
        isThrown = isForeign = true;
      }
      hasFailed = FailingMemory::Disarm();
      ASSERT_FALSE(isForeign) << name << ", allocation " << which << ": another exception";
      if (result == refusal || isThrown) {
        ++refused;
      } else {
        ASSERT_EQ(result, wanted) << name << ", allocation " << which << ": went wrong without a word";
        if (hasFailed) ++unminded;
      }
      // What a first failure keeps for good (a text, a table) it keeps once.
      if (FailingMemory::LiveBlocks() != before) {
        ASSERT_EQ(step(), wanted) << name;
        const int64_t again = FailingMemory::LiveBlocks();
        FailingMemory::Arm(which, mode);
        try {
          static_cast<void>(step());
        } catch (const std::exception&) {
        }
        FailingMemory::Disarm();
        ASSERT_LE(FailingMemory::LiveBlocks(), again) << name << ", allocation " << which << " leaks";
      }
    }
    ASSERT_EQ(step(), wanted) << name << " works again";
  }
  std::printf("%s: %llu allocations, %llu refused, %llu not minded\n", name,
              static_cast<unsigned long long>(allocations), static_cast<unsigned long long>(refused),
              static_cast<unsigned long long>(unminded));
  EXPECT_GT(refused, 0u) << name;
}

}  // namespace Vantora::test
