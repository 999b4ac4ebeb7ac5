#pragma once

#include <string_view>
#include <vector>

#include "host/Preset.h"

namespace Vantora::plugin {

/// The factory presets, compiled in from presets/, in the order of their file names. The first call reads
/// them. [any thread but the audio thread; allocates]
const std::vector<host::Preset>& FactoryPresets();

/// The text of each, as in its file. Generated: see plugin/core/CMakeLists.txt.
struct FactoryText {
  std::string_view file;  ///< "glass-choir"
  std::string_view json;
};
const std::vector<FactoryText>& FactoryTexts();

}  // namespace Vantora::plugin
