#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>

#include "tools/CSingleton.h"
#include "tools/LogConfiguration.h"
#include "tools/LogLevel.h"
#include "tools/LogListener.h"

namespace Vantora {

/// CLog: the library's one logger. Lines carry a category and a level and go to standard output, or to a file
/// that takes its place, and to a listener. Silent until it is configured.
///
///     | 1042      | T7313  | audio_engine | notice  | text
///       ms since    thread   category       level     message
///       the start
///
/// Threads  every operation may be called from any thread; none belongs on the audio thread, for writing
///          allocates, locks and calls the system. While the log is silent IsEnabled reads two flags and does
///          nothing else.
/// Errors   none reaches the caller: what can't be opened or read is told on standard output.
///
/// A program that wants the log configures it by a file (LoadConfiguration) or by values
/// (ApplyConfiguration), for example the thresholds of a command line.
class CLog : public CSingleton<CLog> {
 public:
  /// A log of its own, whose time starts now; the library itself writes to Instance() only.
  CLog();
  /// Closes the output file. Standard output stays with the closed file's buffer: what the host may have put
  /// in its place by then isn't ours to undo.
  virtual ~CLog();

  /// ParseConfiguration under the log's mutex, without another output file.
  void LoadConfiguration(const std::string& configFile, bool verbose, bool reportMissing);

  /// Reads the configuration file (ReadLogConfiguration tells its form), replaces the log's configuration by
  /// it and opens the output file. `outputFileOverride`, if not empty, takes the place of the file's
  /// "OutputFile". A file that can't be read leaves the configuration as it is; `reportMissing` has that told
  /// on standard output, and `verbose` everything.
  void ParseConfiguration(const std::string& configFile, const std::string& outputFileOverride, bool verbose,
                          bool reportMissing);

  /// Replaces the log's configuration by `replacement` and opens its output file, as after reading a file.
  void ApplyConfiguration(LogConfiguration replacement, bool verbose = false);

  /// Whether a line of this category and level is to be written. Enters an unknown category into the
  /// configuration, unless the log is silent.
  bool IsEnabled(std::string_view category, int32_t level);

  /// Writes a line whatever IsEnabled says: ask first, then put the message together.
  void Write(std::string_view category, int32_t level, const std::ostringstream& message);
  void Write(std::string_view category, int32_t level, std::string_view message);

  /// Writes the text if IsEnabled.
  void Log(std::string_view category, int32_t level, const char* text);

  /// The listener hears every line written from now on; not owned, null for none. It must live until another
  /// one is set and no call of Write is running.
  void SetListener(LogListener* newListener) { listener.store(newListener, std::memory_order_release); }

 private:
  std::string FormatLine(std::string_view category, int32_t level, std::string_view message) const;
  void Print(const std::string& line, int32_t level);
  void ReadFile(const std::string& configFile, bool verbose, bool reportMissing);
  void ReplaceConfiguration(LogConfiguration replacement);
  void OpenOutput(bool verbose);
  void Redirect();
  void CloseFile();
  bool IsFileOpen() const { return file != nullptr && file->is_open(); }

  std::atomic<LogListener*> listener{nullptr};
  uint16_t categoryWidth = 11;  // characters
  std::chrono::system_clock::time_point startTime;
  std::mutex mutex;  // LoadConfiguration and ApplyConfiguration, one at a time

  // What IsEnabled reads first, without a lock; relaxed, because the lock below orders all that follows.
  std::atomic<bool> logInRelease{false};
  std::atomic<bool> redirected{false};

  // Everything below, and standard output's buffer as far
  // as this log changes it, belongs to who holds `output`.
  std::mutex output;
  LogConfiguration configuration;
  std::filebuf* file = nullptr;  // made at first use; standard output may keep it for good, see ~CLog
  std::streambuf* firstBuffer = nullptr;  // standard output's own, while redirected
};

/// Write a line of the level that the name says to the library's log.
void LogInfo(const std::string& category, const std::string& message);
void LogNotice(const std::string& category, const std::string& message);
void LogWarning(const std::string& category, const std::string& message);
void LogError(const std::string& category, const std::string& message);

/// The time stamp in an output file's name, "_2026_Nov_12_21-30-56", from the text that LocalTimeText gives.
std::string LogTimeStamp(std::string localTimeText);

}  // namespace Vantora
