#include <fmt/format.h>

#include <array>
#include <cmath>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Spectrum.h"
#include "dsp/effects/NoiseGenerator.h"

namespace Vantora::cli {
namespace {

constexpr size_t kPiece = size_t{1} << 15;
constexpr uint32_t kBlock = 256;
constexpr double kSettle = 1.0, kSeconds = 60.0;
constexpr double kFitLow = 100.0, kFitHigh = 10000.0;  // Hz

struct NoiseOptions {
  PlotOptions picture;
  double rate = 48000.0;
};

std::vector<float> Generate(uint32_t type, double rate) {
  dsp::NoiseGenerator generator("Noise", 1);
  generator.SetParamInternal(dsp::NoiseGenerator::kNoiseType, static_cast<float>(type));
  generator.SetParamInternal(dsp::NoiseGenerator::kNoiseColor, 0.75f);
  generator.Init(kBlock, static_cast<float>(rate));
  std::vector<float> signal;
  std::array<float, kBlock> block{};
  const auto settle = static_cast<size_t>(kSettle * rate);
  for (size_t at = 0; at < settle + static_cast<size_t>(kSeconds * rate); at += kBlock) {
    std::array<float*, 1> input{}, output{block.data()};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(input, output);
    context.sampleCount = kBlock;
    generator.Process(context);
    if (at >= settle) signal.insert(signal.end(), block.begin(), block.end());
  }
  return signal;
}

/// dB per octave of the line that fits best between `kFitLow` and `kFitHigh`.
double Slope(const Series& series) {
  double n = 0.0, sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0;
  for (size_t i = 0; i < series.x.size(); ++i) {
    if (series.x[i] < kFitLow || series.x[i] > kFitHigh) continue;
    const double x = std::log2(series.x[i]), y = series.y[i];
    n += 1.0, sx += x, sy += y, sxx += x * x, sxy += x * y;
  }
  return (n * sxy - sx * sy) / (n * sxx - sx * sx);
}

void Run(const NoiseOptions& options) {
  options.picture.Check();
  Figure figure;
  figure.title = fmt::format("Noise colours at {:g} kHz", options.rate / 1000.0);
  Panel panel{"", Axis::Frequency(20.0, 20000.0),
              Axis::Decibels(-90.0, 0.0, "Level in 1/3 octave about it (dBFS)")};
  // A sine's scale, per bin: the Hann window spreads noise over half as many bins again.
  const double binHz = options.rate / static_cast<double>(kPiece);
  for (uint32_t type = 0; type < dsp::NoiseGenerator::kTypeCount; ++type) {
    const std::vector<double> power = PowerSpectrum(Generate(type, options.rate), kPiece, Window::kHann);
    Series series = SmoothedSeries(power, options.rate, panel.x, 1.0 / 3.0, 200);
    for (size_t i = 0; i < series.x.size(); ++i) {
      const double bandHz = series.x[i] * (std::exp2(1.0 / 6.0) - std::exp2(-1.0 / 6.0));
      series.y[i] += 10.0 * std::log10(bandHz / binHz / 1.5);
    }
    Series density = series;
    for (size_t i = 0; i < series.x.size(); ++i) density.y[i] -= 10.0 * std::log10(series.x[i]);
    series.name = fmt::format("{}{}  {:+.2f} dB/oct", dsp::NoiseGenerator::kTypeNames[type],
                              type == dsp::NoiseGenerator::kVariable ? " 0.75" : "", Slope(density));
    series.colour = std::array{"#8e44ad", "#999999", "#e377a8", "#8c564b", "#333333", "#0072b2"}[type];
    series.isDashed = type == dsp::NoiseGenerator::kVariable;
    panel.series.push_back(std::move(series));
  }
  figure.panels.push_back(std::move(panel));
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddNoisePlot(Command plot, CommandContext&) {
  auto options = std::make_shared<NoiseOptions>();
  const Command command = plot.AddCommand(
      "noise",
      "Level of the noise colours in thirds of an octave; the slopes in the legend are those of the density");
  command.AddOption("--rate", options->rate, "sample rate, Hz").Range(8000.0, 384000.0).ShowStart();
  options->picture.AddTo(command);
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
