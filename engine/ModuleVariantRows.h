#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs that `ModuleVariant` adds behind those of its alternatives.
namespace Vantora::engine::ModuleVariantKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions in the own list.
  enum OwnParam : uint32_t {
    kModuleType,
    kBypass,
    kCopyOnBypass,
    kCrossfadeOnBypass,
    kFadeOnModuleChange,
    kOwnParamCount
  };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

/// For a choice of `alternatives`.
constexpr std::array<Row, Indices::kOwnParamCount> OwnRows(uint32_t alternatives) {
  constexpr const char* kHelp = "of the clones";
  return {{
      {"ModuleType", Steps(alternatives), {}, kNone, kInternal, "", "Module", "what runs"},
      {"Bypass", Switch(), {}, kNone, kInternal, "", "Bypass", kHelp, kOffOn},
      {"CopyOnBypass", Switch(), {}, kNone, kInternal, "", "Bypass copies", kHelp, kOffOn},
      {"CrossfadeOnBypass", Switch(), {}, kNone, kInternal, "", "Bypass fades", kHelp, kOffOn},
      {"FadeOnModuleChange", Switch(), {}, kNone, kInternal, "", "Change fades", kHelp, kOffOn},
  }};
}

}  // namespace Vantora::engine::ModuleVariantKnobs
