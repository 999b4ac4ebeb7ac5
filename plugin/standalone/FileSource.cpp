#include "plugin/standalone/FileSource.h"

#include <fmt/format.h>
#include <libresample.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>

#include "host/HostError.h"

namespace Vantora::plugin {
namespace {

constexpr sf_count_t kLongest = 20 * 60 * 192000;  // frames: what is held in memory must end somewhere

std::vector<float> Converted(const std::vector<float>& in, double factor) {
  if (factor == 1.0) return in;
  std::unique_ptr<void, void (*)(void*)> resampler(resample_open(1, factor, factor), resample_close);
  std::vector<float> out(static_cast<size_t>(std::ceil(static_cast<double>(in.size()) * factor)) + 64);
  size_t taken = 0, made = 0;
  while (made < out.size()) {
    int used = 0;
    const auto left = static_cast<int>(std::min<size_t>(in.size() - taken, 1 << 20));
    const bool isLast = taken + static_cast<size_t>(left) == in.size();
    const auto room = static_cast<int>(std::min<size_t>(out.size() - made, 1 << 20));
    // The library reads only, but says so nowhere in its types.
    const int got = resample_process(resampler.get(), factor, const_cast<float*>(in.data()) + taken, left,
                                     isLast ? 1 : 0, &used, out.data() + made, room);
    if (got < 0 || (got == 0 && used == 0)) break;
    taken += static_cast<size_t>(used);
    made += static_cast<size_t>(got);
  }
  out.resize(made);
  return out;
}

}  // namespace

std::unique_ptr<FileSource> FileSource::Read(const std::filesystem::path& path, double rate) {
  SF_INFO info{};
  std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_READ, &info), sf_close);
  if (file == nullptr) {
    throw host::HostError(fmt::format("\"{}\" can't be read: {}", path.string(), sf_strerror(nullptr)));
  }
  if (info.frames <= 0) throw host::HostError(fmt::format("\"{}\" holds no sound.", path.string()));
  if (info.frames > kLongest) {
    throw host::HostError(fmt::format("\"{}\" is longer than the {} minutes at 192 kHz that fit here.",
                                      path.string(), kLongest / 192000 / 60));
  }
  const auto channelCount = static_cast<size_t>(info.channels);
  std::vector<float> frames(static_cast<size_t>(info.frames) * channelCount);
  const sf_count_t got = sf_readf_float(file.get(), frames.data(), info.frames);
  std::unique_ptr<FileSource> source(new FileSource);
  source->name = path.filename().string();
  source->sampleRate = rate;
  for (size_t c = 0; c < 2; ++c) {
    std::vector<float> channel(static_cast<size_t>(std::max<sf_count_t>(got, 0)));
    const size_t from = std::min(c, channelCount - 1);
    for (size_t i = 0; i < channel.size(); ++i) {
      const float sample = frames[i * channelCount + from];
      channel[i] = std::isfinite(sample) ? sample : 0.0f;
    }
    source->channels[c] = Converted(channel, rate / static_cast<double>(info.samplerate));
  }
  if (source->channels[0].empty())
    throw host::HostError(fmt::format("\"{}\" holds no sound.", path.string()));
  return source;
}

double FileSource::Seconds() const { return static_cast<double>(channels[0].size()) / sampleRate; }

void FileSource::Fill(float* left, float* right, uint32_t frames) {
  if (!IsPlaying()) {
    std::fill_n(left, frames, 0.0f);
    std::fill_n(right, frames, 0.0f);
    return;
  }
  const size_t length = std::min(channels[0].size(), channels[1].size());
  for (uint32_t done = 0; done < frames;) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(frames - done, length - position));
    std::copy_n(channels[0].data() + position, count, left + done);
    std::copy_n(channels[1].data() + position, count, right + done);
    done += count;
    position = (position + count) % length;
  }
}

}  // namespace Vantora::plugin
