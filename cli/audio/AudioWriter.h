#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/audio/AudioFormat.h"
#include "cli/audio/Dither.h"
#include "cli/audio/OutputFile.h"
#include "cli/audio/PendingFile.h"

namespace Vantora::cli {

/// AudioWriter: interleaved floats into one audio file or a stream.
///
/// A file grows beside its place and appears whole and on the disk, by `Finish`, or not at all. "-" is
/// standard output, and pipes and devices are written directly: as WAV whose header leaves the length open,
/// or as raw samples. Where standard output is a regular file, the header gets its length in the end. The
/// same samples give the same bytes every time: no time stamps, no random serial numbers.
class AudioWriter {
 public:
  struct Settings {
    AudioFormat format;
    int rate = 48000;  ///< Hz
    int channels = 2;
    uint64_t leastFrames = 0;  ///< lower bound of what will be written; what can't hold it is refused at once
    uint64_t mostFrames = 0;   ///< upper bound of what will be written; a longer WAV needs another header
    bool dither = true;        ///< triangular dither where the format has 16 bit
    bool overwrite = false;    ///< an existing file may be replaced
  };

  /// Throws Failure (folder missing, file exists, format and rate don't go together, ...).
  AudioWriter(const std::string& path, const Settings& settings);
  ~AudioWriter();

  /// Integer formats are rounded to nearest and held at full scale; what was held is counted. Throws Failure.
  void Write(const float* interleaved, uint64_t frames);
  /// Ends the file and gives it its name. Throws Failure. Without it nothing is left.
  void Finish();

  /// Samples beyond full scale that an integer format had to hold.
  uint64_t ClippedSamples() const { return clipped; }
  /// Frames taken so far.
  uint64_t FramesWritten() const { return written; }

 private:
  struct Close {
    void operator()(SNDFILE* handle) const { sf_close(handle); }
  };

  void OpenFile();
  void OpenStream(int descriptor);
  void RefuseLength(uint64_t frames) const;
  void MendStreamHeader();
  void Quantise(const float* samples, size_t count);
  [[noreturn]] void Fail(const std::string& reason) const;

  Settings settings;
  std::string path;
  std::optional<PendingFile> pending;
  std::optional<OutputFile> output;
  int ownDescriptor = -1;     // of a named pipe or device
  int streamDescriptor = -1;  // the same, or standard output
  off_t headerPlace = -1;     // where standard output is a regular file: where our header begins in it
  std::unique_ptr<SNDFILE, Close> file;
  Dither dither;
  std::vector<int> integers;
  uint64_t clipped = 0;
  uint64_t written = 0;
};

}  // namespace Vantora::cli
