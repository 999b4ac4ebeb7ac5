#include "cli/plot/PlotOptions.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <filesystem>

#include "cli/Failure.h"
#include "cli/audio/PendingFile.h"
#include "cli/plot/Gnuplot.h"

namespace Vantora::cli {
namespace {

constexpr int kSmallest = 200, kLargest = 8000;  // pixels

/// "1200x675" into two numbers.
void ParseSize(const std::string& text, int& width, int& height) {
  const char* const end = text.data() + text.size();
  const auto [between, first] = std::from_chars(text.data(), end, width);
  const bool hasSecond = first == std::errc{} && between != end && *between == 'x';
  const auto [stop, second] = std::from_chars(hasSecond ? between + 1 : end, end, height);
  const auto fits = [](int pixels) { return pixels >= kSmallest && pixels <= kLargest; };
  if (!hasSecond || second != std::errc{} || stop != end || !fits(width) || !fits(height)) {
    throw UsageError(
        fmt::format("--size: '{}' isn't WIDTHxHEIGHT with {} to {} pixels each", text, kSmallest, kLargest));
  }
}

}  // namespace

void PlotOptions::AddTo(Command command) {
  constexpr const char* kGroup = "Picture";
  command.AddOption("-o,--output", output, "picture to write, ending in .png or .svg").Group(kGroup);
  command.AddFlag("-y,--overwrite", overwrite, "replace a picture that exists").Group(kGroup);
  command.AddOption("--size", size, "WIDTHxHEIGHT in pixels, such as 1200x675").Group(kGroup);
  command.AddOption("--title", title, "heading in place of the usual one").Group(kGroup);
  command.AddFlag("--csv", csv, "print the data; alone or beside -o").Group(kGroup);
}

PictureType PlotOptions::Type() const {
  const std::string ending = std::filesystem::path(output).extension().string();
  if (ending == ".png") return PictureType::kPng;
  if (ending == ".svg") return PictureType::kSvg;
  throw UsageError(fmt::format("{}: a picture's file ends in .png or .svg", output));
}

void PlotOptions::Check() const {
  if (output.empty() && !csv) throw UsageError("a plot needs -o FILE.png, -o FILE.svg or --csv");
  if (!size.empty()) {
    int width = 0, height = 0;
    ParseSize(size, width, height);
  }
  if (output.empty()) return;
  Type();
  const PendingFile place(output, overwrite);
  RequireGnuplot();
}

void PlotOptions::Show(Figure figure) const {
  if (!title.empty()) figure.title = title;
  if (!size.empty()) ParseSize(size, figure.width, figure.height);
  if (!output.empty()) {
    PendingFile::CleanUpOnSignals();
    PendingFile file(output, overwrite);
    RunGnuplot(GnuplotScript(figure, Type()), file.Descriptor());
    file.Commit();
  }
  if (csv) {
    Print("{}", figure.Csv());
    if (std::fflush(stdout) != 0) throw Failure("can't write to standard output");
  }
}

}  // namespace Vantora::cli
