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

namespace Vantora::cli {
namespace {

// libsndfile's Vorbis encoder takes a whole call onto its stack and into its analysis at once.
constexpr uint64_t kFramesPerCall = 4096;
constexpr double kVorbisQuality = 0.7;  // about 220 kbit/s in stereo: nothing to be heard of the coding

bool IsStream(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

AudioWriter::AudioWriter(const std::string& target, const Settings& chosen) : settings(chosen), path(target) {
  if (path == "-") {
    OpenStream(STDOUT_FILENO);
  } else if (IsStream(path)) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) Fail(std::strerror(errno));
    ownsDescriptor = true;
    OpenStream(descriptor);
  } else {
    OpenFile();
  }
}

AudioWriter::~AudioWriter() {
  file.reset();
  if (ownsDescriptor) close(stream.descriptor);
}

void AudioWriter::OpenFile() {
  pending.emplace(path, settings.overwrite);
  SF_INFO info{
      0, settings.rate, settings.channels, settings.format.Code(settings.mostFrames, settings.channels), 0,
      0};
  if (sf_format_check(&info) == 0) {
    Fail(fmt::format("{} files can't hold {} channels at {} Hz", settings.format.type, settings.channels,
                     settings.rate));
  }
  file.reset(sf_open(pending->Path().c_str(), SFM_WRITE, &info));
  if (!file) Fail(sf_strerror(nullptr));
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

SF_VIRTUAL_IO AudioWriter::StreamCalls() {
  SF_VIRTUAL_IO calls{};
  calls.get_filelen = [](void* user) { return static_cast<Stream*>(user)->position; };
  calls.tell = [](void* user) { return static_cast<Stream*>(user)->position; };
  calls.seek = [](sf_count_t, int, void* user) { return static_cast<Stream*>(user)->position; };
  calls.read = [](void*, sf_count_t, void*) -> sf_count_t { return 0; };
  calls.write = [](const void* bytes, sf_count_t count, void* user) {
    auto& sink = *static_cast<Stream*>(user);
    sf_count_t sent = 0;
    while (sent < count) {
      const ssize_t now =
          ::write(sink.descriptor, static_cast<const char*>(bytes) + sent, static_cast<size_t>(count - sent));
      if (now < 0 && errno == EINTR) continue;
      if (now <= 0) break;
      sent += now;
    }
    sink.position += sent;
    return sent;
  };
  return calls;
}

void AudioWriter::OpenStream(int descriptor) {
  if (settings.format.type != "wav" && settings.format.type != "raw") {
    Fail("a stream can be --type wav or --type raw only");
  }
  stream.descriptor = descriptor;
  SF_VIRTUAL_IO calls = StreamCalls();
  if (settings.format.type == "wav") {
    const auto header = WavStreamHeader(settings.format.sample, settings.rate, settings.channels);
    const auto size = static_cast<sf_count_t>(header.size());
    if (calls.write(header.data(), size, &stream) != size) Fail(std::strerror(errno));
    stream.position = 0;  // the samples begin here
  }
  const AudioFormat samples{"raw", settings.format.sample, false};
  SF_INFO info{0, settings.rate, settings.channels, samples.Code(), 0, 0};
  file.reset(sf_open_virtual(&calls, SFM_WRITE, &info, &stream));
  if (!file) Fail(sf_strerror(nullptr));
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
    const double held = std::clamp(std::nearbyint(x), -scale, top);
    // libsndfile takes the upper bits of an int.
    integers[i] = static_cast<int>(static_cast<uint32_t>(static_cast<int64_t>(held)) << (32 - bits));
  }
}

void AudioWriter::Write(const float* interleaved, uint64_t frames) {
  const auto channels = static_cast<uint64_t>(settings.channels);
  const bool asFloat = settings.format.lossy || settings.format.sample == SampleFormat::kFloat;
  for (uint64_t at = 0; at < frames;) {
    const uint64_t count = std::min(kFramesPerCall, frames - at);
    const float* from = interleaved + at * channels;
    sf_count_t done = 0;
    errno = 0;
    if (asFloat) {
      done = sf_writef_float(file.get(), from, static_cast<sf_count_t>(count));
    } else {
      Quantise(from, count * channels);
      done = sf_writef_int(file.get(), integers.data(), static_cast<sf_count_t>(count));
    }
    if (done != static_cast<sf_count_t>(count)) {
      Fail(errno != 0 ? std::strerror(errno) : sf_strerror(file.get()));
    }
    at += count;
  }
  written += frames;
}

void AudioWriter::Finish() {
  errno = 0;
  if (sf_close(file.release()) != 0) Fail(errno != 0 ? std::strerror(errno) : "the file couldn't be ended");
  if (!pending) return;
  if (settings.format.lossy && settings.format.type != "mp3") FixOggSerial(pending->Path());
  pending->Commit();
  pending.reset();
}

void AudioWriter::Fail(const std::string& reason) const {
  throw Failure(fmt::format("{}: can't write: {}", path == "-" ? "standard output" : path, reason));
}

}  // namespace Vantora::cli
