#include "cli/audio/AudioReader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "cli/Failure.h"
#include "host/files/HeldPipe.h"

namespace Vantora::cli {
namespace {

// A WAV header written before the length was known claims up to 4 GB: no length at all.
constexpr int64_t kClaimedWithoutKnowing = 0x7fff0000 / 8;

constexpr const char* kTakenFromPipes =
    "a pipe takes WAV, AU, AIFF, W64, Ogg, MP3 or, with --raw-input, raw samples";

/// While it lives, what libraries write to standard error goes nowhere.
class QuietStandardError {
 public:
  QuietStandardError() : kept(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const int nothing = kept < 0 ? -1 : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing < 0) return;
    dup2(nothing, STDERR_FILENO);
    close(nothing);
  }
  ~QuietStandardError() {
    if (kept < 0) return;
    dup2(kept, STDERR_FILENO);
    close(kept);
  }
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

 private:
  int kept;
};

}  // namespace

RawLayout ParseRawLayout(const std::string& text) {
  const auto fail = [&] {
    return UsageError(fmt::format(
        "'{}' isn't RATE,CHANNELS,FORMAT such as 48000,2,float (FORMAT 16, 24, 32 or float)", text));
  };
  RawLayout layout;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (int* number : {&layout.rate, &layout.channels}) {
    const auto [next, error] = std::from_chars(at, end, *number);
    if (error != std::errc{} || next == end || *next != ',' || *number <= 0) throw fail();
    at = next + 1;
  }
  const auto sample = ParseSampleFormat(std::string_view(at, static_cast<size_t>(end - at)));
  if (!sample) throw fail();
  layout.sample = *sample;
  return layout;
}

AudioReader::AudioReader(std::string filePath, const std::optional<RawLayout>& raw, bool damagedToo)
    : path(std::move(filePath)), name(path == "-" ? "standard input" : path), takesDamaged(damagedToo) {
  if (raw) {
    info.samplerate = raw->rate;
    info.channels = raw->channels;
    info.format = AudioFormat{"raw", raw->sample, false}.Code();
  }
  std::optional<DeclaredLength> present;  // and declared
  if (const auto length = LookAt(); !raw) present = length;
  {
    const QuietStandardError guard;  // decoders remark on what they find
    file.reset(OpenFile(present));
  }
  if (!file && watched && watched->BeginsWith("fLaC")) {
    throw Failure(fmt::format("{}: FLAC can't be read from a pipe; {}", name, kTakenFromPipes));
  }
  if (!file) {
    const std::string hint =
        (path == "-" || watched) && !raw ? fmt::format(" ({})", kTakenFromPipes) : std::string();
    throw Failure(fmt::format("{}: not an audio file I can read: {}{}", name, SndFileReason(nullptr), hint));
  }
  // Float files may go beyond full scale; integers are
  // divided by their full scale, so they come back exactly.
  sf_command(file.get(), SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  if (info.samplerate < kMinRate || info.samplerate > kMaxRate) {
    throw Failure(fmt::format("{}: its rate of {} Hz lies outside {} to {} Hz", name, info.samplerate,
                              kMinRate, kMaxRate));
  }
  if (info.channels < 1) throw Failure(fmt::format("{}: it has no channels", name));
  const int kind = info.format & SF_FORMAT_TYPEMASK;
  if (info.seekable == 0 && (kind == SF_FORMAT_CAF || kind == SF_FORMAT_RF64)) {
    throw Failure(
        fmt::format("{}: {} can't be read from a pipe; a pipe takes WAV, AU, AIFF, W64, Ogg and MP3", name,
                    kind == SF_FORMAT_CAF ? "CAF" : "RF64", kTakenFromPipes));
  }
  constexpr sf_count_t kLongerThanAnyFile = sf_count_t{1} << 50;
  endUnmarked = info.seekable != 0 && info.frames > kLongerThanAnyFile;
  lengthKnown = (info.seekable != 0 && !endUnmarked) ||
                (info.frames > 0 && info.frames < kClaimedWithoutKnowing / info.channels);
  if (lengthKnown && info.frames <= 0) throw Failure(fmt::format("{}: it holds no audio", name));
  if (present && present->IsCut() && !takesDamaged) {
    const double seconds = static_cast<double>(info.frames) / info.samplerate;
    const double share = static_cast<double>(present->present) / static_cast<double>(present->declared);
    // Of MP3 the library tells the length in the header, of all others that of what is there.
    kind == SF_FORMAT_MPEG ? FailAsCut(seconds * share, seconds) : FailAsCut(seconds, seconds / share);
  }
}

bool AudioReader::IsReadOnce(const std::string& path) {
  struct stat status {};
  return path == "-" || (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}

SNDFILE* AudioReader::OpenFile(const std::optional<DeclaredLength>& length) {
  if (path == "-") {
    struct stat status {};
    const bool isFile = fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode);
    return OpenStream(STDIN_FILENO, !isFile, false);
  }
  if (const host::HeldPipe held(path); held.IsPipe()) {
    if (!held.HasWriter()) throw Failure(fmt::format("{}: is a pipe that nobody writes to", name));
    const int pipe = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (pipe < 0) throw Failure(fmt::format("{}: {}", name, std::strerror(errno)));
    return OpenStream(pipe, true, true);
  }
  if (length && ShortenedFile::IsNeeded(path, *length)) {
    shortened = std::make_unique<ShortenedFile>(path, *length);
    return shortened->Open(&info);
  }
  return sf_open(path.c_str(), SFM_READ, &info);
}

SNDFILE* AudioReader::OpenStream(int descriptor, bool isPipe, bool isOurs) {
  if (isPipe && !takesDamaged) watched = std::make_unique<WatchedStream>(descriptor, isOurs);
  if (watched) return sf_open_fd(watched->Descriptor(), SFM_READ, &info, SF_FALSE);
  return sf_open_fd(descriptor, SFM_READ, &info, isOurs ? SF_TRUE : SF_FALSE);
}

std::optional<DeclaredLength> AudioReader::LookAt() const {
  struct stat status {};
  if (path == "-") {
    if (fstat(STDIN_FILENO, &status) != 0) throw Failure(fmt::format("{}: {}", name, std::strerror(errno)));
    return S_ISREG(status.st_mode) ? FindDeclaredLength(STDIN_FILENO) : std::nullopt;
  }
  if (stat(path.c_str(), &status) != 0) throw Failure(fmt::format("{}: {}", name, std::strerror(errno)));
  if (S_ISDIR(status.st_mode)) throw Failure(fmt::format("{}: is a folder, not an audio file", name));
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size == 0) throw Failure(fmt::format("{}: the file is empty", name));
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw Failure(fmt::format("{}: {}", name, std::strerror(errno)));
  const auto length = FindDeclaredLength(descriptor);
  close(descriptor);
  return length;
}

void AudioReader::FailAsCut(double endSeconds, double seconds) const {
  throw Failure(fmt::format("{}: damaged: it ends after {:.3f} s of {:.3f} s; --damaged takes what is there",
                            name, endSeconds, seconds));
}

std::optional<uint64_t> AudioReader::Frames() const {
  if (!lengthKnown) return std::nullopt;
  return static_cast<uint64_t>(info.frames);
}

void AudioReader::SkipTo(uint64_t frame) {
  if (info.seekable != 0) {
    const auto target = std::min<sf_count_t>(static_cast<sf_count_t>(frame), info.frames);
    if (sf_seek(file.get(), target, SEEK_SET) < 0) {
      throw Failure(fmt::format("{}: can't go to frame {}: {}", name, frame, SndFileReason(file.get())));
    }
    position = static_cast<uint64_t>(target);
    return;
  }
  std::vector<float> thrownAway(1024 * static_cast<size_t>(info.channels));
  while (position < frame) {
    if (Read(thrownAway.data(), std::min<uint64_t>(1024, frame - position)) == 0) return;
  }
}

uint64_t AudioReader::Read(float* interleaved, uint64_t frames) {
  // libmpg123 writes its complaints straight to standard error.
  std::optional<QuietStandardError> guard;
  const int kind = info.format & SF_FORMAT_TYPEMASK;
  if (kind == SF_FORMAT_MPEG) guard.emplace();
  const sf_count_t got = sf_readf_float(file.get(), interleaved, static_cast<sf_count_t>(frames));
  guard.reset();
  const uint64_t count = got > 0 ? static_cast<uint64_t>(got) : 0;
  position += count;
  if (count < frames && !takesDamaged) {
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) {
      // For MP3 the library knows no more than that something is wrong.
      const std::string reason = kind == SF_FORMAT_MPEG ? "" : ": " + SndFileReason(file.get());
      throw Failure(fmt::format("{}: damaged after {:.3f} s{}; --damaged takes what is there", name,
                                static_cast<double>(position) / info.samplerate, reason));
    }
    // An Ogg stream says that it ends; without that nobody knows what is missing.
    if (endUnmarked) {
      throw Failure(fmt::format("{}: damaged: it breaks off after {:.3f} s; --damaged takes what is there",
                                name, static_cast<double>(position) / info.samplerate));
    }
    if (watched && watched->IsCut()) {
      const double seconds = static_cast<double>(position) / info.samplerate;
      if (const double share = watched->Share(); share < 1.0 && share > 0.0)
        FailAsCut(seconds, seconds / share);
      throw Failure(fmt::format("{}: damaged: it breaks off after {:.3f} s; --damaged takes what is there",
                                name, seconds));
    }
    // A lossy file's length is an estimate; of any other, frames that don't come are frames that are lost.
    const bool exact = (info.format & SF_FORMAT_SUBMASK) != SF_FORMAT_MPEG_LAYER_III;
    if (lengthKnown && exact && position < static_cast<uint64_t>(info.frames)) {
      FailAsCut(static_cast<double>(position) / info.samplerate,
                static_cast<double>(info.frames) / info.samplerate);
    }
  }
  return count;
}

}  // namespace Vantora::cli
