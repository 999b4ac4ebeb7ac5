#include "plugin/window/WaveView.h"

#include <algorithm>
#include <cmath>

#include "plugin/window/Pictures.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr uint32_t kFirstRandom = 4;
constexpr size_t kPoints = 161;

}  // namespace

WaveView::WaveView(Desk& theDesk)
    : Widget(theDesk),
      shape(Named("LFOShapeType")),
      phase(Named("LFO_PhaseInit")),
      swing(Named("LFO_Swing")),
      depth(Named("LFO_Amp")) {}

uint32_t WaveView::Shape() const {
  return static_cast<uint32_t>(std::lround(shape.ToValue(desk.Model().Value(shape.Index()))));
}

/// The set shape at 0 to 2 cycles, of which the first takes the swing's share of the time.
float WaveView::Value(float cycles) const {
  const float first = 0.02f * swing.ToValue(desk.Model().Value(swing.Index()));  // of two, 1 to 1.5
  const float even = cycles < first ? cycles / first : 1.0f + (cycles - first) / (2.0f - first);
  const float start = phase.ToValue(desk.Model().Value(phase.Index())) / 360.0f;
  return ShapeValue(Shape(), even + start) * desk.Model().Value(depth.Index());
}

void WaveView::Tick() {
  const LiveView& live = desk.Live();
  if (live.lfoPhase == lastPhase) return;
  if (live.lfoPhase < lastPhase - 0.5f) isSecondCycle = !isSecondCycle;
  lastPhase = live.lfoPhase;
  const auto bin = std::min(
      static_cast<size_t>((lastPhase + (isSecondCycle ? 1.0f : 0.0f)) * 0.5f * static_cast<float>(kBins)),
      kBins - 1);
  // A fast LFO leaves bins out between two frames: they get the value, too.
  for (size_t guard = 0; writeBin != bin && guard < kBins; ++guard) {
    writeBin = (writeBin + 1) % kBins;
    trace[writeBin] = live.lfoValue;
  }
  trace[bin] = live.lfoValue;
}

void WaveView::DrawShape(Canvas& canvas, Rect field) {
  std::array<Point, kPoints> points;
  for (size_t i = 0; i < kPoints; ++i) {
    const float x = static_cast<float>(i) / static_cast<float>(kPoints - 1);
    // Just inside the ends, so that a jump there isn't drawn as a line.
    points[i] = {field.x + x * field.w,
                 field.Centre().y - 0.5f * field.h * Value(std::min(2.0f * x, 1.9999f))};
  }
  canvas.Polyline(points, 2.0f, kAccent);
}

void WaveView::DrawTrace(Canvas& canvas, Rect field) {
  std::array<Point, kBins> points;
  for (size_t i = 0; i < kBins; ++i) {
    points[i] = {field.x + field.w * static_cast<float>(i) / static_cast<float>(kBins - 1),
                 field.Centre().y - 0.5f * field.h * std::clamp(trace[i], -1.0f, 1.0f)};
  }
  const std::span<const Point> all(points);
  canvas.Polyline(all.first(writeBin + 1), 2.0f, kAccent);
  if (writeBin + 2 < kBins) canvas.Polyline(all.subspan(writeBin + 2), 2.0f, kAccent.Alpha(0.35f));
}

void WaveView::Draw(Canvas& canvas) {
  canvas.Box(bounds, kSmallRadius, kWell);
  const Rect field = bounds.Inset(10.0f, 12.0f);
  const float middle = field.Centre().y;
  canvas.Line({field.x, middle}, {field.Right(), middle}, 1.0f, kLine.Alpha(0.8f));
  for (const float part : {0.25f, 0.5f, 0.75f}) {
    const float x = field.x + part * field.w;
    canvas.Line({x, bounds.y + 6.0f}, {x, bounds.Bottom() - 6.0f}, 1.0f,
                kLine.Alpha(part == 0.5f ? 0.8f : 0.35f));
  }
  const bool isRandom = Shape() >= kFirstRandom;
  if (isRandom) {
    DrawTrace(canvas, field);
  } else {
    DrawShape(canvas, field);
  }
  const LiveView& live = desk.Live();
  // The processor tells the phase with the start phase in it; the picture begins at the start phase.
  const float start = isRandom ? 0.0f : phase.ToValue(desk.Model().Value(phase.Index())) / 360.0f;
  float at = live.lfoPhase - start;
  at -= std::floor(at);
  const float cycles = at + (isSecondCycle ? 1.0f : 0.0f);
  const float first = isRandom ? 1.0f : 0.02f * swing.ToValue(desk.Model().Value(swing.Index()));
  const float time = cycles < 1.0f ? cycles * first : first + (cycles - 1.0f) * (2.0f - first);
  canvas.Disc(
      {field.x + 0.5f * field.w * time, middle - 0.5f * field.h * std::clamp(live.lfoValue, -1.0f, 1.0f)},
      5.0f, kText);
}

bool WaveView::Press(const Pointer& pointer) {
  if (pointer.clicks == 2) {
    Release(pointer);
    Reset(desk, {phase.Index()});
    return true;
  }
  isDragging = true;
  lastX = pointer.at.x;
  dragPosition = desk.Model().Value(phase.Index());
  desk.Model().BeginGesture(phase.Index());
  return true;
}

void WaveView::Drag(const Pointer& pointer) {
  if (!isDragging) return;
  // To the left is later in the shape: the picture follows the hand. Half the width is one cycle.
  dragPosition -= (pointer.at.x - lastX) / (0.5f * bounds.w) * (pointer.isShift ? 0.1f : 1.0f);
  dragPosition = std::clamp(dragPosition, 0.0f, 1.0f);
  lastX = pointer.at.x;
  desk.Model().SetValue(phase.Index(), dragPosition);
}

void WaveView::Release(const Pointer&) {
  if (!isDragging) return;
  isDragging = false;
  desk.Model().EndGesture(phase.Index());
}

bool WaveView::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, {phase.Index()}, pointer.at,
                    {bounds.Centre().x - 45.0f, bounds.Centre().y - 12.0f, 90.0f, 24.0f});
  return true;
}

std::string WaveView::Tip(Point) const {
  return "LFO\nTwo cycles as set; the dot is now. Drag sideways to move where a cycle starts.";
}

}  // namespace Vantora::plugin
