#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Vantora {

/// Severity of a log line, rising. A plain number in the log's interface.
enum LogLevel : int32_t {
  kLogDebug,
  kLogInfo,
  kLogNotice,
  kLogWarning,
  kLogError,
  kLogExcept,
  kLogAssert,
};

/// The names, for printing a line as well as for reading a configuration.
inline constexpr std::array<const char*, 7> kLogLevelNames = {"debug", "info",   "notice", "warning",
                                                              "error", "except", "assert"};

/// The name of a level; empty for a number that is none.
constexpr std::string_view LogLevelName(int32_t level) {
  return level >= kLogDebug && level <= kLogAssert ? kLogLevelNames[static_cast<size_t>(level)]
                                                   : std::string_view();
}

/// The level of that name, compared exactly; -1 where there is none.
constexpr int32_t FindLogLevel(std::string_view name) {
  for (int32_t level = kLogDebug; level <= kLogAssert; ++level) {
    if (LogLevelName(level) == name) return level;
  }
  return -1;
}

}  // namespace Vantora
