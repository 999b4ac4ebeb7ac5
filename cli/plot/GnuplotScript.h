#pragma once

#include <string>

#include "cli/plot/Figure.h"

namespace Vantora::cli {

/// Kinds of picture that can be written.
enum class PictureType { kPng, kSvg };

/// A gnuplot script, data included, that draws `figure` to gnuplot's standard output.
std::string GnuplotScript(const Figure& figure, PictureType type);

}  // namespace Vantora::cli
