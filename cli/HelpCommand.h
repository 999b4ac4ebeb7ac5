#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Vantora::cli {

struct CommandContext;

/// `prismel help [COMMAND]`.
void AddHelpCommand(CLI::App& app, CommandContext& context);

/// The help of the innermost of `chosen` subcommands, or of the whole command where that is empty.
std::string HelpText(const CLI::App& app, const std::vector<CLI::App*>& chosen);

}  // namespace Vantora::cli
