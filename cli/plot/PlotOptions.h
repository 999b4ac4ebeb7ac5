#pragma once

#include <string>

#include "cli/plot/Figure.h"
#include "cli/plot/GnuplotScript.h"

namespace Vantora::cli {

class Command;

/// PlotOptions: where a picture goes and how large it is; the same for every kind.
struct PlotOptions {
  std::string output;  ///< -o
  std::string size;    ///< --size
  std::string title;   ///< --title
  bool csv = false, overwrite = false;

  /// Adds them to a kind's subcommand.
  void AddTo(Command command);

  /// Refuses at once what couldn't be drawn in the end: no output at all, an unknown ending, a file that
  /// exists, no gnuplot. Throws UsageError or Failure.
  void Check() const;

  /// Draws the figure to the file and prints its data, whatever was
  /// asked for. Throws Failure; a file is there whole or not at all.
  void Show(Figure figure) const;

 private:
  PictureType Type() const;
};

}  // namespace Vantora::cli
