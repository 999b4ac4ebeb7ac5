#pragma once

#include "plugin/window/Canvas.h"

/// Small drawings that stand for a thing: effects, waveforms, distortions. Each fills `place`.
namespace Vantora::plugin {

/// By "FXType": off, band-pass, comb, crusher, distortion, harmonizer.
void DrawEffectPicture(Canvas& canvas, Rect place, uint32_t effect, theme::Colour colour);
/// By "LFOShapeType": sine, triangle, falling saw, square, sample and hold, smooth random.
void DrawShapePicture(Canvas& canvas, Rect place, uint32_t shape, theme::Colour colour);
/// Output over input of "DistortionAlgorithm": soft clip, tube, sine fold, wavefolder.
void DrawCurvePicture(Canvas& canvas, Rect place, uint32_t algorithm, theme::Colour colour,
                      float width = 1.75f);

/// Value -1 to 1 of a periodic shape at `phase` 0 to 1; for the two random ones a still example of eight
/// steps.
float ShapeValue(uint32_t shape, float phase);

enum class Icon {
  kPrevious,
  kNext,
  kUndo,
  kRedo,
  kCopy,
  kPaste,
  kSave,
  kMore,
  kPower,
  kPanic,
  kSmaller,
  kLarger
};
/// An icon about `centre`, some 16 units large.
void DrawIcon(Canvas& canvas, Point centre, Icon icon, theme::Colour colour);

}  // namespace Vantora::plugin
