#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>

#include "tools/LogLevel.h"

namespace Vantora {

/// LogConfiguration: what the log writes and where; the defaults are those of a file that says nothing.
struct LogConfiguration {
  /// The least level that is written of each category, in the order of their bytes.
  std::map<std::string, int32_t, std::less<>> categories{};
  /// The same for a category that isn't in the map. No file can change it; a program can.
  int32_t defaultLevel = kLogWarning;
  /// The file that takes the place of standard output; empty
  /// for none. Without '/' and '\' it goes to the Desktop.
  std::string outputFile{};
  /// Append the time of the start to the file's name.
  bool extendedFilename = true;
  /// Write to standard output where there is no output file.
  bool logInRelease = false;
  /// Colour warnings and errors on standard output; never in a file.
  bool logOutputColors = true;
};

/// Reads a configuration, starting from the defaults. One statement a line of at most 255 characters:
///
///     // comment, or # comment; in column one only
///     OutputFile NAME
///     ExtendedFilename 0|1
///     LogInRelease 0|1
///     LogOutputColors 0|1
///     DebugAllFlag 0|1          1: every category below this line gets level "debug"
///     CATEGORY LEVEL            a name of kLogLevelNames; the first line of a category wins
///     PERF_...                  passed over
///
/// Keys are echoed to `echo` as they are read, categories only if `verbose`. A line that is none of these, or
/// too long, is reported there and passed over; an unknown level is reported and counts as "error". `echo`
/// must be left aligned for the columns to stand below each other.
LogConfiguration ReadLogConfiguration(std::istream& in, std::ostream& echo, bool verbose);

}  // namespace Vantora
