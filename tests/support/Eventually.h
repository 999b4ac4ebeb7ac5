#pragma once

#include <chrono>
#include <thread>

namespace Vantora::test {

/// What a thread does that waits for another, look after look: after some looks it sleeps. On a machine with
/// one processor the other gets it only then; a turn that is given away goes to whatever else the machine
/// does.
class Waiting {
 public:
  void Look() {
    if (++looks > 2000) std::this_thread::sleep_for(std::chrono::microseconds(20));
  }
  void Over() { looks = 0; }

 private:
  int looks = 0;
};

/// Waits for what another thread or process brings about; false when it never comes. How long it takes says
/// nothing: on a busy machine the other's turn may come late. The limit, two minutes of looks, is there for a
/// test that would hang. It counts looks and not time, as a machine that stood still hasn't waited.
template <typename Condition>
bool Eventually(const Condition& condition) {
  constexpr int kQuickLooks = 4000, kLooks = 120'000;
  Waiting wait;
  for (int look = 0; look < kLooks && !condition(); ++look) {
    if (look < kQuickLooks)
      wait.Look();
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

}  // namespace Vantora::test
