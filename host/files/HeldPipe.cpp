#include "host/files/HeldPipe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include "host/HostError.h"

namespace Vantora::host {
namespace {

/// Whether a pipe holds bytes or has a writer. Nothing else tells of a writer that hasn't written yet: what
/// stands in the pipe is copied, one byte of it, and stays.
bool IsFed(int pipe, int scratch) {
  const ssize_t copied = tee(pipe, scratch, 1, SPLICE_F_NONBLOCK);
  return copied > 0 || (copied < 0 && errno != EINTR);
}

}  // namespace

HeldPipe::HeldPipe(const std::filesystem::path& path) {
  struct stat status {};
  isPipe = stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  if (!isPipe) return;
  reading = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::array<int, 2> scratch{};
  if (reading < 0 || pipe2(scratch.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;  // opening it will say why
  hasWriter = ComesSoon([&] { return IsFed(reading, scratch[1]); });
  close(scratch[0]);
  close(scratch[1]);
  // A writer that is done already would let the next open wait for another: until then we are one.
  if (hasWriter) writing = open(path.c_str(), O_RDWR | O_CLOEXEC);
}

HeldPipe::~HeldPipe() {
  if (writing >= 0) close(writing);
  if (reading >= 0) close(reading);
}

bool ComesSoon(const std::function<bool()>& condition) {
  constexpr int kLooks = 300;
  for (int look = 0; look < kLooks; ++look) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}

std::ifstream OpenText(const std::filesystem::path& path) {
  const HeldPipe pipe(path);
  if (!pipe.HasWriter()) throw HostError("\"" + path.string() + "\" is a pipe that nobody writes to.");
  return std::ifstream(path);
}

}  // namespace Vantora::host
