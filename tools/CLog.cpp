#include "tools/CLog.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <locale>
#include <utility>

#include "tools/Locations.h"
#include "tools/Platform.h"
#include "tools/StringTools.h"

namespace Vantora {

namespace {

constexpr int kTimeWidth = 9;  // characters, as the next two
constexpr int kThreadWidth = 5;
constexpr int kLevelWidth = 7;

constexpr std::string_view kYellow = "\x1b[1;33m";
constexpr std::string_view kRed = "\x1b[1;31m";
constexpr std::string_view kColorOff = "\x1b[0m";

constexpr std::string_view kRule = "###################### ";

void Put(std::string_view text) { std::cout.write(text.data(), static_cast<std::streamsize>(text.size())); }

}  // namespace

CLog::CLog() : startTime(std::chrono::system_clock::now()) {}

CLog::~CLog() {
  CloseFile();
  // Standard output is flushed once more when the process ends, so a buffer it uses must outlive this object.
  if (std::cout.rdbuf() != file) delete file;
}

void CLog::LoadConfiguration(const std::string& configFile, bool verbose, bool reportMissing) {
  const std::lock_guard lock(mutex);
  ParseConfiguration(configFile, "", verbose, reportMissing);
}

void CLog::ParseConfiguration(const std::string& configFile, const std::string& outputFileOverride,
                              bool verbose, bool reportMissing) {
  const std::lock_guard lock(output);
  try {
    if (configFile.empty()) {
      std::cout << "#### Log conf file empty.\n";
    } else {
      ReadFile(configFile, verbose, reportMissing);
    }
    if (!outputFileOverride.empty()) configuration.outputFile = outputFileOverride;
    OpenOutput(verbose);
  } catch (const std::ios_base::failure&) {
    // The host wants exceptions from its standard output. What the log has to say there isn't worth one.
  }
}

void CLog::ReadFile(const std::string& configFile, bool verbose, bool reportMissing) {
  std::cout << std::left;
  if (verbose) std::cout << "## Config File : " << configFile << '\n';
  // Only regular files: a folder would be read for ever and a named pipe would block.
  std::ifstream in;
  if (platform::KindOfFile(configFile) == platform::FileKind::Regular) in.open(configFile);
  if (in.is_open()) {
    if (verbose) std::cout << kRule << "\n## Log Conf parsing ## \n" << kRule << '\n';
    ReplaceConfiguration(ReadLogConfiguration(in, std::cout, verbose));
    if (verbose) std::cout << kRule << '\n';
  } else if (reportMissing) {
    std::cout << "Conf file " << configFile << " not found.\n";
  }
}

void CLog::ApplyConfiguration(LogConfiguration replacement, bool verbose) {
  const std::lock_guard lock(mutex);
  const std::lock_guard outputLock(output);
  try {
    ReplaceConfiguration(std::move(replacement));
    OpenOutput(verbose);
  } catch (const std::ios_base::failure&) {
    // As in ParseConfiguration.
  }
}

void CLog::ReplaceConfiguration(LogConfiguration replacement) {
  CloseFile();
  // Give standard output its own buffer back, or lines for it would go into the closed file.
  if (redirected && std::cout.rdbuf() == file) std::cout.rdbuf(firstBuffer);
  redirected.store(false, std::memory_order_relaxed);
  configuration = std::move(replacement);
  logInRelease.store(configuration.logInRelease, std::memory_order_relaxed);
}

void CLog::OpenOutput(bool verbose) {
  std::string& name = configuration.outputFile;
  if (!name.empty()) {
    if (name.find_first_of("/\\") == std::string::npos) {
      std::string folder;
      GetSpecialFolder(kDesktopFolder, folder);
      name = folder + "/" + name;
    }
    if (configuration.extendedFilename) {
      name += LogTimeStamp(platform::LocalTimeText(std::chrono::system_clock::to_time_t(startTime)));
    }
  }
  if (verbose) std::cout << "## Final Output File : " << name << '\n';
  if (!IsFileOpen()) {
    const platform::FileKind kind = platform::KindOfFile(name);
    if (kind == platform::FileKind::Missing || kind == platform::FileKind::Regular) {
      if (file == nullptr) file = new std::filebuf;
      file->open(name, std::ios::out | std::ios::trunc);
    }
  }
  if (IsFileOpen()) {
    Redirect();
    std::cout << "#### Stdout redirected to file " << name << '\n' << std::flush;
  } else if (verbose) {
    std::cout << "#### Output file not open (" << name << ")\n";
  }
}

void CLog::Redirect() {
  redirected.store(true, std::memory_order_relaxed);
  std::streambuf* const before = std::cout.rdbuf(file);  // clears the error state as well
  if (before != file) firstBuffer = before;
}

void CLog::CloseFile() {
  if (IsFileOpen()) file->close();
}

bool CLog::IsEnabled(std::string_view category, int32_t level) {
  if (!logInRelease.load(std::memory_order_relaxed) && !redirected.load(std::memory_order_relaxed)) {
    return false;
  }
  const std::lock_guard lock(output);
  const auto known = configuration.categories.find(category);
  if (known != configuration.categories.end()) return known->second <= level;
  configuration.categories.emplace(category, configuration.defaultLevel);
  return level >= configuration.defaultLevel;
}

void CLog::Write(std::string_view category, int32_t level, const std::ostringstream& message) {
  Write(category, level, message.view());
}

void CLog::Write(std::string_view category, int32_t level, std::string_view message) {
  const std::string line = FormatLine(category, level, message);
  Print(line, level);
  // Outside the lock, so that a listener may log. Acquire: sees the listener as SetListener's caller left it.
  if (LogListener* const hearer = listener.load(std::memory_order_acquire)) hearer->OnLogLine(line);
}

void CLog::Log(std::string_view category, int32_t level, const char* text) {
  if (IsEnabled(category, level)) Write(category, level, std::string_view(text ? text : ""));
}

std::string CLog::FormatLine(std::string_view category, int32_t level, std::string_view message) const {
  using namespace std::chrono;
  const auto elapsed = duration_cast<microseconds>(system_clock::now() - startTime);
  // A stream of our own, and in the classic locale: what the
  // host does to its streams must not change the columns.
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << std::left << "| " << std::setw(kTimeWidth) << elapsed.count() / 1000  //
       << " | T" << std::setw(kThreadWidth) << platform::ThreadId()             //
       << " | " << std::setw(categoryWidth) << category                         //
       << " | " << std::setw(kLevelWidth) << LogLevelName(level)                //
       << " | " << message << '\n';
  return std::move(line).str();
}

void CLog::Print(const std::string& line, int32_t level) {
  const std::lock_guard lock(output);  // a file's buffer would break under two writers
  try {
    if (IsFileOpen()) {
      Put(line);
      std::cout.flush();
    } else if (logInRelease.load(std::memory_order_relaxed)) {
      const bool colors = configuration.logOutputColors;
      if (colors && level == kLogWarning) Put(kYellow);
      if (colors && level == kLogError) Put(kRed);
      Put(line);
      if (colors) Put(kColorOff);  // behind the line end: it takes effect at the start of the next line
      std::cout.flush();
    }
  } catch (const std::ios_base::failure&) {
    // As in ParseConfiguration.
  }
}

void LogInfo(const std::string& category, const std::string& message) {
  CLog::Instance().Log(category, kLogInfo, message.c_str());
}

void LogNotice(const std::string& category, const std::string& message) {
  CLog::Instance().Log(category, kLogNotice, message.c_str());
}

void LogWarning(const std::string& category, const std::string& message) {
  CLog::Instance().Log(category, kLogWarning, message.c_str());
}

void LogError(const std::string& category, const std::string& message) {
  CLog::Instance().Log(category, kLogError, message.c_str());
}

std::string LogTimeStamp(std::string localTimeText) {
  bool changed = false;
  ReplaceAll(localTimeText, localTimeText, " ", "_", changed);
  ReplaceAll(localTimeText, localTimeText, ":", "-", changed);
  std::erase(localTimeText, '\n');
  const std::string_view text = localTimeText;
  const std::string_view year = text.substr(text.rfind('_') + 1);
  constexpr size_t kYearLength = 5;  // characters, with the '_' before it
  const std::string_view rest = text.substr(0, text.size() - std::min(kYearLength, text.size()));
  const size_t monthBegin = std::min(rest.find('_'), rest.size());  // behind the weekday
  std::string stamp = "_";
  stamp.append(year).append(rest.substr(monthBegin));
  return stamp;
}

}  // namespace Vantora
