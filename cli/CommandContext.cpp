#include "cli/CommandContext.h"

#include "cli/CommandLine.h"

namespace Vantora::cli {

namespace fs = std::filesystem;

fs::path CommandContext::LibraryPath() const {
  return library.empty() ? host::ProcessorLibrary::Find() : fs::path(library);
}

void AddCommands(Command app, CommandContext& context) {
  app.AddOption("--library", context.library, "processor library to use in place of the installed one");
  AddRenderCommand(app, context);
  AddReverbCommand(app, context);
  AddParamsCommand(app, context);
  AddPresetCommand(app, context);
  AddPlotCommand(app, context);
  AddInfoCommand(app, context);
  AddNoiseCommand(app, context);
  AddPlateCommand(app, context);
}

}  // namespace Vantora::cli
