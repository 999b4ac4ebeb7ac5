#pragma once

namespace Vantora::cli {

class Command;
struct CommandContext;

// Each adds one kind of picture as a subcommand of `plot`. `context` outlives `plot`.
void AddWaveformPlot(Command plot, CommandContext& context);     ///< a file before and after
void AddSpectrogramPlot(Command plot, CommandContext& context);  ///< the same over frequency
void AddResponsePlot(Command plot, CommandContext& context);     ///< gain over frequency
void AddHarmonicsPlot(Command plot, CommandContext& context);    ///< what becomes of a sine
void AddTapsPlot(Command plot, CommandContext& context);         ///< the sixteen delays over time
void AddSpreadPlot(Command plot, CommandContext& context);       ///< the voices' values over "Prismelion"
void AddTransferPlot(Command plot, CommandContext& context);     ///< the effect's distortions, measured
void AddCurvesPlot(Command plot, CommandContext& context);       ///< all sixteen shaping curves
void AddLfoPlot(Command plot, CommandContext& context);          ///< the LFO's shapes
void AddNoisePlot(Command plot, CommandContext& context);        ///< spectra of the noise colours
void AddPlatePlot(Command plot, CommandContext& context);        ///< the plate's impulse response
void AddSamplerPlot(Command plot, CommandContext& context);      ///< the oversamplers' filters

}  // namespace Vantora::cli
