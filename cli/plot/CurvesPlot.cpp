#include <fmt/format.h>

#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "dsp/effects/ShapingCurves.h"

namespace Vantora::cli {
namespace {

constexpr double kReach = 3.0;  // of the input, 9.5 dB above full scale
constexpr size_t kPoints = 601;

void Run(const PlotOptions& picture) {
  picture.Check();
  Figure figure;
  figure.title = "The sixteen shaping curves";
  figure.columns = 4;
  figure.width = 1200;
  figure.height = 1100;
  for (uint32_t algorithm = 0; algorithm < dsp::kShapingCurveCount; ++algorithm) {
    Panel panel{fmt::format("{}  {}", algorithm, dsp::kShapingCurveNames[algorithm]),
                {"Input", "input", -kReach, kReach},
                {algorithm % 4 == 0 ? "Output" : "", "output", -1.2, 1.2}};
    Series series;
    series.colour = CategoryColour(algorithm / 4);
    series.x = Spaced(-kReach, kReach, kPoints);
    dsp::VisitShapingCurve(algorithm, [&](auto curve) {
      for (const double x : series.x) series.y.push_back(curve.Curve(x));
    });
    panel.series.push_back({"", {-1.2, 1.2}, {-1.2, 1.2}, {}, "#bbbbbb", 1.0, true, true});
    panel.series.push_back(std::move(series));
    figure.panels.push_back(std::move(panel));
  }
  picture.Show(std::move(figure));
}

}  // namespace

void AddCurvesPlot(Command plot, CommandContext&) {
  auto picture = std::make_shared<PlotOptions>();
  const Command command = plot.AddCommand("curves", "All sixteen curves of the waveshaper");
  picture->AddTo(command);
  command.OnRun([picture] { Run(*picture); });
}

}  // namespace Vantora::cli
