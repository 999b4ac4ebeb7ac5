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
#include "cli/plot/Spectrum.h"

namespace Vantora::cli {
namespace {

constexpr size_t kColumns = 480, kRows = 240;
constexpr double kLowHz = 40.0;  // below it the window resolves nothing
constexpr double kFloorDb = -100.0;

struct SpectrogramOptions {
  SoundFileOptions file;
  SoundOptions sound;
  PlotOptions picture;
  std::string tail = "0";
};

/// Samples under one window: about a tenth of a second at any rate, so that a picture doesn't change with it.
size_t PieceSize(double rate) {
  size_t size = 1024;
  while (static_cast<double>(size) * 1.5 < rate * (4096.0 / 48000.0)) size *= 2;
  return size;
}

/// Level of the bins about a frequency: the strongest of those
/// that share a row, so that no tone falls between rows.
double RowLevel(const std::vector<double>& power, double binHz, double low, double high) {
  const auto first = static_cast<size_t>(std::lround(low / binHz));
  const auto last = std::min(static_cast<size_t>(std::lround(high / binHz)), power.size() - 1);
  double strongest = power[std::min(first, power.size() - 1)];
  for (size_t k = first; k <= last; ++k) strongest = std::max(strongest, power[k]);
  return PowerDb(strongest, kFloorDb);
}

/// Both channels together.
HeatMap Spectrogram(const StereoSignal& signal, double rate, double start, double highHz) {
  HeatMap map;
  map.label = "Level (dBFS)";
  map.column = "level_dbfs";
  map.low = kFloorDb;
  map.high = 0.0;
  map.y = LogSpaced(kLowHz, highHz, kRows);
  map.levels.resize(kColumns * kRows);
  const double step = std::sqrt(map.y[1] / map.y[0]);
  const size_t pieceSize = PieceSize(rate);
  const double binHz = rate / static_cast<double>(pieceSize);
  for (size_t column = 0; column < kColumns; ++column) {
    const size_t centre = (2 * column + 1) * signal.Frames() / (2 * kColumns);
    map.x.push_back(start + static_cast<double>(centre) / rate);
    std::vector<double> power(pieceSize / 2 + 1);
    for (const std::vector<float>* channel : {&signal.left, &signal.right}) {
      std::vector<float> piece(pieceSize);
      for (size_t i = 0; i < pieceSize; ++i) {
        const size_t at = centre + i;  // half a window ahead of the sample, so that it stays above 0
        if (at >= pieceSize / 2 && at - pieceSize / 2 < channel->size())
          piece[i] = (*channel)[at - pieceSize / 2];
      }
      const std::vector<double> own = PowerSpectrum(piece, pieceSize, Window::kHann);
      for (size_t k = 0; k < power.size(); ++k) power[k] += 0.5 * own[k];
    }
    for (size_t row = 0; row < kRows; ++row) {
      map.levels[row * kColumns + column] = RowLevel(power, binHz, map.y[row] / step, map.y[row] * step);
    }
  }
  return map;
}

void Run(const SpectrogramOptions& options, const CommandContext& context) {
  options.picture.Check();
  const std::vector<host::ParameterWrite> writes = options.sound.Writes();
  SoundFile file(options.file);
  StereoSignal before = file.signal;
  before.left.resize(before.Frames() + static_cast<size_t>(ParseSeconds("--tail", options.tail) * file.rate));
  before.right.resize(before.left.size());
  const StereoSignal after = RunEffect(context, writes, before, file.rate, 120.0, file.isStereo ? 2 : 1);

  Figure figure;
  figure.title = std::filesystem::path(options.file.file).filename().string() + ", before and after";
  figure.height = 800;
  const double highHz = std::min(20000.0, 0.499 * file.rate);
  const double end = file.start + static_cast<double>(before.Frames()) / file.rate;
  const auto add = [&](const char* title, const StereoSignal& signal) {
    Panel panel{title, Axis::Seconds(file.start, end), Axis::Frequency(kLowHz, highHz)};
    panel.map = Spectrogram(signal, file.rate, file.start, highHz);
    figure.panels.push_back(std::move(panel));
  };
  add("Before", before);
  add("After", after);
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddSpectrogramPlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<SpectrogramOptions>();
  const Command command =
      plot.AddCommand("spectrogram", "The same over time and frequency, both channels together");
  options->file.AddTo(command);
  command.AddOption("--tail", options->tail, "seconds to go on behind the file").ShowStart();
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
