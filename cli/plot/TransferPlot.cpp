#include <fmt/format.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/plot/EffectRun.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Variants.h"
#include "host/ParameterTable.h"

namespace Vantora::cli {
namespace {

constexpr int kRate = 48000;
constexpr double kHertz = 2.0;    // slow enough for the one sample of delay not to matter
constexpr size_t kRise = 12000;   // samples from the lowest to the highest point
constexpr size_t kStart = 18000;  // where the sine is lowest, three quarters through its cycle
constexpr size_t kEvery = 15;

struct TransferOptions {
  VariantOptions sound;
  PlotOptions picture;
  std::string drives = "0,12,24";
};

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> parts;
  std::istringstream text(list);
  for (std::string part; std::getline(text, part, ',');) parts.push_back(part);
  if (parts.empty()) throw UsageError("--drives: names no drive");
  return parts;
}

void Run(const TransferOptions& options, const CommandContext& context) {
  options.picture.Check();
  const std::vector<std::string> drives = Split(options.drives);
  StereoSignal sine(kStart + kRise);
  for (size_t i = 0; i < sine.Frames(); ++i) {
    sine.left[i] =
        static_cast<float>(std::sin(2.0 * std::numbers::pi * kHertz * static_cast<double>(i) / kRate));
  }
  sine.right = sine.left;

  Figure figure;
  figure.title = "Output over input of the distortions, level compensation included";
  figure.columns = 2;
  figure.width = 1100;
  figure.height = 900;
  for (const std::string& algorithm : host::ParameterTable::Get().At("DistortionAlgorithm").Labels()) {
    Panel panel{algorithm, {"Input", "input", -1.0, 1.0}, {"Output", "output", -1.1, 1.1}};
    for (size_t d = 0; d < drives.size(); ++d) {
      std::vector<std::string> usual = StageAlone();
      usual.insert(usual.end(),
                   {"FXType=distortion", "DistortionAlgorithm=" + algorithm, "DistortionDrive=" + drives[d]});
      const Variant variant = options.sound.Variants(usual).front();
      const StereoSignal output = RunEffect(context, variant.sound.Writes(), sine, kRate);
      Series series;
      series.name = variant.Text("DistortionDrive");
      series.colour = ScaleColour(
          drives.size() > 1 ? static_cast<double>(d) / static_cast<double>(drives.size() - 1) : 0.0);
      for (size_t i = kStart; i < sine.Frames(); i += kEvery) {
        series.x.push_back(static_cast<double>(sine.left[i - 1]));
        series.y.push_back(static_cast<double>(output.left[i]));
      }
      panel.series.push_back(std::move(series));
    }
    figure.panels.push_back(std::move(panel));
  }
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddTransferPlot(Command plot, CommandContext& context) {
  auto options = std::make_shared<TransferOptions>();
  const Command command =
      plot.AddCommand("transfer", "Output over input of the four distortions, measured with a slow sine");
  command.AddOption("--drives", options->drives, "values of DistortionDrive to draw, dB").ShowStart();
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
