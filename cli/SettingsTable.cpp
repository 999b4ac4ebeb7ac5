#include "cli/SettingsTable.h"

#include <fmt/format.h>

#include <fstream>
#include <map>
#include <set>

#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "host/HostError.h"
#include "host/files/CsvReader.h"
#include "host/files/HeldPipe.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

SettingsTable::Row ReadRow(const std::vector<std::string>& columns, const std::vector<std::string>& fields,
                           const fs::path& folder, const SoundOptions& common, const std::string& place) {
  if (fields.size() > columns.size()) {
    throw UsageError(
        fmt::format("{}{} fields where {} columns are named", place, fields.size(), columns.size()));
  }
  SettingsTable::Row row;
  row.sound = common;
  row.place = place;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].empty()) continue;
    if (columns[i] == "input") {
      row.input = (folder / fields[i]).string();
    } else if (columns[i] == "output") {
      row.output = fields[i];
    } else if (columns[i] == "preset") {
      row.sound.preset = fields[i];
    } else if (columns[i] == "seed") {
      row.seed = ParseSeed(place + "seed", fields[i]);
    } else {
      row.sound.assignments.push_back(columns[i] + "=" + fields[i]);
    }
  }
  if (row.input.empty()) throw UsageError(place + "there is no input");
  return row;
}

}  // namespace

SettingsTable SettingsTable::Read(const fs::path& path, const SoundOptions& common) {
  std::ifstream file = host::OpenText(path);
  if (!file) throw Failure(fmt::format("{}: this table can't be opened", path.string()));
  const fs::path folder = path.parent_path();
  SettingsTable table;
  return AsUsage([&] {
    host::CsvReader reader(file, path.string());
    std::vector<std::string> columns, fields;
    if (!reader.Next(columns) || columns.empty() ||
        std::find(columns.begin(), columns.end(), "input") == columns.end()) {
      throw UsageError(
          fmt::format("{}: the first line names the columns, one of them \"input\"", path.string()));
    }
    while (reader.Next(fields)) {
      table.rows.push_back(ReadRow(columns, fields, folder, common, reader.Place()));
      try {
        table.rows.back().sound.Check();
      } catch (const std::exception& problem) {
        throw UsageError(reader.Place() + problem.what());
      }
    }
    if (table.rows.empty()) throw UsageError(fmt::format("{}: the table has no rows", path.string()));
    return table;
  });
}

std::vector<FilePair> SettingsTable::Pairs(const std::string& folder, const std::string& type) const {
  std::vector<FilePair> pairs;
  std::map<std::string, std::string> places;
  for (size_t i = 0; i < rows.size(); ++i) {
    const fs::path own = rows[i].output.empty() ? OutputName(fs::path(rows[i].input).filename(), type)
                                                : fs::path(rows[i].output);
    FilePair pair{rows[i].input, (folder.empty() ? own : fs::path(folder) / own).string()};
    pair.makeFolder = !folder.empty() && own.has_parent_path();
    pair.row = i;
    const auto [found, isNew] = places.emplace(pair.output, rows[i].place);
    if (!isNew)
      throw UsageError(fmt::format("{}{} is another row's output, too", rows[i].place, pair.output));
    pairs.push_back(std::move(pair));
  }
  return pairs;
}

}  // namespace Vantora::cli
