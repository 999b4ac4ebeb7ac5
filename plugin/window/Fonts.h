#pragma once

struct NVGcontext;

namespace Vantora::plugin {

/// Handles of the face's two weights in a drawing context.
struct FontSet {
  int regular = -1, strong = -1;
};

/// Height of a line per em: what the drawing library calls a font's size is its line height.
inline constexpr float kFontHeightPerEm = 1.2102f;

/// Puts the two fonts, which are linked into this library, into `context`. Copies nothing; both are -1 when
/// the context refuses them.
FontSet LoadFonts(NVGcontext* context);

}  // namespace Vantora::plugin
