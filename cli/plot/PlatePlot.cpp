#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/plot/EffectRun.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "dsp/effects/Reverb.h"

namespace Vantora::cli {
namespace {

constexpr int kRate = 48000;
constexpr uint32_t kBlock = 48;

struct PlateOptions {
  PlotOptions picture;
  double seconds = 3.0, damping = 0.0005;
  std::string decays = "0.5,0.7,0.85";
};

StereoSignal ImpulseResponse(double decay, double damping, double seconds) {
  dsp::Reverb plate("Plate");
  plate.SetParamInternal(dsp::DattorroCore::kDecay, static_cast<float>(decay));
  plate.SetParamInternal(dsp::DattorroCore::kDamping, static_cast<float>(damping));
  plate.SetParamInternal(dsp::Reverb::kOwnBase + dsp::Reverb::kWet, 1.0f);
  plate.Init(kBlock, static_cast<float>(kRate));
  StereoSignal response(static_cast<size_t>(seconds * kRate) / kBlock * kBlock);
  std::array<float, kBlock> input{};
  input[0] = 1.0f;
  for (size_t at = 0; at < response.Frames(); at += kBlock) {
    std::array<float*, 2> inputs{input.data(), input.data()};
    std::array<float*, 2> outputs{response.left.data() + at, response.right.data() + at};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = kBlock;
    plate.Process(context);
    input[0] = 0.0f;
  }
  return response;
}

/// What is still to come, in dB of the whole (M. Schroeder, "New Method of Measuring Reverberation Time",
/// J. Acoust. Soc. Am. 37, 1965).
std::vector<double> RemainingEnergy(const StereoSignal& response) {
  std::vector<double> rest(response.Frames());
  double sum = 0.0;
  for (size_t i = rest.size(); i-- > 0;) {
    const auto left = static_cast<double>(response.left[i]), right = static_cast<double>(response.right[i]);
    rest[i] = sum += left * left + right * right;
  }
  for (double& value : rest) value = 10.0 * std::log10(std::max(value / sum, 1e-20));
  return rest;
}

/// Seconds for 60 dB at the pace between -5 and -35 dB.
double DecayTime(const std::vector<double>& rest) {
  const auto when = [&rest](double level) {
    const auto below =
        std::find_if(rest.begin(), rest.end(), [level](double value) { return value <= level; });
    return static_cast<double>(below - rest.begin()) / kRate;
  };
  return 2.0 * (when(-35.0) - when(-5.0));
}

void Run(const PlateOptions& options) {
  options.picture.Check();
  std::vector<double> decays;
  std::istringstream list(options.decays);
  for (std::string text; std::getline(list, text, ',');) decays.push_back(ParseNumber("--decays", text));
  if (decays.empty()) throw UsageError("--decays: names no decay");

  Figure figure;
  figure.title = "Plate reverb";
  figure.height = 800;
  Panel early{fmt::format("Impulse response at Decay {:g}  (left)", decays.back()),
              Axis::Seconds(0.0, 0.25),
              {"Amplitude", "amplitude", -0.2, 0.2}};
  Panel decay{"Energy still to come", Axis::Seconds(0.0, options.seconds), Axis::Decibels(-70.0, 0.0)};
  for (size_t i = 0; i < decays.size(); ++i) {
    if (decays[i] < 0.0 || decays[i] >= 1.0) throw UsageError("--decays: a decay lies from 0 to below 1");
    // Long enough for the line to reach -35 dB without the end of the measurement in it.
    const StereoSignal response = ImpulseResponse(decays[i], options.damping, options.seconds + 20.0);
    const std::vector<double> rest = RemainingEnergy(response);
    Series series;
    series.name = fmt::format("Decay {:g}: {:.1f} s for 60 dB", decays[i], DecayTime(rest));
    series.colour = CategoryColour(i);
    for (const double x : Spaced(0.0, options.seconds, 600)) {
      series.x.push_back(x);
      series.y.push_back(std::max(rest[static_cast<size_t>(x * kRate)], -100.0));
    }
    decay.series.push_back(std::move(series));
    if (i + 1 < decays.size()) continue;
    Series impulse{"", {}, {}, {}, "#404040", 0.8};
    double peak = 0.0;
    for (size_t n = 0; n < kRate / 4; ++n) {
      impulse.x.push_back(static_cast<double>(n) / kRate);
      impulse.y.push_back(static_cast<double>(response.left[n]));
      peak = std::max(peak, std::abs(impulse.y.back()));
    }
    early.y.low = -1.05 * peak;
    early.y.high = 1.05 * peak;
    early.series.push_back(std::move(impulse));
  }
  figure.panels = {std::move(early), std::move(decay)};
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddPlatePlot(Command plot, CommandContext&) {
  auto options = std::make_shared<PlateOptions>();
  const Command command =
      plot.AddCommand("plate", "The plate reverb's impulse response and how it dies away");
  command.AddOption("--decays", options->decays, "values of Decay to draw").ShowStart();
  command.AddOption("--damping", options->damping, "value of Damping").Range(0.0, 1.0).ShowStart();
  command.AddOption("--duration", options->seconds, "how long to watch").Range(0.5, 60.0).ShowStart();
  options->picture.AddTo(command);
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
