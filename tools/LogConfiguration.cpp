#include "tools/LogConfiguration.h"

#include <cstdlib>
#include <iomanip>
#include <istream>
#include <limits>
#include <ostream>
#include <utility>
#include <vector>

#include "tools/StringTools.h"

namespace Vantora {

namespace {

constexpr std::streamsize kLineBuffer = 256;  // bytes: 255 characters and the end of the text
constexpr int kCategoryWidth = 12;            // characters, in the echo

/// The whole number that `text` begins with; 0 where it begins with none, the nearest where it doesn't fit.
long WholeNumber(const std::string& text) { return std::strtol(text.c_str(), nullptr, 10); }

/// LogConfigurationReader: one pass through a text.
class LogConfigurationReader {
 public:
  LogConfigurationReader(std::ostream& echoStream, bool isVerbose) : echo(echoStream), verbose(isVerbose) {}

  void ReadLine(std::string line) {
    RemoveLineEnds(line);
    if (line.find_first_not_of("\t ") == std::string::npos) return;
    if (line.starts_with("//") || line.starts_with('#')) return;

    std::vector<std::string> tokens;
    StringSplit(line, tokens, "\t ");
    if (tokens[0].starts_with("PERF_")) return;
    if (tokens.size() != 2) {
      Refuse(line);
    } else if (!ReadKey(tokens[0], tokens[1])) {
      ReadCategory(tokens[0], tokens[1]);
    }
  }

  void Refuse(std::string line) {
    RemoveLineEnds(line);
    echo << "## WARNING : this line is ignored as not well-formed " << line << '\n';
  }

  LogConfiguration configuration;

 private:
  static void RemoveLineEnds(std::string& line) {
    std::erase(line, '\n');
    std::erase(line, '\r');
  }

  bool ReadKey(const std::string& key, const std::string& value) {
    if (key == "OutputFile") {
      configuration.outputFile = value;
    } else if (key == "ExtendedFilename") {
      configuration.extendedFilename = WholeNumber(value) > 0;
    } else if (key == "LogInRelease") {
      configuration.logInRelease = WholeNumber(value) > 0;
    } else if (key == "LogOutputColors") {
      configuration.logOutputColors = WholeNumber(value) > 0;
    } else if (key == "DebugAllFlag") {
      debugAll = WholeNumber(value);
    } else {
      return false;
    }
    echo << "## " << key << " : " << value << '\n';
    return true;
  }

  void ReadCategory(const std::string& category, const std::string& levelText) {
    if (verbose) {
      echo << "## Category : " << std::setw(kCategoryWidth) << category << " level : " << levelText << '\n';
    }
    int32_t level = kLogDebug;
    if (debugAll <= 0) {
      level = FindLogLevel(levelText);
      if (level < 0) {
        level = kLogError;
        echo << "Log level " << levelText << " not existing." << '\n';
      }
    }
    configuration.categories.emplace(category, level);  // keeps the first
  }

  std::ostream& echo;
  bool verbose;
  long debugAll = 0;
};

}  // namespace

LogConfiguration ReadLogConfiguration(std::istream& in, std::ostream& echo, bool verbose) {
  LogConfigurationReader reader(echo, verbose);
  while (!in.eof()) {
    char buffer[kLineBuffer] = {};
    in.getline(buffer, kLineBuffer);
    if (in.bad()) break;
    if (in.fail() && !in.eof()) {
      // Too long for the buffer. Left in its failed state the stream would never come to its end.
      reader.Refuse(buffer);
      in.clear();
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      continue;
    }
    reader.ReadLine(buffer);  // up to a zero byte: what follows one isn't text
  }
  return std::move(reader.configuration);
}

}  // namespace Vantora
