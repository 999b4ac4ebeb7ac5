#include "cli/audio/AudioWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "cli/Failure.h"
#include "cli/audio/OggSerial.h"
#include "cli/audio/WavStreamHeader.h"
#include "host/files/HeldPipe.h"

namespace Vantora::cli {
namespace {

// libsndfile's Vorbis encoder takes a whole call onto its stack and into its analysis at once.
constexpr uint64_t kFramesPerCall = 4096;
constexpr double kVorbisQuality = 0.7;  // about 220 kbit/s in stereo: nothing to be heard of the coding

// The length words of these headers have 32 bits, and libsndfile lets them run over.
constexpr uint64_t kAiffLimit = 0xffff'0000;  // bytes

bool IsStream(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

/// A device or a pipe; of a pipe a reader is waited for a while, not for ever: below 0 with ENXIO.
int OpenForWriting(const std::string& path) {
  int descriptor = -1, fault = 0;
  host::ComesSoon([&] {
    descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    fault = errno;
    return descriptor >= 0 || fault != ENXIO;
  });
  errno = fault;
  if (descriptor >= 0) fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  return descriptor;
}

/// A file whose bytes can still be changed, as by "> out.wav"; not one that is only appended to.
bool CanBeMended(int descriptor) {
  struct stat status {};
  const int flags = fcntl(descriptor, F_GETFL);
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && flags >= 0 && (flags & O_APPEND) == 0;
}

}  // namespace

AudioWriter::AudioWriter(const std::string& target, const Settings& chosen) : settings(chosen), path(target) {
  if (path == "-") {
    OpenStream(STDOUT_FILENO);
  } else if (IsStream(path)) {
    ownDescriptor = OpenForWriting(path);
    if (ownDescriptor < 0) Fail(errno == ENXIO ? "is a pipe that nobody reads from" : std::strerror(errno));
    OpenStream(ownDescriptor);
  } else {
    OpenFile();
  }
}

AudioWriter::~AudioWriter() {
  file.reset();
  if (ownDescriptor >= 0) close(ownDescriptor);
}

void AudioWriter::RefuseLength(uint64_t frames) const {
  if (!settings.format.type.starts_with("aif")) return;
  const uint64_t frameBytes = static_cast<uint64_t>(settings.channels) * SampleBytes(settings.format.sample);
  if (frames > kAiffLimit / frameBytes) {
    Fail("an AIFF file holds 4 GB at most; wav, caf and w64 hold more");
  }
}

void AudioWriter::OpenFile() {
  RefuseLength(settings.leastFrames);
  pending.emplace(path, settings.overwrite);
  SF_INFO info{
      0, settings.rate, settings.channels, settings.format.Code(settings.mostFrames, settings.channels), 0,
      0};
  if (sf_format_check(&info) == 0) {
    Fail(fmt::format("{} files can't hold {} channels at {} Hz", settings.format.type, settings.channels,
                     settings.rate));
  }
  output.emplace(pending->Descriptor(), false);
  SF_VIRTUAL_IO calls = OutputFile::Calls();
  file.reset(sf_open_virtual(&calls, SFM_WRITE, &info, &*output));
  if (!file) Fail(SndFileReason(nullptr));
  // The peak chunk holds a time stamp.
  sf_command(file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  // Where the bound turns out too high, the header becomes a plain WAV's after all.
  sf_command(file.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr,
             settings.format.type == "wav" ? SF_TRUE : SF_FALSE);
  if (settings.format.lossy) {
    double quality = kVorbisQuality;
    sf_command(file.get(), SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
  }
}

void AudioWriter::OpenStream(int descriptor) {
  if (settings.format.type != "wav" && settings.format.type != "raw") {
    Fail("a stream can be --type wav or --type raw only");
  }
  if (CanBeMended(descriptor)) headerPlace = lseek(descriptor, 0, SEEK_CUR);
  streamDescriptor = descriptor;
  output.emplace(descriptor, true);
  if (settings.format.type == "wav") {
    const auto header = WavStreamHeader(settings.format.sample, settings.rate, settings.channels);
    if (!output->Write(header.data(), header.size())) Fail("");
  }
  const AudioFormat samples{"raw", settings.format.sample, false};
  SF_INFO info{0, settings.rate, settings.channels, samples.Code(), 0, 0};
  SF_VIRTUAL_IO calls = OutputFile::Calls();
  file.reset(sf_open_virtual(&calls, SFM_WRITE, &info, &*output));
  if (!file) Fail(SndFileReason(nullptr));
}

void AudioWriter::MendStreamHeader() {
  if (headerPlace < 0 || settings.format.type != "wav") return;
  const uint64_t frameBytes = static_cast<uint64_t>(settings.channels) * SampleBytes(settings.format.sample);
  const auto header =
      WavStreamHeader(settings.format.sample, settings.rate, settings.channels, written * frameBytes);
  if (pwrite(streamDescriptor, header.data(), header.size(), headerPlace) !=
      static_cast<ssize_t>(header.size())) {
    Fail(std::strerror(errno));
  }
}

void AudioWriter::Quantise(const float* samples, size_t count) {
  integers.resize(count);
  const int bits = IntegerBits(settings.format.sample);
  const double scale = std::ldexp(1.0, bits - 1);
  const double top = scale - 1.0;
  const bool dithered = settings.dither && bits == 16;
  for (size_t i = 0; i < count; ++i) {
    double x = static_cast<double>(samples[i]) * scale;
    if (std::abs(x) > scale) ++clipped;
    if (dithered) x += dither.Next();
    const double held = std::isnan(x) ? 0.0 : std::clamp(std::nearbyint(x), -scale, top);
    // libsndfile takes the upper bits of an int.
    integers[i] = static_cast<int>(static_cast<uint32_t>(static_cast<int64_t>(held)) << (32 - bits));
  }
}

void AudioWriter::Write(const float* interleaved, uint64_t frames) {
  RefuseLength(written + frames);
  const auto channels = static_cast<uint64_t>(settings.channels);
  const bool asFloat = settings.format.lossy || settings.format.sample == SampleFormat::kFloat;
  for (uint64_t at = 0; at < frames;) {
    const uint64_t count = std::min(kFramesPerCall, frames - at);
    const float* from = interleaved + at * channels;
    sf_count_t done = 0;
    if (asFloat) {
      done = sf_writef_float(file.get(), from, static_cast<sf_count_t>(count));
    } else {
      Quantise(from, count * channels);
      done = sf_writef_int(file.get(), integers.data(), static_cast<sf_count_t>(count));
    }
    if (done != static_cast<sf_count_t>(count) || output->Error() != 0) Fail(SndFileReason(file.get()));
    at += count;
  }
  written += frames;
  // Somebody may be listening to the stream.
  if (streamDescriptor >= 0 && headerPlace < 0 && !output->Flush()) Fail("");
}

void AudioWriter::Finish() {
  // The header's last form is written now, so a closing call that says "well done" proves nothing.
  if (sf_close(file.release()) != 0) Fail("the file couldn't be ended");
  if (!output->Flush()) Fail("");
  MendStreamHeader();
  if (!pending) return;
  if (settings.format.lossy && settings.format.type != "mp3") FixOggSerial(pending->Descriptor(), path);
  pending->Commit();
  pending.reset();
}

void AudioWriter::Fail(const std::string& reason) const {
  // What the system said is nearer to the cause than what libsndfile makes of it.
  const bool isSystems = output && output->Error() != 0;
  throw Failure(fmt::format("{}: can't write: {}", path == "-" ? "standard output" : path,
                            isSystems ? std::strerror(output->Error()) : reason));
}

}  // namespace Vantora::cli
