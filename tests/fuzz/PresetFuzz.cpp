// Whatever the bytes are, they are a preset or refused with a sentence; what was read makes sense and is read
// back from its own text.

#include <cmath>
#include <string>

#include "host/HostError.h"
#include "host/Preset.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) try {
  using namespace Vantora;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const host::Preset preset = host::Preset::Parse(text, "fuzz.json");
  for (const auto& [index, value] : preset.values) {
    fuzz::Require(host::ParameterTable::Get()[index].IsInPresets() && value >= 0.0f && value <= 1.0f);
  }
  const host::Preset again = host::Preset::Parse(preset.ToJson(), "again.json");
  for (const host::PresetDifference& difference : host::Compare(preset, again)) {
    fuzz::Require(std::abs(difference.first - difference.second) < 1e-5f);
  }
  return 0;
} catch (const Vantora::host::HostError& refused) {
  Vantora::fuzz::RequireSentence(refused.what());
  return 0;
}
