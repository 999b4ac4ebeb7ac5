#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Numbers.h"
#include "cli/SoundOptions.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/SoundFile.h"

namespace Vantora::cli {
namespace {

constexpr size_t kColumns = 1600;

struct WaveformOptions {
  SoundFileOptions file;
  SoundOptions sound;
  PlotOptions picture;
  std::string tail = "0";
};

/// The samples themselves, or, of more than a picture can hold, the range in each column.
Series Waveform(const std::vector<float>& samples, double start, double rate) {
  Series series;
  if (samples.size() <= 2 * kColumns) {
    for (size_t i = 0; i < samples.size(); ++i) {
      series.x.push_back(start + static_cast<double>(i) / rate);
      series.y.push_back(static_cast<double>(samples[i]));
    }
    return series;
  }
  for (size_t column = 0; column < kColumns; ++column) {
    const auto first = samples.begin() + static_cast<std::ptrdiff_t>(column * samples.size() / kColumns);
    const auto last = samples.begin() + static_cast<std::ptrdiff_t>((column + 1) * samples.size() / kColumns);
    const auto [low, high] = std::minmax_element(first, last);
    series.x.push_back(start + static_cast<double>(first - samples.begin()) / rate);
    series.y.push_back(static_cast<double>(*low));
    series.upper.push_back(static_cast<double>(*high));
  }
  return series;
}

double Peak(const std::vector<float>& samples) {
  double peak = 0.0;
  for (const float sample : samples) peak = std::max(peak, std::abs(static_cast<double>(sample)));
  return peak;
}

void Run(const WaveformOptions& options, const CommandContext& context) {
  options.picture.Check();
  const std::vector<host::ParameterWrite> writes = options.sound.Writes();
  SoundFile file(options.file);
  const double seconds = ParseSeconds("--tail", options.tail);
  StereoSignal before = file.signal;
  before.left.resize(before.Frames() + static_cast<size_t>(seconds * file.rate));
  before.right.resize(before.left.size());
  const StereoSignal after = RunEffect(context, writes, before, file.rate, 120.0, file.isStereo ? 2 : 1);

  Figure figure;
  figure.title = std::filesystem::path(options.file.file).filename().string() + ", before and after";
  const double end = file.start + static_cast<double>(before.Frames()) / file.rate;
  const double highest =
      std::max({Peak(before.left), Peak(before.right), Peak(after.left), Peak(after.right), 1e-3}) * 1.02;
  const auto add = [&](const std::string& title, const std::vector<float>& samples, const char* colour) {
    Series series = Waveform(samples, file.start, file.rate);
    series.colour = colour;
    series.width = 1.0;
    figure.panels.push_back(
        {fmt::format("{}  (peak {:.1f} dBFS)", title, 20.0 * std::log10(std::max(Peak(samples), 1e-9))),
         Axis::Seconds(file.start, end),
         {"Amplitude", "amplitude", -highest, highest},
         {series}});
  };
  add(file.isStereo ? "Before left" : "Before", before.left, "#777777");
  const bool isWide = OutputChannels(writes, file.isStereo ? 2 : 1) == 2;
  add(isWide ? "After left" : "After", after.left, "#0072b2");
  if (file.isStereo) add("Before right", before.right, "#777777");
  if (isWide) add("After right", after.right, "#d55e00");
  figure.height = static_cast<int>(225 * figure.panels.size());
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddWaveformPlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<WaveformOptions>();
  const Command command = plot.AddCommand("waveform", "A file before and after the effect");
  options->file.AddTo(command);
  command.AddOption("--tail", options->tail, "seconds to go on behind the file").ShowStart();
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
