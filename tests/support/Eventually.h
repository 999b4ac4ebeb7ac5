#pragma once

#include <chrono>
#include <thread>

namespace Vantora::test {

/// Waits for what another thread or process brings about; false when it never comes. How long it takes says
/// nothing: on a busy machine the other's turn may come late. The limit, two minutes of looks, is there for a
/// test that would hang. It counts looks and not time, as a machine that stood still hasn't waited.
template <typename Condition>
bool Eventually(const Condition& condition) {
  constexpr int kQuickLooks = 1000, kLooks = 120'000;
  for (int look = 0; look < kLooks && !condition(); ++look) {
    if (look < kQuickLooks)
      std::this_thread::yield();
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

}  // namespace Vantora::test
