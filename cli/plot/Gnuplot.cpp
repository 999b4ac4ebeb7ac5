#include "cli/plot/Gnuplot.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cli/Failure.h"
#include "host/files/FileDescriptor.h"
#include "tools/CLog.h"

extern char** environ;

namespace Vantora::cli {
namespace {

constexpr const char* kMissing =
    "drawing needs the program gnuplot, which isn't installed (Debian: gnuplot-nox); --csv prints the data "
    "without it";

/// Memory that a child can read and write like a file, in place of pipes: neither side ever waits for the
/// other.
int MemoryFile(const char* name) {
  const int file = memfd_create(name, MFD_CLOEXEC);
  if (file < 0) throw Failure(fmt::format("can't prepare a drawing: {}", std::strerror(errno)));
  return file;
}

void WriteAll(int file, const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const ssize_t count = write(file, text.data() + at, text.size() - at);
    if (count < 0) {
      if (errno == EINTR) continue;
      throw Failure(fmt::format("can't prepare a drawing: {}", std::strerror(errno)));
    }
    at += static_cast<size_t>(count);
  }
  lseek(file, 0, SEEK_SET);
}

/// The last line with text in it that a child left.
std::string LastLine(int file) {
  lseek(file, 0, SEEK_SET);
  std::string text(8192, '\0');
  const ssize_t count = read(file, text.data(), text.size());
  text.resize(count > 0 ? static_cast<size_t>(count) : 0);
  std::istringstream lines(text);
  std::string line, last;
  while (std::getline(lines, line)) {
    if (line.find_first_not_of(" \t^") != std::string::npos) last = line;
  }
  return last.empty() ? "it gave no reason" : last;
}

}  // namespace

void RequireGnuplot() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access(((folder.empty() ? "." : folder) + "/gnuplot").c_str(), X_OK) == 0) return;
  }
  throw Failure(kMissing);
}

void RunGnuplot(const std::string& script, int picture) {
  const host::FileDescriptor input(MemoryFile("prismel-plot"));
  const host::FileDescriptor errors(MemoryFile("prismel-plot-errors"));
  WriteAll(input, script);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, picture, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  // -d: a user's own start-up file must not change the picture.
  std::string program = "gnuplot", defaults = "-d", standardInput = "-";
  char* const arguments[] = {program.data(), defaults.data(), standardInput.data(), nullptr};
  pid_t child = 0;
  const int problem = posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (problem == ENOENT) throw Failure(kMissing);
  if (problem != 0) throw Failure(fmt::format("can't start gnuplot: {}", std::strerror(problem)));

  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || lseek(picture, 0, SEEK_END) <= 0) {
    const std::string reason = LastLine(errors);
    LogInfo("prismel", "gnuplot says: " + reason);
    // "nan" and "inf" are names to gnuplot.
    if (reason.find("undefined variable") != std::string::npos) {
      throw Failure("there is nothing to draw: some of the figures aren't numbers");
    }
    throw Failure(
        "gnuplot couldn't draw this picture (--log info tells why); --csv prints the data without it");
  }
}

}  // namespace Vantora::cli
