#pragma once

#include <string>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/offline/FileRenderer.h"
#include "cli/offline/RenderJobs.h"

namespace Vantora::cli {

class Command;

/// FileOptions: the options about audio files and streams
/// that all commands share that turn inputs to outputs.
struct FileOptions {
  std::vector<std::string> files;  ///< IN... OUT
  std::string folder;              ///< -o
  std::string start, duration, tail = "auto";
  std::string channels, rawInput, type, format, normalize;
  uint64_t block = 4096;
  unsigned jobs = 0;  ///< 0: one for each processor core
  std::string limit, split, report;
  bool mono = false, skipExisting = false;
  bool stereo = false, noDither = false, overwrite = false, damaged = false, quiet = false;

  /// Adds all of them to a subcommand.
  void AddTo(Command command);
  /// What the texts mean. Throws UsageError.
  RenderSettings Settings() const;
  /// Files at a time, 1 or more.
  unsigned Jobs() const;
  /// What is common to all files. `about` are facts for a report, the command line and the version apart.
  BatchSettings Batch(const CommandContext& context,
                      std::vector<std::pair<std::string, std::string>> about = {}) const;
  /// The files, paired and, where that was asked for, split. Throws UsageError, Failure.
  std::vector<FilePair> Pairs() const;
};

}  // namespace Vantora::cli
