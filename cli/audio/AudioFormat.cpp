#include "cli/audio/AudioFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

struct FileType {
  const char* ending;
  int major;
  int lossySubtype;  // 0 where the samples are kept
};

constexpr uint64_t kWavLimit = 4'000'000'000;  // bytes; the length words of a WAV header have 32 bits

constexpr std::array<FileType, 12> kTypes{{
    {"wav", SF_FORMAT_WAV, 0},
    {"aif", SF_FORMAT_AIFF, 0},
    {"aiff", SF_FORMAT_AIFF, 0},
    {"flac", SF_FORMAT_FLAC, 0},
    {"ogg", SF_FORMAT_OGG, SF_FORMAT_VORBIS},
    {"opus", SF_FORMAT_OGG, SF_FORMAT_OPUS},
    {"mp3", SF_FORMAT_MPEG, SF_FORMAT_MPEG_LAYER_III},
    {"caf", SF_FORMAT_CAF, 0},
    {"w64", SF_FORMAT_W64, 0},
    {"rf64", SF_FORMAT_RF64, 0},
    {"au", SF_FORMAT_AU, 0},
    {"raw", SF_FORMAT_RAW, 0},
}};

std::string LowerEnding(const std::filesystem::path& path) {
  std::string ending = path.extension().string();
  if (!ending.empty()) ending.erase(0, 1);
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ending;
}

const FileType* FindType(std::string_view ending) {
  for (const FileType& type : kTypes) {
    if (ending == type.ending) return &type;
  }
  return nullptr;
}

int Subtype(SampleFormat format) {
  switch (format) {
    case SampleFormat::kPcm16:
      return SF_FORMAT_PCM_16;
    case SampleFormat::kPcm24:
      return SF_FORMAT_PCM_24;
    case SampleFormat::kPcm32:
      return SF_FORMAT_PCM_32;
    case SampleFormat::kFloat:
      return SF_FORMAT_FLOAT;
  }
  return SF_FORMAT_FLOAT;
}

bool Holds(const FileType& type, SampleFormat format) {
  const SF_INFO info{0, 48000, 2, type.major | Subtype(format), 0, 0};
  return sf_format_check(&info) != 0;
}

}  // namespace

std::optional<SampleFormat> ParseSampleFormat(std::string_view text) {
  if (text == "16") return SampleFormat::kPcm16;
  if (text == "24") return SampleFormat::kPcm24;
  if (text == "32") return SampleFormat::kPcm32;
  if (text == "float") return SampleFormat::kFloat;
  return std::nullopt;
}

std::string_view Name(SampleFormat format) {
  constexpr std::array<std::string_view, 4> kNames{"16", "24", "32", "float"};
  return kNames[static_cast<size_t>(format)];
}

int IntegerBits(SampleFormat format) {
  constexpr std::array<int, 4> kBits{16, 24, 32, 0};
  return kBits[static_cast<size_t>(format)];
}

uint64_t SampleBytes(SampleFormat format) {
  const int bits = IntegerBits(format);
  return bits == 0 ? sizeof(float) : static_cast<uint64_t>(bits) / 8;
}

int AudioFormat::Code(uint64_t frames, int channels) const {
  const FileType& found = *FindType(type);
  if (lossy) return found.major | found.lossySubtype;
  const int endian = found.major == SF_FORMAT_RAW ? SF_ENDIAN_LITTLE : 0;
  const uint64_t bytes = frames * static_cast<uint64_t>(channels) * SampleBytes(sample);
  const bool isLongWav = found.major == SF_FORMAT_WAV && bytes > kWavLimit;
  return (isLongWav ? SF_FORMAT_RF64 : found.major) | Subtype(sample) | endian;
}

std::string WritableEndings() {
  std::string list;
  for (const FileType& type : kTypes) list += fmt::format("{}{}", list.empty() ? "" : " ", type.ending);
  return list;
}

bool IsAudioEnding(const std::filesystem::path& path) {
  const std::string ending = LowerEnding(path);
  if (ending == "raw") return false;  // nothing in such a file tells its rate
  constexpr std::array<std::string_view, 6> kReadOnly{"oga", "wave", "aifc", "snd", "bwf", "sd2"};
  return FindType(ending) != nullptr ||
         std::find(kReadOnly.begin(), kReadOnly.end(), ending) != kReadOnly.end();
}

AudioFormat ChooseOutputFormat(const std::filesystem::path& path, const std::string& type,
                               std::optional<SampleFormat> wanted, SampleFormat ofInput) {
  const std::string ending = type.empty() ? LowerEnding(path) : type;
  const FileType* found = FindType(ending);
  if (found == nullptr) {
    throw UsageError(
        type.empty()
            ? fmt::format("{}: the ending names no format I can write (one of: {}); or give --type",
                          path.string(), WritableEndings())
            : fmt::format("--type {}: not a format I can write (one of: {})", type, WritableEndings()));
  }
  AudioFormat format{ending, SampleFormat::kFloat, found->lossySubtype != 0};
  if (format.lossy) {
    if (wanted) throw UsageError(fmt::format("{} files have no sample format: leave out --format", ending));
    return format;
  }
  if (wanted) {
    if (!Holds(*found, *wanted)) {
      throw UsageError(fmt::format("{} files can't hold --format {}", ending, Name(*wanted)));
    }
    format.sample = *wanted;
    return format;
  }
  // FLAC ends at 24 bit: what doesn't fit becomes the most it has.
  format.sample = Holds(*found, ofInput) ? ofInput : SampleFormat::kPcm24;
  return format;
}

SampleFormat SampleFormatOf(int code) {
  switch (code & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_ALAC_16:
      return SampleFormat::kPcm16;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return SampleFormat::kPcm32;
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
      return SampleFormat::kFloat;
    default:
      return SampleFormat::kPcm24;
  }
}

std::string SndFileReason(SNDFILE* file) {
  std::string text = sf_strerror(file);
  constexpr std::string_view kBeginning = "Error : ";
  if (text.starts_with(kBeginning)) text.erase(0, kBeginning.size());
  while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
  return text;
}

}  // namespace Vantora::cli
