#include "plugin/window/Pictures.h"

#include <array>
#include <cmath>

namespace Vantora::plugin {
namespace {

using theme::kPi;

constexpr float kWidth = 1.75f;

/// Points of `function` (0 to 1 onto -1 to 1) across `place`.
template <size_t kCount, typename Function>
std::array<Point, kCount> Curve(Rect place, Function&& function) {
  std::array<Point, kCount> points;
  for (size_t i = 0; i < kCount; ++i) {
    const float x = static_cast<float>(i) / static_cast<float>(kCount - 1);
    points[i] = {place.x + x * place.w, place.y + 0.5f * place.h * (1.0f - function(x))};
  }
  return points;
}

constexpr std::array<float, 9> kRandom = {0.1f, 0.75f, -0.4f, 0.3f, -0.9f, 0.55f, -0.15f, 0.95f, -0.6f};

}  // namespace

float ShapeValue(uint32_t shape, float phase) {
  phase -= std::floor(phase);
  switch (shape) {
    case 0:
      return std::sin(2.0f * kPi * phase);
    case 1:
      return phase < 0.25f ? 4.0f * phase : phase < 0.75f ? 2.0f - 4.0f * phase : 4.0f * phase - 4.0f;
    case 2:
      return 1.0f - 2.0f * phase;
    case 3:
      return phase < 0.5f ? 1.0f : -1.0f;
    case 4:
      return kRandom[static_cast<size_t>(phase * 8.0f)];
    default: {
      const float at = phase * 8.0f;
      const auto step = static_cast<size_t>(at);
      const float part = 0.5f - 0.5f * std::cos(kPi * (at - static_cast<float>(step)));
      return kRandom[step] + part * (kRandom[(step + 1) % 8] - kRandom[step]);
    }
  }
}

void DrawEffectPicture(Canvas& canvas, Rect place, uint32_t effect, theme::Colour colour) {
  const float left = place.x, middle = place.Centre().y, bottom = place.Bottom();
  switch (effect) {
    case 0:
      canvas.Line({left, middle}, {place.Right(), middle}, kWidth + 0.5f, colour);
      break;
    case 1: {
      const auto bell = Curve<21>(place, [](float x) {
        const float d = (x - 0.5f) * 6.5f;
        return 2.0f / (1.0f + d * d) - 1.0f;
      });
      canvas.Polyline(bell, kWidth, colour);
      break;
    }
    case 2:
      for (int i = 0; i < 5; ++i) {
        const float x = left + 1.0f + static_cast<float>(i) * (place.w - 2.0f) / 4.0f;
        canvas.Line({x, place.y + 2.6f * static_cast<float>(i)}, {x, bottom}, kWidth + 0.25f, colour);
      }
      break;
    case 3: {
      const float w = place.w / 6.0f, h = place.h / 4.0f;
      canvas.Polyline({{left, bottom},
                       {left + w, bottom},
                       {left + w, bottom - 2.0f * h},
                       {left + 2.0f * w, bottom - 2.0f * h},
                       {left + 2.0f * w, place.y},
                       {left + 4.0f * w, place.y},
                       {left + 4.0f * w, bottom - 3.0f * h},
                       {left + 5.0f * w, bottom - 3.0f * h},
                       {left + 5.0f * w, bottom - h},
                       {place.Right(), bottom - h}},
                      kWidth, colour);
      break;
    }
    case 4:
      canvas.Polyline(Curve<17>(place, [](float x) { return std::tanh((x - 0.5f) * 5.5f) * 1.02f; }), kWidth,
                      colour);
      break;
    default:
      for (int i = 0; i < 3; ++i) {
        const float x = left + 3.0f + static_cast<float>(i) * (place.w - 6.0f) / 2.0f;
        const float y = bottom - 2.5f - static_cast<float>(i) * (place.h - 5.0f) / 2.0f;
        canvas.Disc({x, y}, 2.6f, colour);
        canvas.Line({x + 2.2f, y}, {x + 2.2f, y - 6.0f + 1.0f * static_cast<float>(i)}, 1.2f, colour);
      }
      canvas.Line({left, bottom + 0.5f}, {place.Right(), bottom + 0.5f}, 1.0f, colour.Alpha(0.6f));
      break;
  }
}

void DrawShapePicture(Canvas& canvas, Rect place, uint32_t shape, theme::Colour colour) {
  if (shape == 3) {
    const float m = place.Centre().x;
    canvas.Polyline({{place.x, place.Bottom()},
                     {place.x, place.y},
                     {m, place.y},
                     {m, place.Bottom()},
                     {place.Right(), place.Bottom()},
                     {place.Right(), place.y}},
                    kWidth, colour);
    return;
  }
  if (shape == 2) {
    const float m = place.Centre().x;
    canvas.Polyline({{place.x, place.y}, {m, place.Bottom()}, {m, place.y}, {place.Right(), place.Bottom()}},
                    kWidth, colour);
    return;
  }
  if (shape == 4) {
    std::array<Point, 12> steps;
    for (size_t i = 0; i < 6; ++i) {
      const float y = place.y + 0.5f * place.h * (1.0f - kRandom[i]);
      steps[2 * i] = {place.x + static_cast<float>(i) * place.w / 6.0f, y};
      steps[2 * i + 1] = {place.x + static_cast<float>(i + 1) * place.w / 6.0f, y};
    }
    canvas.Polyline(steps, kWidth, colour);
    return;
  }
  const float cycles = shape == 5 ? 0.75f : 1.0f;
  canvas.Polyline(Curve<29>(place, [&](float x) { return ShapeValue(shape, x * cycles); }), kWidth, colour);
}

void DrawCurvePicture(Canvas& canvas, Rect place, uint32_t algorithm, theme::Colour colour, float width) {
  const auto curve = Curve<41>(place, [&](float x) {
    const float in = 2.0f * x - 1.0f;
    switch (algorithm) {
      case 0:  // rounded below, cut flat above
        return in > 0.0f                             ? std::min(1.9f * in, 0.85f)
               : 1.0f - std::exp(-2.2f * in) > -1.0f ? -(1.0f - std::exp(2.2f * in))
                                                     : -1.0f;
      case 1:  // cold bias
        return std::tanh(3.2f * in + 0.5f) * 0.95f - 0.1f;
      case 2:
        return std::sin(1.5f * kPi * in);
      default:
        return std::sin(3.5f * kPi * in) * 0.95f;
    }
  });
  canvas.Polyline(curve, width, colour);
}

void DrawIcon(Canvas& canvas, Point c, Icon icon, theme::Colour colour) {
  const float w = 1.75f;
  const auto at = [&](float x, float y) { return Point{c.x + x, c.y + y}; };
  switch (icon) {
    case Icon::kPrevious:
      canvas.Polyline({at(2.5f, -5), at(-2.5f, 0), at(2.5f, 5)}, w, colour);
      break;
    case Icon::kNext:
      canvas.Polyline({at(-2.5f, -5), at(2.5f, 0), at(-2.5f, 5)}, w, colour);
      break;
    case Icon::kUndo:
    case Icon::kRedo: {
      const float s = icon == Icon::kUndo ? 1.0f : -1.0f;
      if (s > 0.0f) {
        canvas.Arc(at(0, 1), 5.0f, -0.75f * kPi, 0.5f * kPi, w, colour);
      } else {
        canvas.Arc(at(0, 1), 5.0f, 0.5f * kPi, 1.75f * kPi, w, colour);
      }
      canvas.Polyline({at(-4.0f * s, -6.5f), at(-4.0f * s, -2.3f), at(0.2f * s, -2.3f)}, w, colour);
      break;
    }
    case Icon::kCopy:
      canvas.Frame({c.x - 6, c.y - 3.5f, 8.5f, 10}, 1.5f, colour, 1.5f);
      canvas.Polyline({at(-2.5f, -6.2f), at(5.2f, -6.2f), at(5.2f, 3.5f)}, 1.5f, colour);
      break;
    case Icon::kPaste:
      canvas.Frame({c.x - 5.5f, c.y - 5.0f, 11, 11.5f}, 1.5f, colour, 1.5f);
      canvas.Line(at(-2.2f, -5.5f), at(2.2f, -5.5f), 3.0f, colour);
      canvas.Line(at(-2.5f, 0), at(2.5f, 0), 1.3f, colour);
      canvas.Line(at(-2.5f, 3), at(2.5f, 3), 1.3f, colour);
      break;
    case Icon::kSave:
      canvas.Polyline({at(0, -6), at(0, 2)}, w, colour);
      canvas.Polyline({at(-3.5f, -1.5f), at(0, 2.3f), at(3.5f, -1.5f)}, w, colour);
      canvas.Polyline({at(-6, 2.5f), at(-6, 6), at(6, 6), at(6, 2.5f)}, w, colour);
      break;
    case Icon::kMore:
      for (const float x : {-5.0f, 0.0f, 5.0f}) canvas.Disc(at(x, 0), 1.5f, colour);
      break;
    case Icon::kPower:
      canvas.Arc(at(0, 1), 6.5f, -0.30f * kPi, 1.30f * kPi, 2.0f, colour);
      canvas.Line(at(0, -6.5f), at(0, 0), 2.0f, colour);
      break;
    case Icon::kPanic:
      canvas.Polyline({at(0, -6), at(6.5f, 5.5f), at(-6.5f, 5.5f), at(0, -6)}, 1.5f, colour);
      canvas.Line(at(0, -1.5f), at(0, 1.8f), 1.5f, colour);
      canvas.Disc(at(0, 3.8f), 0.9f, colour);
      break;
    case Icon::kSmaller:
      canvas.Line(at(-4, 0), at(4, 0), w, colour);
      break;
    case Icon::kLarger:
      canvas.Line(at(-4, 0), at(4, 0), w, colour);
      canvas.Line(at(0, -4), at(0, 4), w, colour);
      break;
  }
}

}  // namespace Vantora::plugin
