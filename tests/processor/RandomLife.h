#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

namespace Vantora::test {

/// Chance: repeatable draws, cheap enough to be made for every sample of a million blocks.
class Chance {
 public:
  explicit Chance(uint64_t seed) : state(seed * 0x9E3779B97F4A7C15u + 0x1234567u) {}
  uint32_t Below(uint32_t end) { return static_cast<uint32_t>((Next() >> 33) % end); }
  float Position() { return static_cast<float>(Below(1u << 20)) / static_cast<float>((1u << 20) - 1u); }
  bool Once(uint32_t in) { return Below(in) == 0; }

 private:
  uint64_t Next() {
    state ^= state >> 12;
    state ^= state << 25;
    state ^= state >> 27;
    return state * 2685821657736338717u;
  }
  uint64_t state;
};

/// A knob's position: often an end or the middle, where the special cases live.
inline float Knob(Chance& chance) {
  switch (chance.Below(8)) {
    case 0:
      return 0.0f;
    case 1:
      return 1.0f;
    case 2:
      return 0.5f;
    default:
      return chance.Position();
  }
}

/// What comes in: from silence to nonsense.
enum class Signal : uint32_t { kNoise, kTone, kSilence, kClicks, kLoud, kTiny, kNonsense, kCount };

/// Writes `count` samples of `signal`; `phase`, in radians, goes on from call to call.
inline void Fill(Signal signal, Chance& chance, std::vector<float>& data, uint32_t count, double& phase) {
  // No NaN and no infinity: a NaN's sign is the compiler's choice of operands, and a distortion makes it
  // audible.
  const double step =
      0.001 + 0.1 * static_cast<double>(chance.Position()) * static_cast<double>(chance.Position());
  for (uint32_t i = 0; i < count; ++i) {
    const float noise = 2.0f * chance.Position() - 1.0f;
    phase += step;
    switch (signal) {
      case Signal::kNoise:
        data[i] = 0.5f * noise;
        break;
      case Signal::kTone:
        data[i] = 0.7f * static_cast<float>(std::sin(phase));
        break;
      case Signal::kClicks:
        data[i] = chance.Once(200) ? noise : 0.0f;
        break;
      case Signal::kLoud:
        data[i] = 50.0f * noise;
        break;
      case Signal::kTiny:
        data[i] = 1e-37f * noise;
        break;
      case Signal::kNonsense:
        data[i] = chance.Once(500) ? 1e20f * noise : noise;
        break;
      default:
        data[i] = 0.0f;
        break;
    }
  }
}

}  // namespace Vantora::test
