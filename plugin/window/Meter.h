#pragma once

#include <functional>
#include <string>

#include "plugin/window/Widget.h"

namespace Vantora::plugin {

/// Meter: a level as a bar from -60 to 6 dBFS, green, amber from -6, red from 0; a line stays at the highest
/// for two seconds, and so does its number below.
class Meter : public Widget {
 public:
  Meter(Desk& desk, std::string name, std::string tip, std::function<float()> levelDb);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer&) override;
  std::string Tip(Point) const override { return tip; }
  uint64_t Picture() const override;
  /// Lets the held level go when its time is over. `now` in seconds.
  void Tick(double now);

 private:
  static constexpr float kLow = -60.0f, kHigh = 6.0f;
  float PlaceOf(float db) const;

  std::string name, tip;
  std::function<float()> level;
  float held = -80.0f;  // dB
  double heldAt = 0.0;  // s
  bool wasHot = false;  // went above 0 dBFS since the last click
};

}  // namespace Vantora::plugin
