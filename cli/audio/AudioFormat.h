#pragma once

#include <sndfile.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Vantora::cli {

/// SampleFormat: how one sample is stored in a file without lossy compression.
enum class SampleFormat { kPcm16, kPcm24, kPcm32, kFloat };

/// "16", "24", "32" or "float"; nothing for any other text.
std::optional<SampleFormat> ParseSampleFormat(std::string_view text);
/// The text that `ParseSampleFormat` reads back.
std::string_view Name(SampleFormat format);

/// Bits of an integer format; 0 for float.
int IntegerBits(SampleFormat format);

/// Bytes of one sample.
uint64_t SampleBytes(SampleFormat format);

/// AudioFormat: a kind of audio file and the sample format in it.
struct AudioFormat {
  std::string type;                            ///< "wav", "flac", ...: the ending without its dot; "raw"
  SampleFormat sample = SampleFormat::kPcm24;  ///< meaningless for a lossy type
  bool lossy = false;                          ///< Ogg Vorbis, Opus, MP3

  /// libsndfile's format word for `frames` frames of `channels`
  /// channels: WAV has a 64-bit form for 4 GB and more.
  int Code(uint64_t frames = 0, int channels = 1) const;
};

/// All endings that can be written, for help texts: "wav aif aiff flac ...".
std::string WritableEndings();

/// Whether libsndfile may be able to read a file of this ending; folders are searched by it.
bool IsAudioEnding(const std::filesystem::path& path);

/// The format in which to write, from the ending of `path` or from `type` where that isn't empty.
///
/// `wanted` is the sample format asked for, and an error where the type can't hold it. Without one the
/// input's is kept, or the nearest one with at least its bits that the type holds. Throws UsageError.
AudioFormat ChooseOutputFormat(const std::filesystem::path& path, const std::string& type,
                               std::optional<SampleFormat> wanted, SampleFormat ofInput);

/// The sample format that keeps what a file with libsndfile's format word `code` holds: 16 bit for 8 and 16,
/// 24 bit for lossy files, float for double.
SampleFormat SampleFormatOf(int code);

/// What libsndfile says of its last error with `file` (null: of opening one), without its own beginning and
/// end of a sentence.
std::string SndFileReason(SNDFILE* file);

}  // namespace Vantora::cli
