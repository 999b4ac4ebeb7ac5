#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plugin/window/Knob.h"

namespace Vantora::plugin {

/// AdvancedView: what is rarely wanted, for the chosen effect and for the LFO. Of knobs that both sides
/// have, left and right are moved together, or one alone.
class AdvancedView {
 public:
  explicit AdvancedView(Desk& desk);

  /// Lays the controls out in `place`, for the effect that is chosen now, and shows only them.
  void Arrange(Rect place, bool isOpen);
  /// Heading and notes; the controls draw themselves.
  void Draw(Canvas& canvas) const;

  const std::vector<std::unique_ptr<Widget>>& Controls() const { return controls; }

 private:
  /// Which sides a knob moves.
  enum class Side { kBoth, kLeft, kRight };
  struct Entry {
    uint32_t effect;  ///< by "FXType"; kLfo for the LFO's
    uint32_t left, right;
    Knob* knob;
  };
  static constexpr uint32_t kLfo = 6;

  void Add(uint32_t effect, const char* parameter, const char* name, bool hasSides, bool isBipolar = false);
  void TakeSide(Side side);

  Desk& desk;
  Rect place;
  Side side = Side::kBoth;
  std::vector<std::unique_ptr<Widget>> controls;
  std::vector<Widget*> sideButtons;
  std::vector<Entry> entries;
  uint32_t effect = 0;
  size_t effectCount = 0;  // of the chosen effect's knobs
  float lfoY = 0.0f;
};

}  // namespace Vantora::plugin
