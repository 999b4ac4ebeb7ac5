#include "cli/Console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

int outputError = 0;  // errno of the first failed write

}  // namespace

void PrintText(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() && outputError == 0) {
    outputError = errno != 0 ? errno : EIO;
  }
}

void TellText(const std::string& text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

void Complain(const std::string& text) { TellText("prismel: " + text + "\n"); }

void HoldStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
    // Open the wrong way round, so that input and output still fail as they do on a closed descriptor.
    const int way = descriptor == STDOUT_FILENO ? O_RDONLY : O_WRONLY;
    static_cast<void>(open("/dev/null", way));  // takes the lowest number that is free
  }
}

void FinishStandardOutput() {
  errno = 0;
  if (std::fflush(stdout) != 0 && outputError == 0) outputError = errno != 0 ? errno : EIO;
  if (outputError != 0) {
    throw Failure(std::string("standard output: can't write: ") + std::strerror(outputError));
  }
}

}  // namespace Vantora::cli
