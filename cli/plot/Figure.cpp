#include "cli/plot/Figure.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace Vantora::cli {
namespace {

std::string Quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

/// Line that names the columns of one panel.
std::string Header(const Panel& panel) {
  if (panel.map) return fmt::format("panel,{},{},{}\n", panel.x.column, panel.y.column, panel.map->column);
  const bool hasBands =
      std::any_of(panel.series.begin(), panel.series.end(), [](const Series& s) { return !s.upper.empty(); });
  return hasBands
             ? fmt::format("panel,series,{},{}_low,{}_high\n", panel.x.column, panel.y.column, panel.y.column)
             : fmt::format("panel,series,{},{}\n", panel.x.column, panel.y.column);
}

}  // namespace

Axis Axis::Frequency(double low, double high) {
  Axis axis{"Frequency (Hz)", "frequency_hz", low, high, true};
  for (const double decade : {1.0, 10.0, 100.0, 1e3, 1e4, 1e5}) {
    for (const double step : {1.0, 2.0, 5.0}) {
      const double hz = decade * step;
      if (hz < low * 0.999 || hz > high * 1.001) continue;
      axis.marks.emplace_back(hz, hz < 1000.0 ? fmt::format("{:g}", hz) : fmt::format("{:g}k", hz / 1000.0));
    }
  }
  return axis;
}

Axis Axis::Decibels(double low, double high, const std::string& label) {
  return {label, "level_db", low, high};
}

Axis Axis::Seconds(double low, double high) { return {"Time (s)", "time_s", low, high}; }

std::string Figure::Csv() const {
  fmt::memory_buffer text;
  const auto out = std::back_inserter(text);
  std::string header;
  for (const Panel& panel : panels) {
    if (const std::string own = Header(panel); own != header) {
      if (!header.empty()) fmt::format_to(out, "\n");
      fmt::format_to(out, "{}", own);
      header = own;
    }
    const std::string name = Quoted(panel.title);
    for (const Series& series : panel.series) {
      if (series.isGuide) continue;
      const std::string label = Quoted(series.name);
      for (size_t i = 0; i < series.x.size(); ++i) {
        fmt::format_to(out, "{},{},{:.9g},{:.9g}", name, label, series.x[i], series.y[i]);
        if (!series.upper.empty()) fmt::format_to(out, ",{:.9g}", series.upper[i]);
        fmt::format_to(out, "\n");
      }
    }
    if (!panel.map) continue;
    const HeatMap& map = *panel.map;
    for (size_t column = 0; column < map.x.size(); ++column) {
      for (size_t row = 0; row < map.y.size(); ++row) {
        fmt::format_to(out, "{},{:.6g},{:.6g},{:.4g}\n", name, map.x[column], map.y[row],
                       map.levels[row * map.x.size() + column]);
      }
    }
  }
  return fmt::to_string(text);
}

const std::string& CategoryColour(size_t index) {
  static const std::array<std::string, 8> kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                                      "#e69f00", "#56b4e9", "#555555", "#8c6d31"};
  return kColours[index % kColours.size()];
}

std::string ScaleColour(double place) {
  struct Stop {
    double red, green, blue;
  };
  static constexpr std::array<Stop, 6> kStops = {
      {{68, 1, 84}, {65, 68, 135}, {42, 120, 142}, {34, 168, 132}, {122, 200, 60}, {200, 190, 20}}};
  const double at = std::clamp(place, 0.0, 1.0) * (kStops.size() - 1);
  const auto below = std::min(static_cast<size_t>(at), kStops.size() - 2);
  const double share = at - static_cast<double>(below);
  const auto mix = [share](double a, double b) { return static_cast<int>(std::lround(a + share * (b - a))); };
  return fmt::format("#{:02x}{:02x}{:02x}", mix(kStops[below].red, kStops[below + 1].red),
                     mix(kStops[below].green, kStops[below + 1].green),
                     mix(kStops[below].blue, kStops[below + 1].blue));
}

std::vector<double> Spaced(double low, double high, size_t count) {
  std::vector<double> places(count);
  for (size_t i = 0; i < count; ++i) {
    places[i] =
        low + (high - low) * static_cast<double>(i) / static_cast<double>(std::max<size_t>(count, 2) - 1);
  }
  return places;
}

std::vector<double> LogSpaced(double low, double high, size_t count) {
  std::vector<double> places = Spaced(std::log(low), std::log(high), count);
  for (double& place : places) place = std::exp(place);
  return places;
}

}  // namespace Vantora::cli
