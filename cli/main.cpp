#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/HelpCommand.h"
#include "cli/audio/PendingFile.h"
#include "host/HostError.h"

namespace {

using namespace Vantora;

/// What to say of the first word that names no command, or no kind of one; empty where all is well.
std::string UnknownCommand(const cli::Command& root, int argc, char** argv) {
  cli::Command parent = root;
  std::string path;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.starts_with("-")) {
      if (word == "--library" || word.starts_with("--log")) ++i;
      continue;
    }
    const std::vector<cli::Command> kinds = parent.Commands();
    const auto found = std::find_if(kinds.begin(), kinds.end(),
                                    [&word](const cli::Command& kind) { return kind.Name() == word; });
    if (found == kinds.end()) {
      if (path.empty()) return "there is no command '" + word + '\'';
      std::string names;
      for (const cli::Command& kind : kinds) names += (names.empty() ? "" : ", ") + kind.Name();
      return '\'' + path + "' has no '" + word + "'; it has " + names;
    }
    parent = *found;
    path += (path.empty() ? "" : " ") + word;
    if (!parent.NeedsCommand()) return "";
  }
  return "";
}

/// The command line for a report: words with anything but plain letters in quotes.
std::string Quoted(int argc, char** argv) {
  std::string line = "prismel";
  for (int i = 1; i < argc; ++i) {
    std::string word = argv[i];
    if (word.empty() || word.find_first_of(" \t\n\"'\\$`*?[]{}()<>|&;~#!") != std::string::npos) {
      for (size_t at = 0; (at = word.find('\'', at)) != std::string::npos; at += 4)
        word.replace(at, 1, "'\\''");
      word = "'" + word + "'";
    }
    line += ' ' + word;
  }
  return line;
}

int Run(int argc, char** argv) {
  cli::CommandContext context;
  context.commandLine = Quoted(argc, argv);
  cli::CommandLine line(
      "prismel",
      "Qfx PRISMEL: splits stereo audio into up to eight swept voices, each with its own stage effect.",
      PRISMEL_VERSION);
  const cli::Command root = line.Root();
  cli::AddCommands(root, context);
  cli::AddLogOptions(root, context);
  cli::AddHelpCommand(line);
  cli::AddGenerateCommand(root, context);
  switch (line.Read(argc, argv)) {
    case cli::CommandLine::Outcome::kRan:
      return context.status;
    case cli::CommandLine::Outcome::kAskedForHelp:
      cli::Print("{}", line.ChosenHelp());
      return 0;
    case cli::CommandLine::Outcome::kAskedForVersion:
      cli::Print("{}\n", PRISMEL_VERSION);
      return 0;
    case cli::CommandLine::Outcome::kRefused:
      break;
  }
  if (argc < 2) {
    cli::Tell("{}", root.Help());
  } else if (const std::string unknown = UnknownCommand(root, argc, argv); !unknown.empty()) {
    cli::Complain(unknown + "; see prismel help");
  } else {
    cli::Complain(line.Complaint() + "; see prismel help");
  }
  return cli::Failure::kUsage;
}

/// Some libraries allocate in destructors, where an exception ends the process: without memory, it ends with
/// a sentence, a status and no half file.
[[noreturn]] void EndWithoutMemory() {
  try {
    if (const std::exception_ptr problem = std::current_exception()) std::rethrow_exception(problem);
  } catch (const std::bad_alloc&) {
    cli::PendingFile::RemoveAll();
    constexpr std::string_view kText = "prismel: not enough memory\n";
    static_cast<void>(!write(STDERR_FILENO, kText.data(), kText.size()));
    _exit(cli::Failure::kRuntime);
  } catch (...) {
  }
  std::abort();
}

/// Before the tables of the libraries are built, which takes memory as well.
[[gnu::constructor(101)]] void WatchMemory() { std::set_terminate(EndWithoutMemory); }

}  // namespace

int main(int argc, char** argv) {
  cli::HoldStandardDescriptors();
  try {
    const int status = Run(argc, argv);
    cli::FinishStandardOutput();
    return status;
  } catch (const cli::Failure& failure) {
    cli::Complain(failure.what());
    return failure.Status();
  } catch (const std::bad_alloc&) {
    cli::Complain("not enough memory");
  } catch (const std::exception& problem) {
    cli::Complain(problem.what());
  }
  return cli::Failure::kRuntime;
}
