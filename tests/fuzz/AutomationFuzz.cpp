// Whatever the bytes are, they are an automation with rising times and positions in range, or refused with
// the line.

#include <sstream>
#include <string>

#include "host/HostError.h"
#include "host/files/AutomationFile.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) try {
  using namespace Vantora;
  fuzz::Pieces pieces(data, size);
  const uint8_t control = pieces.Byte();
  std::istringstream stream{std::string(pieces.Rest())};
  const auto unit = static_cast<host::TimeUnit>(control % 3);
  const host::Automation automation = host::ReadAutomation(stream, "fuzz.csv", unit, (control & 4) != 0);
  for (const auto& track : automation.Tracks()) {
    double last = 0.0;
    for (const auto& point : track.points) {
      fuzz::Require(point.time >= last && point.normalized >= 0.0f && point.normalized <= 1.0f);
      last = point.time;
    }
  }
  static_cast<void>(host::AutomationPlayer(automation, host::TempoMap(), 48000.0));
  return 0;
} catch (const Vantora::host::HostError& refused) {
  Vantora::fuzz::RequireSentence(refused.what());
  return 0;
}
