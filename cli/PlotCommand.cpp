
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"

namespace Vantora::cli {

void AddPlotCommand(Command app, CommandContext& context) {
  const Command command = app.AddCommand("plot", "Draw what the effect does, as PNG, SVG or CSV");
  command.RequireCommand();
  AddWaveformPlot(command, context);
  AddSpectrogramPlot(command, context);
  AddResponsePlot(command, context);
  AddHarmonicsPlot(command, context);
  AddTransferPlot(command, context);
  AddCurvesPlot(command, context);
  AddTapsPlot(command, context);
  AddSpreadPlot(command, context);
  AddLfoPlot(command, context);
  AddNoisePlot(command, context);
  AddPlatePlot(command, context);
  AddSamplerPlot(command, context);
}

}  // namespace Vantora::cli
