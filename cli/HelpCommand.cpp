#include "cli/HelpCommand.h"

#include <algorithm>
#include <memory>

#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "cli/Failure.h"

namespace Vantora::cli {

void AddHelpCommand(CommandLine& line) {
  auto words = std::make_shared<std::vector<std::string>>();
  const Command command = line.Root().AddCommand("help", "Tell more about a command");
  command.AddOption("COMMAND", *words, "the command, such as: render or: preset list");
  command.OnRun([&line, words] {
    Command found = line.Root();
    for (const std::string& word : *words) {
      const std::vector<Command> subs = found.Commands();
      const auto next =
          std::find_if(subs.begin(), subs.end(), [&word](const Command& sub) { return sub.Name() == word; });
      if (next == subs.end()) throw UsageError("there is no command '" + word + "'; see prismel help");
      found = *next;
    }
    Print("{}", words->empty() ? line.Overview() : found.Help());
  });
}

}  // namespace Vantora::cli
