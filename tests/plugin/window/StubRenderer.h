#pragma once

#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

#include <nanovg/nanovg.h>

#include "plugin/window/Fonts.h"

namespace Vantora::plugin {

/// StubRenderer: a drawing context without a display. Everything up to the graphics card is done; what would
/// go there is counted, and looked through for numbers that aren't.
class StubRenderer {
 public:
  StubRenderer() {
    NVGparams parameters{};
    parameters.userPtr = this;
    parameters.edgeAntiAlias = 1;
    parameters.renderCreate = [](void*, void*) { return 1; };
    parameters.renderCreateTexture = [](void* self, int, int w, int h, int, const unsigned char*) {
      auto& made = static_cast<StubRenderer*>(self)->textures;
      const int id = static_cast<int>(made.size()) + 1;
      made[id] = {w, h};
      return id;
    };
    parameters.renderDeleteTexture = [](void*, int) { return 1; };
    parameters.renderUpdateTexture = [](void*, int, int, int, int, int, const unsigned char*) { return 1; };
    parameters.renderGetTextureSize = [](void* self, int image, int* w, int* h) {
      const auto [width, height] = static_cast<StubRenderer*>(self)->textures[image];
      *w = width, *h = height;
      return 1;
    };
    parameters.renderViewport = [](void*, float, float, float) {};
    parameters.renderCancel = [](void*) {};
    parameters.renderFlush = [](void* self) { ++static_cast<StubRenderer*>(self)->frames; };
    parameters.renderFill = [](void* self, NVGpaint*, NVGcompositeOperationState, NVGscissor*, float,
                               const float*, const NVGpath* paths,
                               int count) { static_cast<StubRenderer*>(self)->Take(paths, count); };
    parameters.renderStroke = [](void* self, NVGpaint*, NVGcompositeOperationState, NVGscissor*, float, float,
                                 const NVGpath* paths,
                                 int count) { static_cast<StubRenderer*>(self)->Take(paths, count); };
    parameters.renderTriangles = [](void* self, NVGpaint*, NVGcompositeOperationState, NVGscissor*,
                                    const NVGvertex* corners, int count, float) {
      static_cast<StubRenderer*>(self)->Take(corners, count);
      ++static_cast<StubRenderer*>(self)->calls;
    };
    parameters.renderDelete = [](void*) {};
    context = nvgCreateInternal(&parameters, nullptr);
    fonts = LoadFonts(context);
  }
  ~StubRenderer() { nvgDeleteInternal(context); }
  StubRenderer(const StubRenderer&) = delete;
  StubRenderer& operator=(const StubRenderer&) = delete;

  NVGcontext* context = nullptr;
  FontSet fonts;
  size_t calls = 0, vertices = 0, notFinite = 0, frames = 0;

 private:
  void Take(const NVGvertex* points, int count) {
    for (int i = 0; i < count; ++i) {
      if (!std::isfinite(points[i].x) || !std::isfinite(points[i].y)) ++notFinite;
    }
    vertices += static_cast<size_t>(count);
  }
  void Take(const NVGpath* paths, int count) {
    ++calls;
    for (int i = 0; i < count; ++i) {
      Take(paths[i].fill, paths[i].nfill);
      Take(paths[i].stroke, paths[i].nstroke);
    }
  }

  std::map<int, std::pair<int, int>> textures;
};

}  // namespace Vantora::plugin
