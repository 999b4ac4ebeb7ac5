#include "cli/plot/GnuplotScript.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Vantora::cli {
namespace {

constexpr const char* kInk = "#404040";
constexpr const char* kGrid = "#dcdcdc";
constexpr const char* kKey = "noenhanced samplen 2 spacing 1.15 Left reverse";
/// Magma-like: quiet is dark, and equal steps of level look equal.
constexpr const char* kHeatColours =
    "set palette defined (0 '#000004', 1 '#1c1044', 2 '#4f127b', 3 '#812581', 4 '#b5367a', 5 '#e55064', "
    "6 '#fb8761', 7 '#fec287', 8 '#fcfdbf')\n";

/// The text with what isn't UTF-8 in it replaced by question marks: a file's name may be any bytes, a
/// picture's text may not.
std::string Utf8(const std::string& text) {
  std::string valid;
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xc2 && lead < 0xe0 ? 2
                          : lead >= 0xe0 && lead < 0xf0 ? 3
                          : lead >= 0xf0 && lead < 0xf5 ? 4
                                                        : 0;
    bool isWhole = length > 0 && i + length <= text.size();
    for (size_t k = 1; isWhole && k < length; ++k) {
      isWhole = (static_cast<unsigned char>(text[i + k]) & 0xc0) == 0x80;
    }
    valid += isWhole ? text.substr(i, length) : "?";
    i += isWhole ? length : 1;
  }
  return valid;
}

/// Text in gnuplot's single quotes: inside double ones it would run what stands in backquotes.
std::string Text(const std::string& text) {
  std::string quoted = "'";
  for (const char c : Utf8(text)) {
    if (c == '\'') quoted += '\'';
    quoted += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  return quoted + '\'';
}

/// Room: how large a panel is, and its letters. A letter of a font of `font` points is about 1.4 times as
/// many pixels high and, on average, 0.8 times as many wide.
struct Room {
  double width, height;  ///< pixels, axes and titles included
  int font;              ///< points

  double Height() const { return 1.4 * font; }  ///< of a line
  double WidthOf(const std::string& text) const { return 0.8 * font * static_cast<double>(text.size()); }
};

/// Smaller letters in smaller panels.
Room RoomOf(const Figure& figure, size_t rows) {
  constexpr double kTitle = 40.0, kFullHeight = 190.0, kFullWidth = 520.0;  // pixels
  constexpr double kLargest = 13.0, kSmallest = 6.0;                        // points
  const double width = static_cast<double>(figure.width) / figure.columns;
  const double height = (figure.height - kTitle) / static_cast<double>(rows);
  const double size = kLargest * std::min({1.0, height / kFullHeight, width / kFullWidth});
  return {width, height, static_cast<int>(std::lround(std::max(size, kSmallest)))};
}

/// The least of 1, 2, 5, 10 ... times a power of ten that isn't below `step`, which is above 0.
double EvenStep(double step) {
  const double power = std::pow(10.0, std::floor(std::log10(step)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= step * 0.999) return factor * power;
  }
  return 10.0 * power;
}

/// Draws one panel; data blocks have been written under $d<first>, $d<first + 1>, ...
class PanelWriter {
 public:
  PanelWriter(fmt::memory_buffer& buffer, const Panel& source, const Room& itsRoom)
      : text(buffer), panel(source), room(itsRoom) {}

  void WriteData(size_t& block) {
    first = block;
    for (const Series& series : panel.series) {
      Add("$d{} << EOD\n", block++);
      for (size_t i = 0; i < series.x.size(); ++i) {
        Add("{:.7g} {:.6g}", series.x[i], series.y[i]);
        if (!series.upper.empty()) Add(" {:.6g}", series.upper[i]);
        Add("\n");
      }
      Add("EOD\n");
    }
    if (panel.map) WriteMapData(block++);
  }

  /// `isLast`: no panel below says what x counts. `isWide`: there is room for names beside the axes.
  void Draw(bool isLast, bool isWide) {
    // What the axes are drawn on, with titles, marks and their labels beside it.
    const double across = room.width - 8.0 * room.font, upwards = 0.9 * room.height - 4.5 * room.Height();
    WriteAxis("x", panel.x, across);
    // Panels over each other share what the axis counts.
    Add("{}\nset format x {}\n", isLast ? "" : "unset xlabel", isLast ? "'%h'" : "''");
    WriteAxis("y", panel.y, upwards);
    if (room.WidthOf(panel.y.label) > room.height - 2.0 * room.Height()) Add("unset ylabel\n");
    Add("set title {} noenhanced offset 0,-0.5\n", Text(Fitting(panel.title, across)));
    size_t named = 0;
    for (const Series& series : panel.series) named += series.name.empty() ? 0 : 1;
    Add("unset key\nunset bmargin\n");
    if (named > 0 && isWide) Add("set key outside right top vertical {}\n", kKey);
    if (named > 0 && !isWide) {
      // Room for the names, in lines: gnuplot would put them over the axis' own.
      double widest = 0.0;
      for (const Series& series : panel.series) widest = std::max(widest, room.WidthOf(series.name));
      const double perLine = std::max(1.0, std::floor(room.width / (widest + 6.0 * room.font)));
      const double lines = std::ceil(static_cast<double>(named) / perLine);
      Add("set key outside below center horizontal {}\nset bmargin {:.2f}\n", kKey,
          (isLast ? 4.0 : 2.3) + 1.5 * lines);
    }
    Add("plot ");
    if (panel.map) DrawMap();
    for (size_t i = 0; i < panel.series.size(); ++i)
      DrawSeries(panel.series[i], first + i, i > 0 || panel.map);
    Add("\n");
  }

 private:
  template <typename... Arguments>
  void Add(fmt::format_string<Arguments...> form, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(text), form, std::forward<Arguments>(arguments)...);
  }

  // A map is drawn on evenly spaced places: on a logarithmic axis these are the logarithms.
  double Place(const Axis& axis, double value) const {
    return panel.map && axis.isLogarithmic ? std::log10(value) : value;
  }

  /// The text, or as much of its beginning as there is room for.
  std::string Fitting(const std::string& title, double pixels) const {
    if (room.WidthOf(title) <= pixels) return title;
    const auto letters = static_cast<size_t>(std::max(4.0, pixels / (0.8 * room.font)));
    return title.size() <= letters ? title : title.substr(0, letters - 3) + "...";
  }

  /// `length` of the axis in pixels: marks that would stand over each other are left out.
  void WriteAxis(const char* name, const Axis& axis, double length) {
    const bool isLogScale = axis.isLogarithmic && !panel.map;
    Add("{} {}{}\n", isLogScale ? "set logscale" : "unset logscale", name, isLogScale ? " 10" : "");
    Add("set {}range [{:.9g}:{:.9g}]\n", name, Place(axis, axis.low), Place(axis, axis.high));
    Add("set {}label {} noenhanced\n", name, Text(axis.label));
    if (axis.marks.empty()) {
      // gnuplot's own choice doesn't look at the room there is.
      const double least = *name == 'x' ? 7.0 * room.font : 1.5 * room.Height();
      if (isLogScale) {
        Add("set {}tics autofreq\n", name);
      } else {
        Add("set {}tics {:.9g}\n", name, EvenStep((axis.high - axis.low) * least / std::max(length, least)));
      }
      return;
    }
    const auto place = [&axis, length](double value) {
      const double low = axis.isLogarithmic ? std::log(axis.low) : axis.low;
      const double high = axis.isLogarithmic ? std::log(axis.high) : axis.high;
      return length * ((axis.isLogarithmic ? std::log(value) : value) - low) / (high - low);
    };
    Add("set {}tics (", name);
    double end = -1e9;  // of the last mark, in pixels
    bool isFirst = true;
    for (const auto& [value, label] : axis.marks) {
      const double half = 0.5 * (*name == 'x' ? room.WidthOf(label) + room.font : room.Height());
      if (place(value) - half < end) continue;
      end = place(value) + half;
      Add("{}{} {:.9g}", isFirst ? "" : ", ", Text(label), Place(axis, value));
      isFirst = false;
    }
    Add(")\n");
  }

  void WriteMapData(size_t block) {
    const HeatMap& map = *panel.map;
    Add("$d{} << EOD\n", block);
    for (size_t row = 0; row < map.y.size(); ++row) {
      for (size_t column = 0; column < map.x.size(); ++column) {
        Add("{:.7g} {:.6g} {:.4g}\n", Place(panel.x, map.x[column]), Place(panel.y, map.y[row]),
            map.levels[row * map.x.size() + column]);
      }
    }
    Add("EOD\n");
  }

  void DrawMap() { Add("$d{} using 1:2:3 with image notitle", first + panel.series.size()); }

  void DrawSeries(const Series& series, size_t block, bool hasPrevious) {
    if (hasPrevious) Add(", ");
    const std::string title = series.name.empty() ? "notitle" : "title " + Text(series.name);
    if (series.upper.empty()) {
      Add("$d{} using 1:2 with lines lc rgb '{}' lw {} {} {}", block, series.colour, series.width,
          series.isDashed ? "dt (7,4)" : "dt solid", title);
    } else {
      Add("$d{} using 1:2:3 with filledcurves lc rgb '{}' lw 1 {}", block, series.colour, title);
    }
  }

  fmt::memory_buffer& text;
  const Panel& panel;
  const Room& room;
  size_t first = 0;
};

}  // namespace

std::string GnuplotScript(const Figure& figure, PictureType type) {
  fmt::memory_buffer text;
  const auto out = std::back_inserter(text);
  const size_t rows = (figure.panels.size() + figure.columns - 1) / figure.columns;
  const Room room = RoomOf(figure, rows);
  fmt::format_to(out, "set encoding utf8\nset terminal {} size {},{} {} font '{},{}' linewidth 1\n",
                 type == PictureType::kPng ? "pngcairo" : "svg", figure.width, figure.height,
                 type == PictureType::kPng ? "background rgb 'white'" : "background rgb 'white' dynamic",
                 "DejaVu Sans", room.font);
  fmt::format_to(out, "set border 3 lc rgb '{0}' lw 1\nset tics nomirror out scale 0.5 textcolor rgb '{0}'\n",
                 kInk);
  fmt::format_to(out, "set grid lt 1 lc rgb '{}' lw 1\nset style fill solid 1.0 noborder\n", kGrid);
  fmt::format_to(out, "{}", kHeatColours);

  std::vector<PanelWriter> writers;
  size_t block = 0;
  for (const Panel& panel : figure.panels) writers.emplace_back(text, panel, room).WriteData(block);

  fmt::format_to(
      out, "set multiplot layout {},{} title {} noenhanced font 'DejaVu Sans Bold,{}' offset 0,-0.3\n", rows,
      figure.columns, Text(figure.title),
      std::min(room.font + 3,
               std::max(6, static_cast<int>(1.1 * figure.width / std::max<size_t>(figure.title.size(), 1)))));
  for (size_t i = 0; i < writers.size(); ++i) {
    if (figure.panels[i].map) {
      const HeatMap& map = *figure.panels[i].map;
      fmt::format_to(out, "set cbrange [{:.6g}:{:.6g}]\nset cblabel {} noenhanced\n", map.low, map.high,
                     Text(map.label));
      fmt::format_to(out, "unset grid\nset border 15\n");
    }
    const bool isLowest = i + figure.columns >= figure.panels.size();
    const Axis& own = figure.panels[i].x;
    const Axis& below = figure.panels[isLowest ? i : i + figure.columns].x;
    const bool isLast =
        isLowest || own.label != below.label || own.low != below.low || own.high != below.high;
    writers[i].Draw(isLast, figure.columns == 1 && figure.width >= 700);
  }
  fmt::format_to(out, "unset multiplot\n");
  return fmt::to_string(text);
}

}  // namespace Vantora::cli
