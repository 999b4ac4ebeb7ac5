#include "tests/support/RealTimeGuard.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <stdexcept>

namespace Vantora::test {
namespace {

class RealTimeGuardBites : public testing::Test {
 protected:
  void SetUp() override {
    if (!RealTimeGuard::WatchesEverything())
      GTEST_SKIP() << "a sanitizer or an old kernel has the entry points";
  }
};

TEST_F(RealTimeGuardBites, OnNothingWhenNothingHappens) {
  volatile float sum = 0.0f;
  const auto seen = Watch([&] {
    for (int i = 0; i < 1000; ++i) sum = sum + 1.0f;
  });
  EXPECT_TRUE(seen.None()) << seen.Text();
}

TEST_F(RealTimeGuardBites, OnAllocationsAndReleases) {
  void* volatile memory = nullptr;
  EXPECT_EQ(Watch([&] { memory = std::malloc(100); }).allocations, 1u);
  EXPECT_EQ(Watch([&] { std::free(memory); }).releases, 1u);
  int* volatile number = nullptr;
  EXPECT_EQ(Watch([&] { number = new int(3); }).allocations, 1u);
  EXPECT_EQ(Watch([&] { delete number; }).releases, 1u);
}

TEST_F(RealTimeGuardBites, OnLocks) {
  std::mutex mutex;
  EXPECT_EQ(Watch([&] { const std::lock_guard lock(mutex); }).locks, 1u);
}

TEST_F(RealTimeGuardBites, OnExceptions) {
  const auto seen = Watch([] {
    try {
      throw std::runtime_error("planted");
    } catch (const std::exception&) {
    }
  });
  EXPECT_EQ(seen.throws, 1u);
}

TEST_F(RealTimeGuardBites, OnSystemCallsWhichStillRun) {
  long id = 0;
  const auto seen = Watch([&] { id = syscall(SYS_getpid); });
  EXPECT_EQ(seen.systemCalls, 1u);
  EXPECT_EQ(id, getpid());
}

TEST_F(RealTimeGuardBites, OnPageFaults) {
  constexpr size_t kSize = 1 << 20;
  void* memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  const auto seen = Watch([&] { static_cast<volatile char*>(memory)[0] = 1; });
  EXPECT_GE(seen.pageFaults, 1u);
  munmap(memory, kSize);
}

}  // namespace
}  // namespace Vantora::test
