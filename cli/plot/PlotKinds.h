#pragma once

namespace CLI {
class App;
}

namespace Vantora::cli {

struct CommandContext;

// Each adds one kind of picture as a subcommand of `plot`. `context` outlives `plot`.
void AddWaveformPlot(CLI::App& plot, CommandContext& context);     ///< a file before and after
void AddSpectrogramPlot(CLI::App& plot, CommandContext& context);  ///< the same over frequency
void AddResponsePlot(CLI::App& plot, CommandContext& context);     ///< gain over frequency
void AddHarmonicsPlot(CLI::App& plot, CommandContext& context);    ///< what becomes of a sine
void AddTapsPlot(CLI::App& plot, CommandContext& context);         ///< the sixteen delays over time
void AddSpreadPlot(CLI::App& plot, CommandContext& context);       ///< the voices' values over "Prismelion"
void AddTransferPlot(CLI::App& plot, CommandContext& context);     ///< the effect's distortions, measured
void AddCurvesPlot(CLI::App& plot, CommandContext& context);       ///< all sixteen shaping curves
void AddLfoPlot(CLI::App& plot, CommandContext& context);          ///< the LFO's shapes
void AddNoisePlot(CLI::App& plot, CommandContext& context);        ///< spectra of the noise colours
void AddPlatePlot(CLI::App& plot, CommandContext& context);        ///< the plate's impulse response
void AddSamplerPlot(CLI::App& plot, CommandContext& context);      ///< the oversamplers' filters

}  // namespace Vantora::cli
