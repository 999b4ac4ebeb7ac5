#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

namespace Vantora::cli {

/// SampleStash: floats put aside on disk until the gain they need is known. The file has no name: whatever
/// happens, nothing is left of it.
class SampleStash {
 public:
  /// In `folder`, where there is room for the output anyway. Throws Failure.
  explicit SampleStash(const std::filesystem::path& folder);

  /// Throws Failure, for a full disk for instance.
  void Add(const float* samples, uint64_t count);
  /// Hands everything back in order, in pieces of at most `pieceSize` samples. Throws Failure.
  void Replay(uint64_t pieceSize, const std::function<void(float* samples, uint64_t count)>& sink);

 private:
  struct Close {
    void operator()(std::FILE* open) const { std::fclose(open); }
  };
  std::unique_ptr<std::FILE, Close> file;
  uint64_t added = 0;  // samples
};

}  // namespace Vantora::cli
