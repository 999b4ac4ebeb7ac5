#pragma once

namespace Vantora::cli {

class CommandLine;

/// `prismel help [COMMAND]`. `line` outlives the reading of the command line.
void AddHelpCommand(CommandLine& line);

}  // namespace Vantora::cli
