#include "plugin/window/SecondChoice.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "dsp/stage/SpreadTables.h"
#include "plugin/window/Effects.h"
#include "plugin/window/Pictures.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kPictureHeight = 54.0f;
constexpr float kRowHeight = 27.0f;

int StepAt(const WindowModel& model, uint32_t index) {
  const host::Parameter& parameter = host::ParameterTable::Get()[index];
  return static_cast<int>(std::lround(parameter.ToValue(model.Value(index))));
}

/// Name and value under a picture, as under a knob.
void DrawBelow(Canvas& canvas, const Rect& bounds, const std::string& name, const std::string& value) {
  const float x = bounds.Centre().x, y = bounds.y + kPictureHeight + 10.5f;
  canvas.Text({x, y}, name, {kSmall, kDim, Align::kCentre});
  canvas.TextWithin({x, y + 15.0f}, bounds.w + 4.0f, value, {kValue, kText, Align::kCentre});
}

}  // namespace

// ---- ChordChoice

ChordChoice::ChordChoice(Desk& theDesk) : Widget(theDesk), parameters{Named("HarmonizerChord").Index()} {}

void ChordChoice::Draw(Canvas& canvas) {
  const Rect field{bounds.x, bounds.y, bounds.w, kPictureHeight};
  canvas.Box(field, kSmallRadius, isHovered ? kHover : kWell);
  canvas.Frame(field, kSmallRadius, kLine.Alpha(0.8f));
  const auto& chord =
      dsp::kChords[static_cast<size_t>(std::clamp(StepAt(desk.Model(), parameters.front()), 0, 11))];
  const auto yOf = [&](int semitones) {
    return field.Centre().y - static_cast<float>(semitones) * (field.h - 12.0f) / 48.0f;
  };
  for (int octave = -2; octave <= 2; ++octave) {
    const float y = yOf(12 * octave);
    canvas.Line({field.x + 4.0f, y}, {field.Right() - 4.0f, y}, 1.0f,
                kLine.Alpha(octave == 0 ? 1.0f : 0.45f));
  }
  const auto voices = VoicesAsked(desk.Model());
  for (uint32_t v = 0; v < 8; ++v) {
    const float x = field.x + field.w * (static_cast<float>(v) + 0.5f) / 8.0f;
    canvas.Disc({x, yOf(chord[v])}, 3.25f, kVoices[v].Alpha(v < voices ? 1.0f : 0.25f));
  }
  DrawBelow(canvas, bounds, "Chord", desk.Model().Text(parameters.front()));
  if (hasFocus) canvas.Frame(field.Inset(-2.0f, -2.0f), kSmallRadius + 2.0f, kFocus, 1.5f);
}

bool ChordChoice::Press(const Pointer&) {
  auto grid = std::make_unique<ChordGrid>(desk);
  grid->bounds = {bounds.Right() + 8.0f, 64.0f, 470.0f, 12.0f * kRowHeight + 46.0f};
  desk.OpenPopup(std::move(grid));
  return true;
}

bool ChordChoice::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, parameters, pointer.at, bounds);
  return true;
}

bool ChordChoice::Wheel(const Pointer&, float steps) {
  Nudge(desk, parameters, -steps, false);
  return true;
}

bool ChordChoice::Strike(const Stroke& stroke) {
  if (stroke.key == Key::kEnter || stroke.key == Key::kSpace) return Press({});
  return StrikeParameter(desk, parameters, stroke, bounds);
}

std::string ChordChoice::Tip(Point) const {
  return ParameterTip(desk, parameters.front()) + " Click for all of them.";
}

// ---- ChordGrid

ChordGrid::ChordGrid(Desk& theDesk) : Widget(theDesk), parameters{Named("HarmonizerChord").Index()} {}

Rect ChordGrid::RowOf(int chord) const {
  return {bounds.x + 8.0f, bounds.y + 38.0f + kRowHeight * static_cast<float>(chord), bounds.w - 16.0f,
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
  const int chosen = StepAt(desk.Model(), parameters.front());
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
    SetAll(desk, parameters, static_cast<float>(row) / 11.0f);
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

// ---- KindChoice

KindChoice::KindChoice(Desk& theDesk) : Widget(theDesk), parameters{Named("DistortionAlgorithm").Index()} {}

void KindChoice::Draw(Canvas& canvas) {
  const Rect field{bounds.Centre().x - 32.0f, bounds.y, 64.0f, kPictureHeight};
  canvas.Box(field, kSmallRadius, isHovered ? kHover : kWell);
  canvas.Frame(field, kSmallRadius, kLine.Alpha(0.8f));
  const Point middle = field.Centre();
  canvas.Line({field.x + 4.0f, middle.y}, {field.Right() - 4.0f, middle.y}, 1.0f, kLine.Alpha(0.7f));
  canvas.Line({middle.x, field.y + 4.0f}, {middle.x, field.Bottom() - 4.0f}, 1.0f, kLine.Alpha(0.7f));
  DrawCurvePicture(canvas, field.Inset(7.0f, 7.0f),
                   static_cast<uint32_t>(StepAt(desk.Model(), parameters.front())), kAccent, 2.0f);
  DrawBelow(canvas, bounds, "Kind", desk.Model().Text(parameters.front()));
  if (hasFocus) canvas.Frame(field.Inset(-2.0f, -2.0f), kSmallRadius + 2.0f, kFocus, 1.5f);
}

bool KindChoice::Press(const Pointer&) {
  OpenParameterMenu(desk, parameters, {bounds.x, bounds.y}, bounds);
  return true;
}

bool KindChoice::Menu(const Pointer& pointer) { return Press(pointer); }

bool KindChoice::Wheel(const Pointer&, float steps) {
  Nudge(desk, parameters, -steps, false);
  return true;
}

bool KindChoice::Strike(const Stroke& stroke) {
  if (stroke.key == Key::kEnter || stroke.key == Key::kSpace) return Press({});
  return StrikeParameter(desk, parameters, stroke, bounds);
}

}  // namespace Vantora::plugin
