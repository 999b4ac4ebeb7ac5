// Whatever the bytes are, they are a tempo map whose beats rise with the time and back, or refused with the
// line.

#include <cmath>
#include <sstream>
#include <string>

#include "host/HostError.h"
#include "host/files/TempoMapFile.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) try {
  using namespace Vantora;
  std::istringstream stream{std::string(reinterpret_cast<const char*>(data), size)};
  const host::TempoMap map = host::ReadTempoMap(stream, "fuzz.csv");
  fuzz::Require(map.BeatsAt(1.0) > map.BeatsAt(0.5));
  for (const double seconds : {0.0, 0.7, 3.0, 1e4}) {
    const double bpm = map.BpmAt(seconds);
    fuzz::Require(bpm >= host::TempoMap::kLowest && bpm <= host::TempoMap::kHighest);
    fuzz::Require(std::abs(map.SecondsAt(map.BeatsAt(seconds)) - seconds) < 1e-6 * (1.0 + seconds));
  }
  return 0;
} catch (const Vantora::host::HostError& refused) {
  Vantora::fuzz::RequireSentence(refused.what());
  return 0;
}
