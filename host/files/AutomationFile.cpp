#include "host/files/AutomationFile.h"

#include <fstream>
#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/HostError.h"
#include "host/files/CsvReader.h"
#include "host/files/HeldPipe.h"

namespace Vantora::host {

Automation ReadAutomation(const std::filesystem::path& path, TimeUnit defaultUnit, bool rampsByDefault,
                          const KnobSet& knobs) {
  std::ifstream file = OpenText(path);
  if (!file) throw HostError("The automation \"" + path.string() + "\" can't be opened.");
  return ReadAutomation(file, path.string(), defaultUnit, rampsByDefault, knobs);
}

Automation ReadAutomation(std::istream& stream, const std::string& name, TimeUnit defaultUnit,
                          bool rampsByDefault, const KnobSet& knobs) {
  CsvReader reader(stream, name);
  TimeUnit unit = defaultUnit;
  std::map<uint32_t, std::vector<Automation::Point>> points;
  std::unordered_map<std::string, uint32_t> named;
  bool isFirst = true;
  for (std::vector<std::string> fields; reader.Next(fields); isFirst = false) {
    if (fields.size() != 3 && fields.size() != 4) {
      throw HostError(reader.Place() +
                      "a row has a time, a parameter and a value, and perhaps \"step\" or \"ramp\".");
    }
    try {
      if (isFirst && fields[1] == "parameter") {
        if (fields[0] != "time") unit = Automation::ParseUnit(fields[0]);
        continue;
      }
      const double time = reader.Number(fields[0], "the time");
      if (time < 0.0) throw HostError("a time can't be negative.");
      // A table of a hundred thousand rows has a few names: each is looked up once.
      const auto found = named.find(fields[1]);
      const uint32_t index = found != named.end()
                                 ? found->second
                                 : named.emplace(fields[1], knobs.IndexOf(fields[1])).first->second;
      const Knob& knob = knobs.KnobAt(index);
      if (!knobs.CanMove(index)) throw HostError(knob.FullName() + " can't be automated.");
      bool isRamp = rampsByDefault;
      if (fields.size() == 4) {
        if (fields[3] != "step" && fields[3] != "ramp" && !fields[3].empty()) {
          throw HostError("\"" + fields[3] + "\" is neither \"step\" nor \"ramp\".");
        }
        if (!fields[3].empty()) isRamp = fields[3] == "ramp";
      }
      points[index].push_back({time, knob.Parse(fields[2]), isRamp});
    } catch (const HostError& error) {
      const std::string_view message = error.what();
      if (message.starts_with(name)) throw;
      throw HostError(reader.Place() + std::string(message));
    }
  }
  if (points.empty()) {
    throw HostError("The automation \"" + name + "\" has no rows; each has a time, a parameter and a value.");
  }
  std::vector<Automation::Track> tracks;
  for (auto& [index, track] : points) tracks.push_back({index, std::move(track)});
  return Automation(unit, std::move(tracks), knobs);
}

}  // namespace Vantora::host
