#include "host/files/TempoMapFile.h"

#include <fstream>
#include <vector>

#include "host/HostError.h"
#include "host/files/CsvReader.h"
#include "host/files/HeldPipe.h"

namespace Vantora::host {

TempoMap ReadTempoMap(const std::filesystem::path& path) {
  std::ifstream file = OpenText(path);
  if (!file) throw HostError("The tempo map \"" + path.string() + "\" can't be opened.");
  return ReadTempoMap(file, path.string());
}

TempoMap ReadTempoMap(std::istream& stream, const std::string& name) {
  CsvReader reader(stream, name);
  TempoMap map;
  map.segments.clear();
  bool isInBeats = false, isFirst = true;
  for (std::vector<std::string> fields; reader.Next(fields); isFirst = false) {
    if (fields.size() != 2) throw HostError(reader.Place() + "a tempo map has two columns, time and tempo.");
    if (isFirst && (fields[1] == "bpm" || fields[1] == "tempo")) {
      if (fields[0] != "beats" && fields[0] != "seconds" && fields[0] != "time") {
        throw HostError(reader.Place() + "the times of a tempo map are \"seconds\" or \"beats\", not \"" +
                        fields[0] + "\".");
      }
      isInBeats = fields[0] == "beats";
      continue;
    }
    const double time = reader.Number(fields[0], "the time"), bpm = reader.Number(fields[1], "the tempo");
    try {
      map.Append({time, bpm, isInBeats});
    } catch (const HostError& error) {
      throw HostError(reader.Place() + error.what());
    }
  }
  if (map.segments.empty()) throw HostError("The tempo map \"" + name + "\" is empty.");
  return map;
}

}  // namespace Vantora::host
