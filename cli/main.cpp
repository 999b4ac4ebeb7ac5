#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

#include "cli/CommandContext.h"
#include "cli/Console.h"
#include "cli/Failure.h"
#include "cli/HelpCommand.h"
#include "host/HostError.h"

namespace {

using namespace Vantora;

/// CLI11's sentence without its label.
std::string Sentence(const CLI::ParseError& error) {
  std::string text = error.what();
  while (!text.empty() && (text.back() == '\n' || text.back() == '.')) text.pop_back();
  return text;
}

/// What to say of the first word that names no command, or no kind of one; empty where all is well.
std::string UnknownCommand(const CLI::App& app, int argc, char** argv) {
  const CLI::App* parent = &app;
  std::string path;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.starts_with("-")) {
      if (word == "--library" || word.starts_with("--log")) ++i;
      continue;
    }
    const auto isIt = [&word](const CLI::App* command) { return command->get_name() == word; };
    const auto found = parent->get_subcommands(isIt);
    if (found.empty()) {
      if (parent == &app) return fmt::format("there is no command '{}'", word);
      std::string kinds;
      for (const CLI::App* kind : parent->get_subcommands([](const CLI::App*) { return true; })) {
        kinds += (kinds.empty() ? "" : ", ") + kind->get_name();
      }
      return fmt::format("'{}' has no '{}'; it has {}", path, word, kinds);
    }
    parent = found.front();
    path += (path.empty() ? "" : " ") + word;
    if (parent->get_require_subcommand_min() == 0) return "";
  }
  return "";
}

int Run(int argc, char** argv) {
  cli::CommandContext context;
  CLI::App app(
      "Qfx PRISMEL: splits stereo audio into up to eight swept voices, each with its own stage effect.");
  app.name("prismel");
  app.set_version_flag("--version", PRISMEL_VERSION);
  app.require_subcommand(1);
  app.get_formatter()->column_width(34);
  app.add_option("--library", context.library, "processor library to use in place of the installed one");
  cli::AddLogOptions(app, context);
  app.fallthrough();
  cli::AddRenderCommand(app, context);
  cli::AddReverbCommand(app, context);
  cli::AddParamsCommand(app, context);
  cli::AddPresetCommand(app, context);
  cli::AddPlotCommand(app, context);
  cli::AddInfoCommand(app, context);
  cli::AddNoiseCommand(app, context);
  cli::AddPlateCommand(app, context);
  cli::AddHelpCommand(app, context);
  cli::AddGenerateCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    cli::Print("{}", cli::HelpText(app, app.get_subcommands()));
    return 0;
  } catch (const CLI::Success& success) {  // --version
    cli::Print("{}\n", success.what());
    return 0;
  } catch (const CLI::ParseError& error) {
    if (argc < 2) {
      cli::Tell("{}", app.help());
    } else if (const std::string unknown = UnknownCommand(app, argc, argv); !unknown.empty()) {
      cli::Complain(unknown + "; see prismel help");
    } else {
      cli::Complain(Sentence(error) + "; see prismel help");
    }
    return cli::Failure::kUsage;
  }
  return context.status;
}

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
