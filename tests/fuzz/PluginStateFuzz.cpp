// Whatever a song hands a plug-in as its state: all positions in range, the same text once it is saved and
// loaded again, or a sentence.

#include <string>
#include <vector>

#include "host/HostError.h"
#include "plugin/core/State.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) try {
  using namespace Vantora;
  std::vector<std::string> warnings;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const plugin::State state = plugin::State::Parse(text, &warnings);
  for (const float position : state.sound.positions) fuzz::Require(position >= 0.0f && position <= 1.0f);
  fuzz::Require(state.windowScale >= 0.75 && state.windowScale <= 2.0 && state.variation <= 4095);
  for (const std::string& warning : warnings) fuzz::RequireSentence(warning);
  const std::string saved = state.ToJson();
  fuzz::Require(plugin::State::Parse(saved).ToJson() == saved);
  return 0;
} catch (const Vantora::host::HostError& refused) {
  Vantora::fuzz::RequireSentence(refused.what());
  return 0;
}
