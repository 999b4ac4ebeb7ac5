// NAME=VALUE as a person writes it: a position in range that its own text gives back, or a sentence.

#include <cmath>
#include <string>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) try {
  using namespace Vantora;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t split = text.find('=');
  if (split == std::string::npos) return 0;
  const host::Parameter& parameter = host::ParameterTable::Get().At(text.substr(0, split));
  const float position = parameter.Parse(text.substr(split + 1));
  fuzz::Require(position >= 0.0f && position <= 1.0f);
  if (parameter.IsOffered() && !parameter.IsStepped()) {
    fuzz::Require(std::abs(parameter.Parse(parameter.ExactText(position)) - position) < 1e-5f);
  }
  return 0;
} catch (const Vantora::host::HostError& refused) {
  Vantora::fuzz::RequireSentence(refused.what());
  return 0;
}
