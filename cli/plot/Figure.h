#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vantora::cli {

/// Axis: one direction of a panel.
struct Axis {
  std::string label;   ///< with its unit, as people read it
  std::string column;  ///< name of its column in a table of the data: "frequency_hz"
  double low = 0.0, high = 1.0;
  bool isLogarithmic = false;
  /// Marks in place of the automatic ones: where, and what stands there.
  std::vector<std::pair<double, std::string>> marks = {};

  /// Logarithmic, Hz, with marks at 20, 50, 100 ... in the range.
  static Axis Frequency(double low, double high);
  /// Linear, dB.
  static Axis Decibels(double low, double high, const std::string& label = "Level (dB)");
  /// Linear, s.
  static Axis Seconds(double low, double high);
};

/// Series: one line of a panel, or, with `upper`, the band between two lines.
struct Series {
  std::string name;  ///< in the legend; empty: not in it
  std::vector<double> x, y;
  std::vector<double> upper = {};  ///< empty for a line
  std::string colour = "#0072b2";  ///< "#rrggbb"
  double width = 2.0;
  bool isDashed = false;
  bool isGuide = false;  ///< helps the eye; not in a table of the data
};

/// HeatMap: levels over a grid of points, drawn as an image. On a
/// logarithmic axis the points are spaced evenly in the logarithm.
struct HeatMap {
  std::vector<double> x, y;    ///< places of the columns and rows
  std::vector<double> levels;  ///< row by row, x.size() * y.size()
  double low = -96.0, high = 0.0;
  std::string label;   ///< of the colour scale
  std::string column;  ///< in a table of the data
};

/// Panel: one pair of axes and what is drawn in them.
struct Panel {
  std::string title;
  Axis x, y;
  std::vector<Series> series = {};
  std::optional<HeatMap> map = {};
};

/// Figure: a whole picture, free of how it is drawn.
struct Figure {
  std::string title;
  std::vector<Panel> panels;
  uint32_t columns = 1;  ///< panels side by side
  int width = 1200, height = 675;

  /// The data as CSV: panel, series, x and y a line, with the axes' names in the first. Axes that differ from
  /// panel to panel begin a new table, behind an empty line.
  std::string Csv() const;
};

/// Colours that people with any colour vision tell apart (Okabe
/// and Ito, "Color Universal Design", 2008); repeats after eight.
const std::string& CategoryColour(size_t index);
/// A colour from a scale of even steps from dark violet to green yellow; `place` 0 to 1.
std::string ScaleColour(double place);

/// `count` places from `low` to `high`, both included, evenly spaced.
std::vector<double> Spaced(double low, double high, size_t count);
/// The same, evenly spaced in the logarithm; both ends above 0.
std::vector<double> LogSpaced(double low, double high, size_t count);

}  // namespace Vantora::cli
