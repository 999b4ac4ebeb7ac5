#include "plugin/window/WaveView.h"

#include <algorithm>
#include <cmath>

#include "plugin/window/Effects.h"
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

uint32_t WaveView::Shape() const { return StepOf(desk.Model(), shape.Index()); }

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
  if (live.lfoPhase < lastPhase - 0.5f) cycle = (cycle + 1) % kTraceCycles;
  lastPhase = live.lfoPhase;
  const float place = (static_cast<float>(cycle) + lastPhase) / static_cast<float>(kTraceCycles);
  const size_t bin = std::min(static_cast<size_t>(place * static_cast<float>(kBins)), kBins - 1);
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
  const bool isRandom = Shape() >= kFirstRandom;
  // A line a quarter of a cycle; of the random shapes a line a cycle.
  for (int i = 1; i < (isRandom ? 8 : 4); ++i) {
    const float x = field.x + field.w * static_cast<float>(i) / (isRandom ? 8.0f : 4.0f);
    const bool isCycle = isRandom || i == 2;
    canvas.Line({x, bounds.y + 6.0f}, {x, bounds.Bottom() - 6.0f}, 1.0f, kLine.Alpha(isCycle ? 0.7f : 0.35f));
  }
  if (isRandom) {
    DrawTrace(canvas, field);
  } else {
    DrawShape(canvas, field);
  }
  const LiveView& live = desk.Live();
  if (live.isAtRest) return;
  float time = (static_cast<float>(cycle) + live.lfoPhase) / static_cast<float>(kTraceCycles);
  if (!isRandom) {
    // The processor tells the phase with the start phase in it; the picture begins at the start phase.
    float at = live.lfoPhase - phase.ToValue(desk.Model().Value(phase.Index())) / 360.0f;
    at -= std::floor(at);
    const float first = 0.02f * swing.ToValue(desk.Model().Value(swing.Index()));
    time = 0.5f * (cycle % 2 == 0 ? at * first : first + at * (2.0f - first));
  }
  canvas.Disc({field.x + field.w * time, middle - 0.5f * field.h * std::clamp(live.lfoValue, -1.0f, 1.0f)},
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
  return "LFO\nTwo cycles as set, or what came in the last eight of a random shape; the dot is now. Drag "
         "sideways to "
         "move where a cycle starts.";
}

}  // namespace Vantora::plugin
