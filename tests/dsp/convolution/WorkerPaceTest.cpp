#include "dsp/convolution/WorkerPace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <vector>

namespace Vantora::dsp {
namespace {

using Time = WorkerPace::Clock::time_point;
using std::chrono::microseconds;

constexpr microseconds kPeriod{21333};
constexpr Time kNever = Time::max();

struct Course {
  microseconds longestWait{0};  // of work for a look, from when naps began
  int looks = 0, idleLooks = 0, wakings = 0;
};

// Work comes at `times`; the worker looks when its pace says so, or is woken when it sleeps.
Course Follow(WorkerPace& pace, const std::vector<Time>& times) {
  Course course;
  for (const Time& time : times) {
    while (pace.NextLook() < time) {
      pace.SawNothing(pace.NextLook());
      ++course.looks;
      ++course.idleLooks;
    }
    if (pace.NextLook() == kNever) {
      ++course.wakings;
    } else {
      const auto wait = std::chrono::duration_cast<microseconds>(pace.NextLook() - time);
      course.longestWait = std::max(course.longestWait, wait);
      ++course.looks;
    }
    pace.SawWork(time);
  }
  return course;
}

// At a pace that is off by `error` parts, each time shifted by up to `jitter`.
std::vector<Time> Even(int count, double error, microseconds jitter) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int64_t> shift(0, jitter.count());
  std::vector<Time> times;
  for (int i = 0; i < count; ++i) {
    const auto at = static_cast<int64_t>(i * kPeriod.count() * (1.0 + error)) + shift(random);
    times.push_back(Time(std::chrono::seconds(10) + microseconds(at)));
  }
  return times;
}

TEST(WorkerPace, LooksByItselfAtAnEvenPaceWhateverTheClocksDifferBy) {
  for (const double error : {0.0, 2e-3, -2e-3}) {
    for (const microseconds jitter : {microseconds(0), microseconds(1333)}) {
      WorkerPace pace;
      pace.SetPeriod(kPeriod);
      const Course course = Follow(pace, Even(4000, error, jitter));
      EXPECT_LE(course.wakings, 9) << error;
      EXPECT_LT(course.longestWait, kPeriod / 15 + kPeriod / 16 + 2 * jitter) << error;
      EXPECT_LT(course.idleLooks, course.looks / 5) << error;
    }
  }
}

TEST(WorkerPace, IsWokenWithoutAPaceAndAtAnyOther) {
  WorkerPace none;
  EXPECT_EQ(Follow(none, Even(100, 0.0, microseconds(0))).wakings, 100);
  for (const double error : {-0.9, -0.4, 0.4, 3.0}) {
    WorkerPace pace;
    pace.SetPeriod(kPeriod);
    EXPECT_EQ(Follow(pace, Even(100, error, microseconds(0))).wakings, 100) << error;
  }
}

TEST(WorkerPace, SleepsWhenWorkStopsAndFindsItsPaceAnew) {
  WorkerPace pace;
  pace.SetPeriod(kPeriod);
  std::vector<Time> times = Even(50, 0.0, microseconds(0));
  const std::vector<Time> before = times;
  for (const Time& time : before) times.push_back(time + std::chrono::seconds(100));
  const Course course = Follow(pace, times);
  EXPECT_EQ(course.wakings, 18) << "nine, each time";
  EXPECT_LT(course.longestWait, kPeriod / 15);
}

}  // namespace
}  // namespace Vantora::dsp
