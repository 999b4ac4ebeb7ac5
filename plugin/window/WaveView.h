#pragma once

#include <array>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// WaveView: two cycles of the LFO as set, start phase, swing and depth included, and a dot where it is now.
/// The random shapes have no picture in advance: of them it draws what came in the last eight.
/// Dragging sideways moves the start phase.
class WaveView : public Widget {
 public:
  explicit WaveView(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Drag(const Pointer& pointer) override;
  void Release(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  std::string Tip(Point) const override;

  /// Takes the frame's phase and value into the trace of the random shapes.
  void Tick();

 private:
  static constexpr uint32_t kTraceCycles = 8;
  static constexpr size_t kBins = 20 * kTraceCycles;

  uint32_t Shape() const;
  float Value(float cycles) const;
  void DrawShape(Canvas& canvas, Rect field);
  void DrawTrace(Canvas& canvas, Rect field);

  const host::Parameter &shape, &phase, &swing, &depth;
  std::array<float, kBins> trace{};  // -1 to 1, by phase in the last eight cycles
  float lastPhase = 0.0f;
  size_t writeBin = 0;
  uint32_t cycle = 0;  // that runs, 0 to kTraceCycles - 1
  bool isDragging = false;
  float lastX = 0.0f, dragPosition = 0.0f;
};

}  // namespace Vantora::plugin
