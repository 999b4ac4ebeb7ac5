#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "tools/CLog.h"

namespace Vantora::cli {
namespace {

int32_t ParseLevel(const std::string& name) {
  const int32_t level = FindLogLevel(name);
  if (level >= 0) return level;
  std::string names;
  for (const char* known : kLogLevelNames) names += fmt::format("{}{}", names.empty() ? "" : ", ", known);
  throw UsageError(fmt::format("--log: '{}' is no level (one of: {})", name, names));
}

/// "LEVEL[,CATEGORY=LEVEL...]" into `configuration`.
void ParseThresholds(const std::string& text, LogConfiguration& configuration) {
  std::stringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) {
    const size_t equals = part.find('=');
    if (equals == std::string::npos) {
      configuration.defaultLevel = ParseLevel(part);
    } else {
      configuration.categories[part.substr(0, equals)] = ParseLevel(part.substr(equals + 1));
    }
  }
}

const char* KindOf(const std::filesystem::file_status& status) {
  if (std::filesystem::is_directory(status)) return "a folder";
  return std::filesystem::is_fifo(status) ? "a pipe" : "a device";
}

void Apply(const CommandContext& context) {
  if (context.log.empty() && context.logFile.empty() && context.logConfig.empty()) return;
  // Standard output belongs to what commands print and to audio: log lines go the way of messages.
  std::cout.rdbuf(std::cerr.rdbuf());
  LogConfiguration configuration;
  if (!context.logConfig.empty()) {
    // Looked at before it is opened: opening a pipe waits for its writer.
    std::error_code error;
    const auto status = std::filesystem::status(context.logConfig, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
      throw Failure(fmt::format("{}: is {}, not a log configuration", context.logConfig, KindOf(status)));
    }
    std::ifstream file(context.logConfig);
    if (!file) throw Failure(fmt::format("{}: this log configuration can't be read", context.logConfig));
    std::ostringstream echo;
    configuration = ReadLogConfiguration(file, echo, false);
  }
  ParseThresholds(context.log, configuration);
  if (!context.logFile.empty()) {
    // An absolute name: one without a folder would go to the Desktop.
    configuration.outputFile = std::filesystem::absolute(context.logFile).string();
    configuration.extendedFilename = false;
    std::error_code error;
    const auto status = std::filesystem::status(configuration.outputFile, error);
    if (std::filesystem::is_fifo(status) || std::filesystem::is_directory(status)) {
      throw Failure(fmt::format("{}: is {}, not a log file", context.logFile, KindOf(status)));
    }
    if (!std::ofstream(configuration.outputFile, std::ios::app)) {
      throw Failure(fmt::format("{}: can't be written as a log", context.logFile));
    }
  }
  if (configuration.outputFile.empty()) configuration.logInRelease = true;
  if (isatty(STDERR_FILENO) != 1 || std::getenv("NO_COLOR") != nullptr) configuration.logOutputColors = false;
  CLog::Instance().ApplyConfiguration(configuration);
}

}  // namespace

void AddLogOptions(Command app, CommandContext& context) {
  constexpr const char* kGroup = "Log";
  app.AddOption("--log", context.log,
                "LEVEL[,CATEGORY=LEVEL...]: what to tell on standard error, such as info")
      .Group(kGroup);
  app.AddOption("--log-file", context.logFile, "write the log to this file").Group(kGroup);
  app.AddOption("--log-config", context.logConfig, "read the log's configuration from this file")
      .Group(kGroup);
  app.OnRead([&context] { Apply(context); });
}

}  // namespace Vantora::cli
