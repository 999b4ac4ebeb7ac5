// What users write for the host side: presets, automation, tempo maps and single values. Whatever the bytes
// are, they are read or refused with a `HostError`; what was read makes sense.

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>

#include "host/HostError.h"
#include "host/Preset.h"
#include "host/files/AutomationFile.h"
#include "host/files/TempoMapFile.h"
#include "tests/fuzz/Pieces.h"

using namespace Vantora;
using namespace Vantora::host;

namespace {

using fuzz::Require;

void TryPreset(const std::string& text) {
  const Preset preset = Preset::Parse(text, "fuzz.json");
  for (const auto& [index, value] : preset.values) {
    Require(ParameterTable::Get()[index].IsInPresets() && value >= 0.0f && value <= 1.0f);
  }
  const Preset again = Preset::Parse(preset.ToJson(), "again.json");
  for (const PresetDifference& difference : Compare(preset, again)) {
    Require(std::abs(difference.first - difference.second) < 1e-5f);
  }
}

void TryAutomation(const std::string& text) {
  std::istringstream stream(text);
  const Automation automation = ReadAutomation(stream, "fuzz.csv");
  for (const auto& track : automation.Tracks()) {
    double last = 0.0;
    for (const auto& point : track.points) {
      Require(point.time >= last && point.normalized >= 0.0f && point.normalized <= 1.0f);
      last = point.time;
    }
  }
}

void TryTempoMap(const std::string& text) {
  std::istringstream stream(text);
  const TempoMap map = ReadTempoMap(stream, "fuzz.csv");
  Require(map.BeatsAt(1.0) > map.BeatsAt(0.5) && map.BpmAt(3.0) >= TempoMap::kLowest);
}

void TryValue(const std::string& text) {
  const size_t split = text.find('=');
  if (split == std::string::npos) return;
  const Parameter& parameter = ParameterTable::Get().At(text.substr(0, split));
  const float position = parameter.Parse(text.substr(split + 1));
  Require(position >= 0.0f && position <= 1.0f);
  if (parameter.IsOffered() && !parameter.IsStepped()) {
    Require(std::abs(parameter.Parse(parameter.ExactText(position)) - position) < 1e-5f);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    switch (data[0] % 4) {
      case 0:
        TryPreset(text);
        break;
      case 1:
        TryAutomation(text);
        break;
      case 2:
        TryTempoMap(text);
        break;
      default:
        TryValue(text);
        break;
    }
  } catch (const HostError&) {
    // refused with a sentence: that is the other good outcome
  }
  return 0;
}
