#include <fmt/format.h>

#include <array>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Spectrum.h"
#include "dsp/effects/prims/Oversampler.h"

namespace Vantora::cli {
namespace {

constexpr double kRate = 48000.0;
constexpr uint32_t kFrames = 4096;

struct SamplerOptions {
  PlotOptions picture;
  uint32_t factor = 4;
};

/// Power over frequency, 0 to factor * 24 kHz, of the way up: pass band 1, images above 24 kHz.
std::vector<double> Measure(uint32_t factor, uint32_t kind) {
  prims::Oversampler sampler(factor, kind, 1);
  sampler.Init(kFrames);
  std::vector<float> impulse(kFrames), response(size_t{kFrames} * factor);
  impulse[0] = 1.0f;
  sampler.Upsample(impulse.data(), response.data(), kFrames);
  // A power of two of samples: the response has died away long before.
  size_t size = 1;
  while (size * 2 <= response.size()) size *= 2;
  response.resize(size);
  std::vector<double> power = ResponsePower(response);
  for (double& value : power) value /= static_cast<double>(factor) * factor;
  return power;
}

void Run(const SamplerOptions& options) {
  options.picture.Check();
  Figure figure;
  figure.title = fmt::format("Sampler filters, 48 kHz times {}", options.factor);
  figure.height = 800;
  const double high = 0.5 * kRate * options.factor;
  const auto kilohertz = [](double from, double to) {
    return Axis{"Frequency (kHz)", "frequency_khz", from, to};
  };
  Panel whole{"What is let through", kilohertz(0.0, high / 1000.0), Axis::Decibels(-140.0, 5.0, "Gain (dB)")};
  Panel edge{"The edge of the audible", kilohertz(16.0, 32.0), Axis::Decibels(-6.0, 1.0, "Gain (dB)")};
  const std::array<const char*, 3> names = {"kind 0: 14 poles without latency",
                                            "kind 1: 10 poles without latency", "kind 3: linear phase"};
  const std::array<uint32_t, 3> kinds = {0, 1, 3};
  for (size_t i = 0; i < kinds.size(); ++i) {
    const std::vector<double> power = Measure(options.factor, kinds[i]);
    for (Panel* panel : {&whole, &edge}) {
      const Axis axis{"", "", panel->x.low * 1000.0, panel->x.high * 1000.0};
      Series series = SpectrumSeries(power, kRate * options.factor, axis, 1200);
      series.name = names[i];
      series.colour = CategoryColour(i);
      series.width = 1.5;
      for (double& x : series.x) x /= 1000.0;
      panel->series.push_back(std::move(series));
    }
  }
  figure.panels = {std::move(whole), std::move(edge)};
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddSamplerPlot(Command plot, CommandContext&) {
  auto options = std::make_shared<SamplerOptions>();
  const Command command = plot.AddCommand("sampler", "Filters of the oversamplers");
  command.AddOption("--factor", options->factor, "2, 4, 6, 8, 16 or 32")
      .OneOf({2u, 4u, 6u, 8u, 16u, 32u})
      .ShowStart();
  options->picture.AddTo(command);
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
