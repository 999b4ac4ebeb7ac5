// Where the LV2 plug-in reads and writes: a host that moves every port before every run and takes the memory
// of the run before away.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "host/ParameterTable.h"
#include "plugin/lv2/Lv2Instance.h"
#include "plugin/lv2/Lv2Ports.h"
#include "tests/support/Signals.h"

namespace Vantora::test {
namespace {

constexpr size_t kFrames = 24000;
constexpr float kUntouched = -12345.0f;

/// Floats of one run. `Revoke` leaves the addresses taken and makes every touch of them a crash, so that
/// nothing else comes to lie there and hides a late write.
class RunMemory {
 public:
  explicit RunMemory(size_t count)
      : bytes(count * sizeof(float)),
        floats(static_cast<float*>(
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    if (floats == MAP_FAILED) throw std::bad_alloc();
    std::fill_n(floats, count, kUntouched);
  }
  RunMemory(RunMemory&& other) noexcept
      : bytes(other.bytes), floats(std::exchange(other.floats, nullptr)), taken(other.taken) {}
  ~RunMemory() {
    if (floats != nullptr) munmap(floats, bytes);
  }
  /// The next `count` floats, behind a gap of `gap` untouched ones.
  float* Take(size_t count, size_t gap) {
    float* const begin = floats + taken + gap;
    taken += gap + count;
    return begin;
  }
  void Revoke() { mprotect(floats, bytes, PROT_NONE); }

 private:
  size_t bytes;
  float* floats;
  size_t taken = 0;
};

class Lv2Ports : public testing::Test {
 protected:
  Lv2Ports()
      : library(dlopen(PRISMEL_LV2, RTLD_NOW | RTLD_LOCAL)),
        descriptor(reinterpret_cast<LV2_Descriptor_Function>(dlsym(library, "lv2_descriptor"))(0)) {}
  ~Lv2Ports() override { dlclose(library); }

  struct Heard {
    std::vector<float> left, right, readOuts;
    bool operator==(const Heard&) const = default;
  };

  /// Where the ports that aren't sound lie.
  struct Controls {
    LV2_Atom_Sequence* events;
    float *latency, *freeWheeling;
    std::vector<float*> parameters;
  };

  Controls ConnectControls(LV2_Handle instance, RunMemory& memory, size_t gap) const {
    Controls at{};
    at.events = reinterpret_cast<LV2_Atom_Sequence*>(memory.Take(8, 0));  // first: on a page's beginning
    *at.events = {{sizeof(LV2_Atom_Sequence_Body), 1}, {0, 0}};
    at.latency = memory.Take(1, gap);
    at.freeWheeling = memory.Take(1, gap);
    *at.freeWheeling = 0.0f;
    descriptor->connect_port(instance, numbers.events, at.events);
    descriptor->connect_port(instance, numbers.latency, at.latency);
    descriptor->connect_port(instance, numbers.freeWheeling, at.freeWheeling);
    for (uint32_t i = 0; i < list.Size(); ++i) {
      at.parameters.push_back(memory.Take(1, gap));
      descriptor->connect_port(instance, numbers.firstParameter + i, at.parameters.back());
    }
    return at;
  }

  static void ExpectGapBefore(const float* place, size_t gap) {
    for (size_t k = 1; k <= gap; ++k) EXPECT_EQ(*(place - k), kUntouched);
  }

  /// Half a second in runs of 0 to 700 samples, a knob moves in the middle. Between ports lie floats that
  /// nobody may touch. `isMoving`: every run has memory of its own, gone before anything else is called.
  Heard Play(bool isMoving, const std::vector<size_t>& gaps) {
    constexpr uint32_t kMost = 700;
    const LV2_Handle instance = descriptor->instantiate(descriptor, 48000.0, "/", nullptr);
    const plugin::WindowModel& model = static_cast<plugin::Lv2Instance*>(instance)->Model();
    std::vector<float> knobs;
    for (size_t i = 0; i < list.WritableCount(); ++i)
      knobs.push_back(plugin::ToPortValue(list.At(i), model.Value(list.IndexAt(i))));

    Heard heard;
    std::vector<RunMemory> gone;
    const size_t largest = *std::max_element(gaps.begin(), gaps.end());
    const size_t room = 4 * (kMost + largest) + (list.Size() + 8) * (1 + largest) + 8;
    size_t gap = gaps.front();
    RunMemory lasting(room);
    Controls controls = ConnectControls(instance, lasting, gap);
    descriptor->activate(instance);
    std::mt19937 random(5);
    for (size_t done = 0, turn = 0; done < kFrames; ++turn) {
      const auto frames = static_cast<uint32_t>(std::min<size_t>(random() % (kMost + 1), kFrames - done));
      RunMemory memory(room);
      if (isMoving) {
        gap = gaps[turn % gaps.size()];
        controls = ConnectControls(instance, memory, gap);
        lasting.Revoke();
      }
      for (size_t i = 0; i < knobs.size(); ++i) *controls.parameters[i] = knobs[i];
      std::array<float*, 4> sound{};
      for (uint32_t c = 0; c < 4; ++c) {
        sound[c] = memory.Take(frames, gap);
        descriptor->connect_port(instance, c, sound[c]);
      }
      std::copy_n(input.data() + done, frames, sound[0]);
      std::copy_n(input.data() + kFrames - done - frames, frames, sound[1]);

      descriptor->run(instance, frames);

      heard.left.insert(heard.left.end(), sound[2], sound[2] + frames);
      heard.right.insert(heard.right.end(), sound[3], sound[3] + frames);
      heard.readOuts.clear();
      for (size_t i = 0; i < list.Size(); ++i) {
        ExpectGapBefore(controls.parameters[i], gap);
        if (i >= knobs.size()) {
          heard.readOuts.push_back(*controls.parameters[i]);
        } else {
          EXPECT_EQ(*controls.parameters[i], knobs[i]) << "a knob was written to";
        }
      }
      for (const float* channel : sound) ExpectGapBefore(channel, gap);
      EXPECT_EQ(*controls.latency, 48.0f);  // told wherever the port is
      EXPECT_TRUE(std::equal(sound[0], sound[0] + frames, input.data() + done)) << "an input was written to";
      done += frames;
      if (done > kFrames / 2) knobs[*list.PositionOf(wet.Index())] = 0.1f;
      if (isMoving) memory.Revoke();
      gone.push_back(std::move(memory));
    }
    // None of these may look at a port.
    descriptor->deactivate(instance);
    descriptor->activate(instance);
    descriptor->deactivate(instance);
    descriptor->cleanup(instance);
    return heard;
  }

  void* library;
  const LV2_Descriptor* descriptor;
  const plugin::HostParameters& list = plugin::HostParameters::Get();
  const plugin::Lv2Ports numbers{plugin::kLv2Variants[0]};
  const host::Parameter& wet = host::ParameterTable::Get().At("Prismel_Wet");
  const std::vector<float> input = Noise(kFrames, 4);
};

TEST(Lv2PortValues, ArePeoplesNumbersAndLeadBackToThePosition) {
  const auto& table = host::ParameterTable::Get();
  for (const auto& [name, text, value] : {std::tuple("CombCutoff", "440 Hz", 440.0f),
                                          {"LPFCutoff", "9 kHz", 9000.0f},
                                          {"LFO_RateUnSynced", "0.3 Hz", 0.3f},
                                          {"BitCrusherDownsample", "12", 12.0f}}) {
    EXPECT_EQ(plugin::ToPortValue(table.At(name), table.At(name).Parse(text)), value) << name;
  }
  std::mt19937 random(7);
  const plugin::HostParameters& list = plugin::HostParameters::Get();
  for (size_t i = 0; i < list.WritableCount(); ++i) {
    const host::Parameter& parameter = list.At(i);
    const auto [low, high] =
        std::minmax({plugin::ToPortValue(parameter, 0.0f), plugin::ToPortValue(parameter, 1.0f)});
    for (int k = 0; k <= 1000; ++k) {
      const float position = k < 2 ? static_cast<float>(k) : static_cast<float>(random()) / 4294967295.0f;
      const float value = plugin::ToPortValue(parameter, position);
      EXPECT_TRUE(plugin::SaysPortValue(parameter, position, value)) << parameter.UniqueName() << position;
      EXPECT_TRUE(value >= low && value <= high) << parameter.UniqueName() << value;
      if (k > 1 && !parameter.IsStepped() && position < 0.9f) {
        EXPECT_FALSE(plugin::SaysPortValue(parameter, position + 0.05f, value)) << parameter.UniqueName();
      }
    }
  }
}

TEST_F(Lv2Ports, AreTouchedInsideOfRunsOnlyAndWhereTheyAreThen) {
  const Heard still = Play(false, {0});
  EXPECT_GT(*std::max_element(still.left.begin(), still.left.end()), 0.1f);
  EXPECT_TRUE(Play(true, {0}) == still);        // all knobs in one array
  EXPECT_TRUE(Play(true, {3}) == still);        // each for itself
  EXPECT_TRUE(Play(true, {0, 3, 3}) == still);  // now so, now so
}

}  // namespace
}  // namespace Vantora::test
