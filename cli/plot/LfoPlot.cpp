#include <fmt/format.h>

#include <array>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Variants.h"
#include "host/HostedProcessor.h"
#include "host/ParameterTable.h"
#include "host/TempoMap.h"

namespace Vantora::cli {
namespace {

constexpr float kRate = 48000.0f;

struct LfoOptions {
  VariantOptions sound;
  PlotOptions picture;
  double seconds = 4.0, bpm = 120.0;
};

/// The LFO as the effect reports it, one value a block.
Series Watch(const CommandContext& context, const Variant& variant, double seconds, double bpm) {
  const host::ProcessorLibrary library(context.LibraryPath(), host::ProcessorLibrary::Image::kPrivate);
  host::HostedProcessor processor(library);
  for (const host::ParameterWrite& write : variant.sound.Writes())
    processor.Set(write.index, write.normalized);
  processor.Init(kRate);
  processor.GetTransport().tempo = bpm;
  processor.GetTransport().isOffline = true;
  const host::Parameter& output = host::ParameterTable::Get().At("LFO_CurrentValueLFeedback");
  const uint32_t block = processor.BlockSize();
  std::array<std::vector<float>, 4> buffers;
  buffers.fill(std::vector<float>(block));
  const std::array<const float*, 2> inputs{buffers[0].data(), buffers[1].data()};
  const std::array<float*, 2> outputs{buffers[2].data(), buffers[3].data()};
  Series series;
  const auto frames = static_cast<uint64_t>(seconds * static_cast<double>(kRate));
  for (uint64_t at = 0; at < frames; at += block) {
    processor.Process(inputs.data(), 2, outputs.data(), 2, block);
    series.x.push_back(static_cast<double>(at) / static_cast<double>(kRate));
    series.y.push_back(static_cast<double>(output.ToValue(processor.Get(output.Index()).value_or(0.0f))));
  }
  return series;
}

void Run(const LfoOptions& options, const CommandContext& context) {
  options.picture.Check();
  Figure figure;
  figure.title = "LFO shapes";
  figure.columns = 2;
  figure.height = 800;
  const std::vector<std::string>& shapes = host::ParameterTable::Get().At("LFOShapeType").Labels();
  for (size_t i = 0; i < shapes.size(); ++i) {
    Panel panel{shapes[i], Axis::Seconds(0.0, options.seconds), {"Output", "output", -1.1, 1.1}};
    const std::vector<Variant> variants =
        options.sound.Variants({"RateUnSynced=1Hz", "LFOShapeType=" + shapes[i]});
    for (size_t v = 0; v < variants.size(); ++v) {
      Series series = Watch(context, variants[v], options.seconds, options.bpm);
      series.name = variants[v].label;
      series.colour = CategoryColour(variants.size() > 1 ? v : i);
      panel.series.push_back(std::move(series));
    }
    figure.panels.push_back(std::move(panel));
  }
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddLfoPlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<LfoOptions>();
  const Command command = plot.AddCommand("lfo", "The six shapes of the LFO, at 1 Hz unless set otherwise");
  command.AddOption("--duration", options->seconds, "how long to watch").Range(0.05, 600.0).ShowStart();
  command.AddOption("--bpm", options->bpm, "tempo, quarter notes a minute")
      .Range(host::TempoMap::kLowest, host::TempoMap::kHighest)
      .ShowStart();
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
