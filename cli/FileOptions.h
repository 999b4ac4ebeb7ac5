#pragma once

#include <string>
#include <vector>

#include "cli/offline/FileRenderer.h"

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
  bool stereo = false, noDither = false, overwrite = false, damaged = false, quiet = false;

  /// Adds all of them to a subcommand.
  void AddTo(Command command);
  /// What the texts mean. Throws UsageError.
  RenderSettings Settings() const;
  /// Files at a time, 1 or more.
  unsigned Jobs() const;
};

}  // namespace Vantora::cli
