#include <fmt/format.h>

#include <cmath>
#include <memory>
#include <numbers>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/EffectRun.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Spectrum.h"
#include "cli/plot/Variants.h"

namespace Vantora::cli {
namespace {

constexpr int kRate = 48000;
constexpr size_t kPiece = size_t{1} << 15;
constexpr size_t kSettle = 48000;  // samples before the measurement

struct HarmonicsOptions {
  VariantOptions sound;
  PlotOptions picture;
  double hertz = 440.0, level = -6.0;
  bool stage = false;
};

void Run(const HarmonicsOptions& options, const CommandContext& context) {
  options.picture.Check();
  const std::vector<Variant> variants =
      options.sound.Variants(options.stage ? StageAlone() : std::vector<std::string>{});
  StereoSignal sine(kSettle + 4 * kPiece);
  const double amplitude = std::pow(10.0, options.level / 20.0);
  for (size_t i = 0; i < sine.Frames(); ++i) {
    const double cycles = std::fmod(options.hertz * static_cast<double>(i) / kRate, 1.0);
    sine.left[i] = sine.right[i] = static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * cycles));
  }

  Figure figure;
  figure.title = fmt::format("What becomes of a sine of {:g} Hz at {:g} dBFS", options.hertz, options.level);
  figure.columns = variants.size() > 3 ? 2 : 1;
  const auto rows = static_cast<int>((variants.size() + figure.columns - 1) / figure.columns);
  figure.height = std::max(500, 280 * rows);
  for (size_t i = 0; i < variants.size(); ++i) {
    StereoSignal output = RunEffect(context, variants[i].sound.Writes(), sine, kRate);
    output.left.erase(output.left.begin(), output.left.begin() + static_cast<std::ptrdiff_t>(kSettle));
    Panel panel{variants[i].label, Axis::Frequency(20.0, 20000.0),
                Axis::Decibels(-120.0, 6.0, "Level (dBFS)")};
    panel.series.push_back(
        SpectrumSeries(PowerSpectrum(output.left, kPiece, Window::kBlackmanHarris), kRate, panel.x, 1500));
    panel.series.back().width = 1.2;
    panel.series.back().colour = CategoryColour(i);
    for (double& level : panel.series.back().y) level = std::max(level, panel.y.low);
    figure.panels.push_back(std::move(panel));
  }
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddHarmonicsPlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<HarmonicsOptions>();
  const Command command = plot.AddCommand("harmonics", "The spectrum that a sine comes out with, left side");
  command.AddOption("--frequency", options->hertz, "of the sine, Hz").Range(20.0, 20000.0).ShowStart();
  command.AddOption("--level", options->level, "of the sine, dBFS").Range(-120.0, 0.0).ShowStart();
  command.AddFlag("--stage", options->stage,
                  "the stage effect alone: one voice at rest, no dry signal, open filters");
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
