#pragma once

#include <filesystem>
#include <fstream>
#include <functional>

namespace Vantora::host {

/// HeldPipe: lets a file be opened for reading without the danger of waiting for ever.
///
/// Opening a named pipe waits until somebody opens its other end. While a HeldPipe lives, opening `path`
/// comes back at once, whatever it is; `HasWriter` says whether there is anything to read for. A writer may
/// come a little late, as a program that was started in the same moment does.
///
/// It must not live on: a pipe that is held has no end. `OpenText` is the whole of it for a text.
class HeldPipe {
 public:
  /// Waits as `ComesSoon` does where `path` is a pipe without a writer; nothing happens where it is no pipe.
  explicit HeldPipe(const std::filesystem::path& path);
  ~HeldPipe();
  HeldPipe(const HeldPipe&) = delete;
  HeldPipe& operator=(const HeldPipe&) = delete;

  bool IsPipe() const { return isPipe; }
  /// False for a pipe that nobody writes to, and has left nothing in; true for all else.
  bool HasWriter() const { return hasWriter; }

 private:
  bool isPipe = false, hasWriter = true;
  int reading = -1, writing = -1;  // our own ends, of which the first keeps what was written
};

/// Looks every 10 ms, for three seconds, whether `condition` has come true, and says so. What counts are the
/// looks: a machine that stood still for a while hasn't waited, and neither has the other end of a pipe.
bool ComesSoon(const std::function<bool()>& condition);

/// `path` opened for reading; not open where it can't be. Throws `HostError` for a pipe that nobody writes
/// to.
std::ifstream OpenText(const std::filesystem::path& path);

}  // namespace Vantora::host
