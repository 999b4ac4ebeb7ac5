#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Variants.h"
#include "dsp/stage/SweepLfo.h"
#include "host/ParameterTable.h"

namespace Vantora::cli {
namespace {

constexpr double kStep = 48.0 / 48000.0;  // s, one block of the effect at 48 kHz
constexpr size_t kPoints = 400;

struct TapsOptions {
  VariantOptions sound;
  PlotOptions picture;
  double seconds = 10.0;
};

/// A panel a side, with one line a voice.
void AddPanels(Figure& figure, const Variant& variant, double seconds) {
  const float amount = variant.Value("Prismelion");
  const auto voices = static_cast<uint32_t>(variant.Value("Voices"));
  const host::ParameterTable& table = host::ParameterTable::Get();
  const float depth = table.At("Detune").ToValue(amount);  // ms
  dsp::SweepLfo sweep;
  sweep.Restart();
  sweep.SetRate(dsp::kVoiceCount, table.At("Prismel_Rate").ToValue(amount), static_cast<float>(kStep));

  std::array<Panel, 2> panels;
  for (size_t side = 0; side < 2; ++side) {
    panels[side].title =
        fmt::format("{} side at Prismelion {:g}", side == 0 ? "Left" : "Right", static_cast<double>(amount));
    panels[side].x = Axis::Seconds(0.0, seconds);
    panels[side].y = {"Delay (ms)", "delay_ms", 0.0, table.At("Detune").Maximum() + 0.5};
    for (uint32_t v = 0; v < voices; ++v) {
      Series series;
      series.name = fmt::format("voice {}", v + 1);
      series.colour = ScaleColour(voices > 1 ? static_cast<double>(v) / (voices - 1) : 0.0);
      panels[side].series.push_back(std::move(series));
    }
  }
  const auto blocks = static_cast<size_t>(seconds / kStep);
  const size_t every = std::max<size_t>(blocks / kPoints, 1);
  for (size_t block = 0; block <= blocks; ++block) {
    sweep.Advance(dsp::kVoiceCount / 2);
    if (block % every != 0) continue;
    for (uint32_t side = 0; side < 2; ++side) {
      for (uint32_t v = 0; v < voices; ++v) {
        Series& series = panels[side].series[v];
        series.x.push_back(static_cast<double>(block) * kStep);
        series.y.push_back(static_cast<double>(std::max(sweep.Output(v, side) * depth, 1.0f / 48.0f)));
      }
    }
  }
  for (Panel& panel : panels) figure.panels.push_back(std::move(panel));
}

void Run(const TapsOptions& options) {
  options.picture.Check();
  Figure figure;
  figure.title = "Delays of the taps";
  for (const Variant& variant : options.sound.Variants()) AddPanels(figure, variant, options.seconds);
  figure.height = static_cast<int>(std::max<size_t>(330 * figure.panels.size(), 500));
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddTapsPlot(Command plot, CommandContext&) {
  auto options = std::make_shared<TapsOptions>();
  const Command command =
      plot.AddCommand("taps", "The delays of the voices' taps over time, without what the LFO adds");
  command.AddOption("--duration", options->seconds, "how long to watch").Range(0.1, 3600.0).ShowStart();
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
