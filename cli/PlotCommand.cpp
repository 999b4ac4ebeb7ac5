#include <CLI/CLI.hpp>

#include "cli/CommandContext.h"
#include "cli/plot/PlotKinds.h"

namespace Vantora::cli {

void AddPlotCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand("plot", "Draw what the effect does, as PNG, SVG or CSV");
  command->require_subcommand(1);
  AddWaveformPlot(*command, context);
  AddSpectrogramPlot(*command, context);
  AddResponsePlot(*command, context);
  AddHarmonicsPlot(*command, context);
  AddTransferPlot(*command, context);
  AddCurvesPlot(*command, context);
  AddTapsPlot(*command, context);
  AddSpreadPlot(*command, context);
  AddLfoPlot(*command, context);
  AddNoisePlot(*command, context);
  AddPlatePlot(*command, context);
  AddSamplerPlot(*command, context);
}

}  // namespace Vantora::cli
