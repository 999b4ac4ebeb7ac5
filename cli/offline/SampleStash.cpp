#include "cli/offline/SampleStash.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cli/Failure.h"

namespace Vantora::cli {

SampleStash::SampleStash(const std::filesystem::path& folder) {
  int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor < 0) {  // the file system knows no nameless files
    std::string name = (folder / ".prismel-XXXXXX").string();
    descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor >= 0) unlink(name.c_str());
  }
  if (descriptor < 0) {
    throw Failure(fmt::format("{}: no room for a temporary file: {}", folder.string(), std::strerror(errno)));
  }
  file.reset(fdopen(descriptor, "w+b"));
}

void SampleStash::Add(const float* samples, uint64_t count) {
  if (std::fwrite(samples, sizeof(float), count, file.get()) != count) {
    throw Failure(fmt::format("can't write the temporary file: {}", std::strerror(errno)));
  }
  added += count;
}

void SampleStash::Replay(uint64_t pieceSize, const std::function<void(float*, uint64_t)>& sink) {
  if (std::fflush(file.get()) != 0) {
    throw Failure(fmt::format("can't write the temporary file: {}", std::strerror(errno)));
  }
  std::rewind(file.get());
  std::vector<float> piece(pieceSize);
  uint64_t given = 0;
  while (const size_t count = std::fread(piece.data(), sizeof(float), pieceSize, file.get())) {
    sink(piece.data(), count);
    given += count;
  }
  // A read that fails looks like the end, and the output would be cut.
  if (std::ferror(file.get()) != 0 || given != added) {
    throw Failure(fmt::format("can't read the temporary file back: {}",
                              std::ferror(file.get()) != 0 ? std::strerror(errno) : "it has become shorter"));
  }
}

}  // namespace Vantora::cli
