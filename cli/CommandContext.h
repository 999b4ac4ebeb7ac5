#pragma once

#include <filesystem>
#include <string>

#include "host/loading/ProcessorLibrary.h"

namespace Vantora::cli {

class Command;

/// CommandContext: what all subcommands share. Options are in it once the command line has been read, that is
/// when a subcommand's callback runs.
struct CommandContext {
  std::string library;      ///< --library; empty: searched for
  std::string log;          ///< --log
  std::string logFile;      ///< --log-file
  std::string logConfig;    ///< --log-config
  std::string commandLine;  ///< as it was given, words that need it quoted
  int status = 0;           ///< the command's exit status, set by the callback

  /// Where the processor library is: named by --library or found in its usual places. Throws host::HostError.
  std::filesystem::path LibraryPath() const;
  /// The library there. Throws host::HostError.
  host::ProcessorLibrary LoadLibrary() const { return host::ProcessorLibrary(LibraryPath()); }
};

// Each adds one subcommand, with its options and its callback, to `app`. `context` outlives `app`.
void AddRenderCommand(Command app, CommandContext& context);
void AddReverbCommand(Command app, CommandContext& context);
void AddParamsCommand(Command app, CommandContext& context);
void AddPresetCommand(Command app, CommandContext& context);
void AddGenerateCommand(Command app, CommandContext& context);
void AddPlotCommand(Command app, CommandContext& context);
void AddInfoCommand(Command app, CommandContext& context);
void AddNoiseCommand(Command app, CommandContext& context);
void AddPlateCommand(Command app, CommandContext& context);

/// All of those that do something, and --library: everything of the command line but the log, help and what
/// is generated from it.
void AddCommands(Command app, CommandContext& context);

/// --log, --log-file and --log-config, which take effect before any subcommand runs.
void AddLogOptions(Command app, CommandContext& context);

}  // namespace Vantora::cli
