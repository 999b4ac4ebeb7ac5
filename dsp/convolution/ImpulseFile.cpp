#include "dsp/convolution/ImpulseFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gsl/narrow>
#include <memory>

#include "tools/SndFileHandle.h"
#include "tools/SndFileLibrary.h"

namespace Vantora::dsp {
namespace {

constexpr int32_t kLeastRate = 1000, kHighestRate = 768000;  // Hz
constexpr int64_t kMonoChunk = 65536, kStereoChunk = 512;    // frames read at a time

/// Appends up to `frames` frames and returns how many there were.
int64_t ReadMono(const SndFileHandle& file, int64_t frames, std::vector<float>& left) {
  int64_t done = 0;
  while (done < frames) {
    const int64_t wanted = std::min(kMonoChunk, frames - done);
    left.resize(gsl::narrow<size_t>(done + wanted));
    const int64_t got = SndFileLibrary::Instance().sf_readf_float(file.Get(), left.data() + done, wanted);
    done += std::max<int64_t>(got, 0);
    if (got != wanted) break;
  }
  left.resize(gsl::narrow<size_t>(done));
  return done;
}

int64_t ReadStereo(const SndFileHandle& file, int64_t frames, std::vector<float>& left,
                   std::vector<float>& right) {
  std::array<float, 2 * kStereoChunk> chunk;
  int64_t done = 0;
  while (done < frames) {
    const int64_t wanted = std::min(kStereoChunk, frames - done);
    const int64_t got = SndFileLibrary::Instance().sf_readf_float(file.Get(), chunk.data(), wanted);
    for (int64_t i = 0; i < got; ++i) {
      left.push_back(chunk[gsl::narrow<size_t>(2 * i)]);
      right.push_back(chunk[gsl::narrow<size_t>(2 * i + 1)]);
    }
    done += std::max<int64_t>(got, 0);
    if (got != wanted) break;
  }
  return done;
}

bool IsFinite(const std::vector<float>& samples) {
  return std::all_of(samples.begin(), samples.end(), [](float x) { return std::isfinite(x); });
}

/// A file that a reader can be sent to: opening a pipe would wait for its writer for ever.
bool IsRegularFile(const std::string& path, std::string& problem) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    problem = std::strerror(errno);
    return false;
  }
  if (S_ISREG(status.st_mode)) return true;
  problem = S_ISDIR(status.st_mode) ? "is a directory" : "is not a regular file";
  return false;
}

}  // namespace

bool ReadImpulseFile(const std::string& path, Impulse& impulse, std::string& problem) {
  const SndFileLibrary& library = SndFileLibrary::Instance();
  if (!IsRegularFile(path, problem)) return false;
  // libsndfile writes through the null that it gets where memory has run out: asked for here, and let go,
  // what it takes to open a file is there for it.
  static_cast<void>(std::unique_ptr<char[]>(new char[1 << 20]));
  SndFileInfo info;
  const SndFileHandle file = SndFileHandle::OpenForReading(path, info);
  if (!file.IsOpen()) {
    problem = library.sf_strerror ? library.sf_strerror(nullptr) : "can't be opened";
    return false;
  }
  impulse.fileRate = static_cast<float>(info.sampleRate);
  if (info.channels != 1 && info.channels != 2) {
    problem = "has " + std::to_string(info.channels) + " channels instead of one or two";
    return false;
  }
  if (info.sampleRate < kLeastRate || info.sampleRate > kHighestRate) {
    problem = "has a sample rate of " + std::to_string(info.sampleRate) + " Hz, outside 1 kHz to 768 kHz";
    return false;
  }
  const int64_t frames = std::min<int64_t>(info.frames, int64_t{info.sampleRate} * kLongestImpulseSeconds);
  if (frames <= 0) {
    problem = "has no frames";
    return false;
  }
  const int64_t got = info.channels == 1 ? ReadMono(file, frames, impulse.left)
                                         : ReadStereo(file, frames, impulse.left, impulse.right);
  if (got != frames) {
    problem = "ends after " + std::to_string(got) + " of " + std::to_string(frames) + " frames";
    return false;
  }
  if (!IsFinite(impulse.left) || !IsFinite(impulse.right)) {
    problem = "has samples that are not finite numbers";
    return false;
  }
  return true;
}

}  // namespace Vantora::dsp
