#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/audio/AudioFormat.h"
#include "cli/audio/DeclaredLength.h"
#include "cli/audio/ShortenedFile.h"
#include "cli/audio/WatchedStream.h"

namespace Vantora::cli {

/// RawLayout: what a stream without a header holds. Little-endian, interleaved.
struct RawLayout {
  int rate = 48000;  ///< Hz
  int channels = 2;
  SampleFormat sample = SampleFormat::kFloat;
};

/// "RATE,CHANNELS,FORMAT", such as "48000,2,float". Throws UsageError.
RawLayout ParseRawLayout(const std::string& text);

/// AudioReader: one audio file, pipe or standard input as a stream of interleaved floats, full scale 1.
///
/// Takes what libsndfile reads; from a pipe WAV, AU, AIFF, W64, Ogg, MP3 and raw. Memory is constant whatever
/// the length. Every refusal is one sentence in a Failure: a file that is unreadable, isn't audio, is empty,
/// ends before its time, has a rate outside 8 to 384 kHz, or is a pipe that nobody writes to.
class AudioReader {
 public:
  static constexpr int kMinRate = 8000;    ///< Hz
  static constexpr int kMaxRate = 384000;  ///< Hz

  /// `path` "-" is standard input. `raw` is given where the stream has no header. With `takesDamaged` a file
  /// that ends before its time, or is damaged somewhere, ends there.
  explicit AudioReader(std::string path, const std::optional<RawLayout>& raw = std::nullopt,
                       bool takesDamaged = false);

  /// Whether what stands behind `path` can't be looked at beforehand: standard input, a pipe, a device.
  static bool IsReadOnce(const std::string& path);

  const std::string& Path() const { return path; }
  int Rate() const { return info.samplerate; }
  int Channels() const { return info.channels; }
  /// Frames in the file; nothing where a pipe doesn't tell.
  std::optional<uint64_t> Frames() const;
  /// Sample format that keeps what the file holds.
  SampleFormat Sample() const { return SampleFormatOf(info.format); }

  /// Moves on to `frame`, counted from the start. Past the end is the end. On a pipe it reads its way there.
  void SkipTo(uint64_t frame);

  /// Up to `frames` frames into `interleaved`; fewer only
  /// at the end. Throws Failure where the file is damaged.
  uint64_t Read(float* interleaved, uint64_t frames);

 private:
  std::optional<DeclaredLength> LookAt() const;
  SNDFILE* OpenFile(const std::optional<DeclaredLength>& length);
  SNDFILE* OpenStream(int descriptor, bool isPipe, bool isOurs);
  [[noreturn]] void FailAsCut(double endSeconds, double seconds) const;

  struct Close {
    void operator()(SNDFILE* handle) const { sf_close(handle); }
  };

  std::string path;
  std::string name;  // in messages
  SF_INFO info{};
  std::unique_ptr<WatchedStream> watched;    // a pipe
  std::unique_ptr<ShortenedFile> shortened;  // a CAF file that ends before its time
  std::unique_ptr<SNDFILE, Close> file;      // reads from one of these, or by itself
  uint64_t position = 0;                     // frames
  bool lengthKnown = true;
  bool endUnmarked = false;  // a file without the mark of its end
  bool takesDamaged;
};

}  // namespace Vantora::cli
