#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

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
constexpr size_t kImpulseFrames = size_t{1} << 18;  // the longest comb has died away
constexpr float kImpulse = 0.5f;
constexpr size_t kNoiseFrames = size_t{1} << 20, kNoisePiece = size_t{1} << 14;
constexpr float kFirstBendingEffect = 3.0f;  // "FXType" from the crusher on isn't a linear filter

struct ResponseOptions {
  VariantOptions sound;
  PlotOptions picture;
  bool stage = false, right = false;
};

StereoSignal Impulse() {
  StereoSignal signal(kImpulseFrames);
  signal.left[0] = signal.right[0] = kImpulse;
  return signal;
}

/// Noise at -20 dBFS: what bends the signal answers as it does to music.
StereoSignal Noise() {
  StereoSignal signal(kNoiseFrames);
  std::minstd_rand draw(1);
  for (size_t i = 0; i < signal.Frames(); ++i) {
    const double uniform = static_cast<double>(draw()) / static_cast<double>(std::minstd_rand::max());
    signal.left[i] = signal.right[i] = static_cast<float>(0.346 * (uniform - 0.5));
  }
  return signal;
}

/// Power of the transfer at evenly spaced frequencies from 0 to half the rate.
std::vector<double> Measure(const CommandContext& context, const Variant& variant, bool right) {
  const bool isFilter = variant.Value("FXType") < kFirstBendingEffect;
  const StereoSignal input = isFilter ? Impulse() : Noise();
  const StereoSignal output = RunEffect(context, variant.sound.Writes(), input, kRate);
  const std::vector<float>& channel = right ? output.right : output.left;
  if (!isFilter) return TransferPower(input.left, channel, kNoisePiece);
  std::vector<double> power = ResponsePower(channel);
  for (double& value : power) value /= static_cast<double>(kImpulse) * static_cast<double>(kImpulse);
  return power;
}

void Run(const ResponseOptions& options, const CommandContext& context) {
  options.picture.Check();
  const std::vector<Variant> variants =
      options.sound.Variants(options.stage ? StageAlone() : std::vector<std::string>{});
  Figure figure;
  figure.title = "Magnitude response" + std::string(options.right ? ", right" : "");
  Panel panel{"", Axis::Frequency(20.0, 20000.0), Axis::Decibels(-60.0, 6.0, "Gain (dB)")};
  double lowest = -6.0, highest = 0.0;
  for (size_t i = 0; i < variants.size(); ++i) {
    const bool isFilter = variants[i].Value("FXType") < kFirstBendingEffect;
    const std::vector<double> power = Measure(context, variants[i], options.right);
    Series series = isFilter ? SpectrumSeries(power, kRate, panel.x, 1500)
                             : SmoothedSeries(power, kRate, panel.x, 1.0 / 6.0);
    series.name = variants[i].label;
    series.colour = CategoryColour(i);
    for (const double level : series.y) {
      lowest = std::min(lowest, level);
      highest = std::max(highest, level);
    }
    panel.series.push_back(std::move(series));
  }
  panel.y.low = std::max(panel.y.low, 6.0 * std::floor((lowest - 1.0) / 6.0));
  panel.y.high = 6.0 * std::ceil((highest + 1.0) / 6.0);
  figure.panels.push_back(std::move(panel));
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddResponsePlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<ResponseOptions>();
  const Command command = plot.AddCommand(
      "response",
      "Gain over frequency of the whole effect: exact for the filters, for the others the linear filter "
      "that comes nearest to what they do to noise at -20 dBFS");
  command.AddFlag("--stage", options->stage,
                  "the stage effect alone: one voice at rest, no dry signal, open filters");
  command.AddFlag("--right", options->right, "the right side in place of the left");
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
