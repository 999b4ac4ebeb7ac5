#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/plot/PlotKinds.h"
#include "cli/plot/PlotOptions.h"
#include "cli/plot/Variants.h"
#include "dsp/stage/StageRoutes.h"
#include "host/ParameterTable.h"

namespace Vantora::cli {
namespace {

constexpr size_t kPoints = 101;

struct SpreadOptions {
  VariantOptions sound;
  PlotOptions picture;
};

/// Names of the columns, by "FXType".
constexpr std::array<const char*, dsp::kStageRoutes.size()> kColumns = {"",        "cutoff_hz", "pitch_hz",
                                                                        "divisor", "drive_db",  "spray_ms"};

void AddPanel(Figure& figure, const Variant& variant) {
  const auto type = static_cast<size_t>(variant.Value("FXType"));
  const dsp::StageRoute& route = dsp::kStageRoutes[type];
  if (route.law == dsp::SpreadLaw::kNone) {
    throw UsageError("there is nothing to spread while FXType is off; try --set FXType=band-pass");
  }
  const char* name = dsp::PrismelKnobs::kOwnRows[route.primary].name;
  const host::Parameter& parameter = host::ParameterTable::Get().At(name);
  const float primary = variant.Value(name);
  const auto voices = static_cast<uint32_t>(variant.Value("Voices"));
  const std::array<dsp::StageSpread, 2> spreads = dsp::StageSpread::Sides();
  const bool isHertz = parameter.GetUnit() == host::Unit::kHertz;
  const bool isRatio = route.law == dsp::SpreadLaw::kRatio;
  const std::string unit = std::string(host::UnitName(parameter.GetUnit()));
  Panel panel;
  panel.title = fmt::format("{} {}", name, variant.Text(name));
  panel.x = {"Prismelion", "prismelion", 0.0, 1.0};
  panel.y = isHertz ? Axis::Frequency(parameter.Minimum(), parameter.Maximum())
                    : Axis{fmt::format("{} ({})", name, unit), "", parameter.Minimum(), parameter.Maximum(),
                           isRatio};
  if (isHertz) panel.y.label = fmt::format("{} (Hz)", name);
  panel.y.column = kColumns[type];
  const std::vector<double> amounts = Spaced(0.0, 1.0, kPoints);
  for (uint32_t side = 0; side < 2; ++side) {
    for (uint32_t v = 0; v < voices; ++v) {
      Series series;
      series.name = fmt::format("{} {}", side == 0 ? "left" : "right", v + 1);
      series.colour = ScaleColour(voices > 1 ? static_cast<double>(v) / (voices - 1) : 0.0);
      series.isDashed = side == 1;
      for (const double place : amounts) {
        const auto amount = static_cast<float>(place);
        const float value = spreads[side].At(route.law, v, primary, amount, route.span);
        series.x.push_back(place);
        series.y.push_back(static_cast<double>(std::clamp(value, parameter.Minimum(), parameter.Maximum())));
      }
      panel.series.push_back(std::move(series));
    }
  }
  figure.panels.push_back(std::move(panel));
}

void Run(const SpreadOptions& options) {
  options.picture.Check();
  Figure figure;
  figure.title = "Spread of the voices";
  for (const Variant& variant : options.sound.Variants({"Voices=8"})) AddPanel(figure, variant);
  figure.height = figure.panels.size() > 1 ? static_cast<int>(450 * figure.panels.size()) : 675;
  options.picture.Show(std::move(figure));
}

}  // namespace

void AddSpreadPlot(Command plot, CommandContext&) {
  auto options = std::make_shared<SpreadOptions>();
  const Command command =
      plot.AddCommand("spread", "Each voice's value of the effect's first knob over Prismelion, both sides");
  options->sound.AddTo(command);
  options->picture.AddTo(command);
  command.OnRun([options] { Run(*options); });
}

}  // namespace Vantora::cli
