#pragma once

#include <string>

#include "cli/plot/EffectRun.h"

namespace Vantora::cli {

class Command;

/// SoundFileOptions: a file, or a part of one, that is held in memory whole.
struct SoundFileOptions {
  static constexpr double kLongest = 600.0;  ///< s

  std::string file, start, duration;

  /// Adds them to a kind's subcommand, the file as its argument.
  void AddTo(Command command);
};

/// SoundFile: the samples, a mono file in both channels.
struct SoundFile {
  StereoSignal signal;
  int rate = 48000;       ///< Hz
  bool isStereo = false;  ///< as the file had it
  double start = 0.0;     ///< s

  /// Throws Failure, UsageError: unreadable, more than two channels, longer than `kLongest`.
  explicit SoundFile(const SoundFileOptions& options);
};

}  // namespace Vantora::cli
