#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/SoundOptions.h"
#include "cli/offline/RenderJobs.h"

namespace Vantora::cli {

/// SettingsTable: a CSV file that says for each render what it takes and how it sounds.
///
///     input,output,preset,seed,Prismelion,CombCutoff
///     guitar.wav,guitar-1.wav,Glass Choir,1,0.3,
///     guitar.wav,guitar-2.wav,Glass Choir,2,0.6,440 Hz
///
/// The first line names the columns: "input" must be there, "output", "preset" and "seed" may, and every
/// other one is a parameter. An empty field is as if the column weren't there. Without an output a file keeps
/// its name in the folder of outputs. Names of files count from the table's own folder.
struct SettingsTable {
  struct Row {
    std::string input, output;
    SoundOptions sound;  ///< the command line's with the row's added
    std::optional<uint32_t> seed;
    std::string place;  ///< "table.csv, line 3: ", for messages
  };
  std::vector<Row> rows;

  /// Throws UsageError with file and line for what isn't understood.
  static SettingsTable Read(const std::filesystem::path& path, const SoundOptions& common);

  /// One pair a row; `row` says which. `folder` is where outputs without a folder go, empty for the table's.
  std::vector<FilePair> Pairs(const std::string& folder, const std::string& type) const;
};

}  // namespace Vantora::cli
