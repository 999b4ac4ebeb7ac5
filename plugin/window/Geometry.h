#pragma once

namespace Vantora::plugin {

/// A place on the face, in its own units: pixels at 1x.
struct Point {
  float x = 0.0f, y = 0.0f;
};

/// A rectangle on the face, in the same units.
struct Rect {
  float x = 0.0f, y = 0.0f, w = 0.0f, h = 0.0f;

  float Right() const { return x + w; }
  float Bottom() const { return y + h; }
  Point Centre() const { return {x + 0.5f * w, y + 0.5f * h}; }
  bool Contains(Point p) const { return p.x >= x && p.x < x + w && p.y >= y && p.y < y + h; }
  /// Smaller by `dx` left and right and `dy` above and below.
  Rect Inset(float dx, float dy) const { return {x + dx, y + dy, w - 2.0f * dx, h - 2.0f * dy}; }
  /// The `index`th of `count` columns with `gap` between them.
  Rect Column(int index, int count, float gap) const {
    const float width = (w - gap * static_cast<float>(count - 1)) / static_cast<float>(count);
    return {x + static_cast<float>(index) * (width + gap), y, width, h};
  }
  /// The `index`th of `count` rows with `gap` between them.
  Rect Row(int index, int count, float gap) const {
    const float height = (h - gap * static_cast<float>(count - 1)) / static_cast<float>(count);
    return {x, y + static_cast<float>(index) * (height + gap), w, height};
  }
};

}  // namespace Vantora::plugin
