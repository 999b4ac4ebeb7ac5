#include "plugin/window/ChordGrid.h"

#include <fmt/format.h>

#include "dsp/stage/SpreadTables.h"
#include "plugin/window/Effects.h"

namespace Vantora::plugin {

using namespace theme;

namespace {

constexpr float kRowHeight = 27.0f, kTop = 38.0f;

}  // namespace

ChordGrid::ChordGrid(Desk& theDesk) : Widget(theDesk), parameters{Named("HarmonizerChord").Index()} {}

void ChordGrid::PlaceAt(Point corner) {
  bounds = {corner.x, corner.y, 470.0f, kTop + kRowHeight * static_cast<float>(dsp::kChords.size()) + 8.0f};
}

Rect ChordGrid::RowOf(int chord) const {
  return {bounds.x + 8.0f, bounds.y + kTop + kRowHeight * static_cast<float>(chord), bounds.w - 16.0f,
          kRowHeight};
}

int ChordGrid::RowAt(Point at) const {
  for (int i = 0; i < static_cast<int>(dsp::kChords.size()); ++i) {
    if (RowOf(i).Contains(at)) return i;
  }
  return -1;
}

void ChordGrid::Draw(Canvas& canvas) {
  canvas.Box(bounds, kRadius, kPopup);
  canvas.Frame(bounds, kRadius, kLine);
  const host::Parameter& chords = host::ParameterTable::Get()[parameters.front()];
  const int chosen = static_cast<int>(StepOf(desk.Model(), parameters.front()));
  const auto voices = VoicesAsked(desk.Model());
  const auto xOf = [&](uint32_t v) { return bounds.x + 138.0f + 41.0f * static_cast<float>(v); };
  canvas.Text({bounds.x + 18.0f, bounds.y + 20.0f}, "Semitones by voice", {kSmall, kDim});
  for (uint32_t v = 0; v < 8; ++v) {
    canvas.Text({xOf(v), bounds.y + 20.0f}, fmt::format("{}", v + 1),
                {kSmall, v < voices ? kVoices[v] : kTick, Align::kCentre, true});
  }
  for (int i = 0; i < static_cast<int>(dsp::kChords.size()); ++i) {
    const Rect row = RowOf(i);
    if (i == chosen || i == hovered) canvas.Box(row, kSmallRadius, i == chosen ? kLine : kRaised);
    canvas.Text({row.x + 10.0f, row.Centre().y}, chords.Labels()[static_cast<size_t>(i)],
                {kValue, i == chosen ? kText : kDim, Align::kLeft, i == chosen});
    for (uint32_t v = 0; v < 8; ++v) {
      const int semitones = dsp::kChords[static_cast<size_t>(i)][v];
      const bool isOn = v < voices;
      const Rect cell{xOf(v) - 17.0f, row.y + 3.0f, 34.0f, row.h - 6.0f};
      // The higher, the fuller: the row's shape is seen before it is read.
      const float height = static_cast<float>(semitones + 24) / 48.0f;
      canvas.Box(cell, 4.0f, kVoices[v].Alpha(isOn ? 0.08f + 0.30f * height : 0.04f));
      canvas.Text(cell.Centre(), semitones > 0 ? fmt::format("+{}", semitones) : fmt::format("{}", semitones),
                  {kSmall, isOn ? kText : kTick, Align::kCentre});
    }
  }
}

bool ChordGrid::Press(const Pointer& pointer) {
  if (const int row = RowAt(pointer.at); row >= 0) {
    SetAll(desk, parameters, static_cast<float>(row) / static_cast<float>(dsp::kChords.size() - 1));
    desk.ClosePopup();
  }
  return true;
}

void ChordGrid::Hover(const Pointer& pointer) { hovered = RowAt(pointer.at); }

bool ChordGrid::Strike(const Stroke& stroke) {
  switch (stroke.key) {
    case Key::kUp:
      Nudge(desk, parameters, -1.0f, false);
      return true;
    case Key::kDown:
      Nudge(desk, parameters, 1.0f, false);
      return true;
    case Key::kEnter:
    case Key::kSpace:
      desk.ClosePopup();
      return true;
    default:
      return false;
  }
}

}  // namespace Vantora::plugin
