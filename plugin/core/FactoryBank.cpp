#include "plugin/core/FactoryBank.h"

namespace Vantora::plugin {

const std::vector<host::Preset>& FactoryPresets() {
  static const std::vector<host::Preset> presets = [] {
    std::vector<host::Preset> parsed;
    for (const FactoryText& text : FactoryTexts())
      parsed.push_back(host::Preset::Parse(text.json, text.file));
    return parsed;
  }();
  return presets;
}

}  // namespace Vantora::plugin
