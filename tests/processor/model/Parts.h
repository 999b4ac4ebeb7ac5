#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "basictools/math/WholeQuads.h"
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "engine/ParamRecord.h"

/// The effect's frame, voice engine and switches once more, as plainly as they can be written: one sample
/// after another, every buffer really cleared, no lanes, no lazy anything. A test runs it beside the library.
/// What a voice's effect, the LFO, the meters and a glide do to a block is the business of their own tests:
/// here the product's modules and smoothers do it, each by itself, so that all bits agree.
namespace Vantora::test::model {

using Buffer = std::vector<float>;

/// One parameter with its own dirty flag.
struct Knob {
  explicit Knob(dsp::ParamRecord declaration) : record(std::move(declaration)) {}

  void Turn(float position) {
    dirty = dirty || record.GetNormalized() != position;
    record.SetNormalized(position);
  }
  void Put(float value) {
    dirty = dirty || record.GetValue() != value;
    record.SetValue(value);
  }
  float Position() { return record.GetNormalized(); }
  float Value() { return record.GetValue(); }
  bool IsOn() { return record.GetValue() > 0.5f; }
  /// Position and value with a modulation added; null: none.
  float Position(const float* offset) {
    return offset == nullptr ? Position() : std::fmin(std::fmax(Position() + *offset, 0.0f), 1.0f);
  }
  float Value(const float* offset) { return offset == nullptr ? Value() : record.ToValue(Position(offset)); }

  dsp::ParamRecord record;
  bool dirty = false;
};

inline Knob Plain() { return Knob(dsp::ParamRecord("")); }
inline Knob Steps(uint32_t count, float first = 0.0f) {
  return Knob(dsp::ParamRecord("", count, first, 1.0f));
}
inline Knob Curve(uint32_t kind, float min, float max, float bend = 1.0f) {
  return Knob(dsp::ParamRecord("", kind, false, min, max, bend));
}
inline Knob Line(float min, float max) { return Curve(MappingTools::Linear, min, max); }
inline Knob Exp(float min, float max, float bend) { return Curve(MappingTools::Exponential, min, max, bend); }
inline Knob With(Knob knob, float value) {
  knob.Put(value);
  return knob;
}

using Knobs = std::vector<Knob>;
inline void SetDirty(Knobs& knobs, bool flag) {
  for (Knob& knob : knobs) knob.dirty = flag;
}

/// Constant slope: full scale in `seconds`.
struct Slew {
  explicit Slew(float seconds, float travel = 1.0f) : time(seconds), range(travel) {}
  void Setup(uint32_t decimation, float rate) {
    step = static_cast<float>(double{range} * decimation / (double{time} * double{rate}));
  }
  void SetValue(float value) { current = target = value; }
  bool Moves() const { return current != target; }
  /// Whole groups of four.
  void Render(Buffer& out, uint32_t count) {
    const uint32_t quads = WholeQuads(count);
    const float from = current;
    if (from == target) {
      std::fill_n(out.begin(), quads, target);
      return;
    }
    const float distance = std::fabs(target - from);
    const bool lands = distance < step * static_cast<float>(count);
    for (uint32_t k = 1; k <= quads; ++k) {
      const float travel = static_cast<float>(k) * step;
      out[k - 1] = lands && travel >= distance ? target : (target > from ? from + travel : from - travel);
    }
    current = out[count - 1];  // behind the last whole group: what stood there
  }
  float Tick() {
    const float distance = target - current;
    current = distance > step ? current + step : (distance > -step ? target : current - step);
    return current;
  }
  float time, range, step = 0.0f, current = 0.0f, target = 0.0f;
};

/// A ring that is wiped when it is cleared.
struct Ring {
  void Resize(uint32_t size) {
    data.assign(size, 0.0f);
    at = 0;
  }
  void Clear() { Resize(static_cast<uint32_t>(data.size())); }
  float Back(int64_t delay) const {
    const auto n = static_cast<int64_t>(data.size());
    return data[static_cast<std::size_t>((((static_cast<int64_t>(at) - delay) % n) + n) % n)];
  }
  void Push(float value) {
    data[at] = value;
    at = (at + 1) % data.size();
  }
  /// Four points about the gap between `delay` and the sample before it.
  float Between(int32_t delay, float f) const {
    const float p = Back(delay - 1), x0 = Back(delay), x1 = Back(delay + 1), x2 = Back(delay + 2);
    const float a = x1 - x0, b = x2 - p, c = (x1 - p) * 0.5f, e = (x1 + p) * 0.5f - x0;
    const float g = a * 4.5f - b * 1.5f, h = b * 2.5f - a * 7.5f, k = a * 3.0f + p - x2;
    return ((((k * f + h) * f + g) * f + e) * f + c) * f + x0;
  }
  float Linear(float place) const {
    const auto whole = static_cast<int32_t>(place);
    return Back(whole) + (Back(whole + 1) - Back(whole)) * (place - static_cast<float>(whole));
  }
  Buffer data;
  std::size_t at = 0;
};

inline float Gain(float dB) { return std::exp2(dB * 0.1660964f); }

}  // namespace Vantora::test::model
