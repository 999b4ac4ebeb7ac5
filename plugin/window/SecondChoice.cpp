#include "plugin/window/SecondChoice.h"

#include "dsp/stage/SpreadTables.h"
#include "plugin/window/ChordGrid.h"
#include "plugin/window/Effects.h"
#include "plugin/window/Pictures.h"

namespace Vantora::plugin {

using namespace theme;

namespace {

constexpr float kPictureHeight = 54.0f;

}  // namespace

SecondChoice::SecondChoice(Desk& theDesk, const char* parameter, const char* itsName, float itsWidth)
    : Widget(theDesk), parameters{Named(parameter).Index()}, name(itsName), width(itsWidth) {}

void SecondChoice::Draw(Canvas& canvas) {
  const float w = width > 0.0f ? width : bounds.w;
  const Rect field{bounds.Centre().x - 0.5f * w, bounds.y, w, kPictureHeight};
  canvas.Box(field, kSmallRadius, isHovered ? kHover : kWell);
  canvas.Frame(field, kSmallRadius, kLine.Alpha(0.8f));
  DrawPicture(canvas, field, StepOf(desk.Model(), parameters.front()));
  // Name and value as under a knob.
  const float x = bounds.Centre().x, y = bounds.y + kPictureHeight + 10.5f;
  canvas.Text({x, y}, name, {kSmall, kDim, Align::kCentre});
  canvas.TextWithin({x, y + 15.0f}, bounds.w + 4.0f, desk.Model().Text(parameters.front()),
                    {kValue, kText, Align::kCentre});
  if (hasFocus) canvas.Frame(field.Inset(-2.0f, -2.0f), kSmallRadius + 2.0f, kFocus, 1.5f);
}

bool SecondChoice::Press(const Pointer&) {
  OpenParameterMenu(desk, parameters, {bounds.x, bounds.y}, bounds);
  return true;
}

bool SecondChoice::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, parameters, pointer.at, bounds);
  return true;
}

bool SecondChoice::Wheel(const Pointer&, float steps) {
  Nudge(desk, parameters, -steps, false);
  return true;
}

bool SecondChoice::Strike(const Stroke& stroke) {
  if (stroke.key == Key::kEnter || stroke.key == Key::kSpace) return Press({});
  return StrikeParameter(desk, parameters, stroke, bounds);
}

ChordChoice::ChordChoice(Desk& theDesk) : SecondChoice(theDesk, "HarmonizerChord", "Chord", 0.0f) {}

void ChordChoice::DrawPicture(Canvas& canvas, const Rect& field, uint32_t chord) {
  const auto yOf = [&](int semitones) {
    return field.Centre().y - static_cast<float>(semitones) * (field.h - 12.0f) / 48.0f;
  };
  for (int octave = -2; octave <= 2; ++octave) {
    const float y = yOf(12 * octave);
    canvas.Line({field.x + 4.0f, y}, {field.Right() - 4.0f, y}, 1.0f,
                kLine.Alpha(octave == 0 ? 1.0f : 0.45f));
  }
  const uint32_t voices = VoicesAsked(desk.Model());
  for (uint32_t v = 0; v < 8; ++v) {
    const float x = field.x + field.w * (static_cast<float>(v) + 0.5f) / 8.0f;
    canvas.Disc({x, yOf(dsp::kChords[chord][v])}, 3.25f, kVoices[v].Alpha(v < voices ? 1.0f : 0.25f));
  }
}

bool ChordChoice::Press(const Pointer&) {
  auto grid = std::make_unique<ChordGrid>(desk);
  grid->PlaceAt({bounds.Right() + 8.0f, 64.0f});
  desk.OpenPopup(std::move(grid));
  return true;
}

std::string ChordChoice::Tip(Point at) const { return SecondChoice::Tip(at) + " Click for all of them."; }

KindChoice::KindChoice(Desk& theDesk) : SecondChoice(theDesk, "DistortionAlgorithm", "Kind", 64.0f) {}

void KindChoice::DrawPicture(Canvas& canvas, const Rect& field, uint32_t algorithm) {
  const Point middle = field.Centre();
  canvas.Line({field.x + 4.0f, middle.y}, {field.Right() - 4.0f, middle.y}, 1.0f, kLine.Alpha(0.7f));
  canvas.Line({middle.x, field.y + 4.0f}, {middle.x, field.Bottom() - 4.0f}, 1.0f, kLine.Alpha(0.7f));
  DrawCurvePicture(canvas, field.Inset(7.0f, 7.0f), algorithm, kAccent, 2.0f);
}

}  // namespace Vantora::plugin
