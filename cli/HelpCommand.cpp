#include "cli/HelpCommand.h"
#include "cli/Console.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

/// The whole command's help, whatever subcommand has been chosen: App::help would give that one's.
std::string Overview(const CLI::App& app) {
  return app.get_formatter()->make_help(&app, "prismel", CLI::AppFormatMode::Normal);
}

}  // namespace

std::string HelpText(const CLI::App& app, const std::vector<CLI::App*>& chosen) {
  if (chosen.empty()) return Overview(app);
  const CLI::App* inner = chosen.front();
  while (!inner->get_subcommands().empty()) inner = inner->get_subcommands().front();
  return inner->help("prismel");
}

void AddHelpCommand(CLI::App& app, CommandContext&) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app.add_subcommand("help", "Tell more about a command");
  command->add_option("COMMAND", *words, "the command, such as: render or: preset list");
  command->callback([&app, words] {
    const CLI::App* found = &app;
    for (const std::string& word : *words) {
      const CLI::App* next = nullptr;
      for (const CLI::App* sub : found->get_subcommands([](const CLI::App*) { return true; })) {
        if (sub->get_name() == word) next = sub;
      }
      if (next == nullptr) throw UsageError(fmt::format("there is no command '{}'; see prismel help", word));
      found = next;
    }
    Print("{}", found == &app ? Overview(app) : found->help("prismel"));
  });
}

}  // namespace Vantora::cli
