#include "cli/offline/FileRenderer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <limits>

#include "cli/Failure.h"
#include "cli/audio/AudioWriter.h"
#include "cli/audio/Limiter.h"
#include "cli/audio/LoudnessMeter.h"
#include "cli/offline/RunReport.h"
#include "cli/offline/SampleStash.h"
#include "offline/StreamRender.h"
#include "tools/CLog.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

/// The input channels that are fed, counted from 0.
std::vector<int> SelectChannels(const RenderSettings& settings, const AudioReader& reader) {
  if (settings.channels.empty()) {
    if (reader.Channels() > 2) {
      throw Failure(fmt::format("{}: has {} channels; choose one or two, for instance with --channels 1,2",
                                reader.Path(), reader.Channels()));
    }
    return reader.Channels() == 1 ? std::vector<int>{0} : std::vector<int>{0, 1};
  }
  std::vector<int> selected;
  for (const int channel : settings.channels) {
    if (channel > reader.Channels()) {
      throw Failure(fmt::format("{}: has no channel {}, only {}", reader.Path(), channel, reader.Channels()));
    }
    selected.push_back(channel - 1);
  }
  return selected;
}

/// OutputChain: what lies behind the effect. Measures, puts aside or writes.
class OutputChain {
 public:
  /// At least `inputFrames` will come, as far as that is known.
  OutputChain(const RenderSettings& renderSettings, const std::string& path, const AudioReader& reader,
              int outputChannels, uint64_t inputFrames)
      : settings(renderSettings),
        channels(static_cast<uint64_t>(outputChannels)),
        rate(reader.Rate()),
        writer(path, WriterSettings(renderSettings, path, reader, outputChannels, inputFrames)),
        meter(rate, outputChannels, settings.normalize && settings.normalize->isTruePeak) {
    if (settings.limit) limiter.emplace(std::pow(10.0, *settings.limit / 20.0), rate, outputChannels);
    if (settings.normalize) {
      const fs::path folder = fs::path(path).parent_path();
      stash.emplace(path == "-" ? fs::temp_directory_path() : folder.empty() ? fs::path(".") : folder);
    }
  }

  void Keep(const float* samples, uint64_t frames) {
    if (stash) {
      meter.Add(samples, frames);
      stash->Add(samples, frames * channels);
    } else if (limiter) {
      limiter->Add(samples, frames, out);
    } else {
      out(samples, frames);
    }
  }

  void Finish(JobReport& report) {
    if (stash) {
      const float gain = settings.normalize->Gain(meter, &report.peakHeldGain, limiter.has_value());
      meter = LoudnessMeter(rate, static_cast<int>(channels));
      stash->Replay(4096 * channels, [&](float* samples, uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) samples[i] *= gain;
        limiter ? limiter->Add(samples, count / channels, out) : out(samples, count / channels);
      });
    }
    if (limiter) {
      limiter->Finish(out);
      report.limitedSeconds = static_cast<double>(limiter->LimitedFrames()) / rate;
    }
    report.outputSeconds = static_cast<double>(writer.FramesWritten()) / rate;
    if (settings.measure) {
      report.outputPeak = meter.PeakDb();
      report.outputLufs = meter.IntegratedLufs();
    }
    report.clipped = writer.ClippedSamples();
    writer.Finish();
  }

 private:
  static AudioWriter::Settings WriterSettings(const RenderSettings& settings, const std::string& path,
                                              const AudioReader& reader, int outputChannels,
                                              uint64_t inputFrames) {
    const std::string type = settings.type.empty() && path == "-" ? "wav" : settings.type;
    AudioWriter::Settings writer;
    writer.format = ChooseOutputFormat(path, type, settings.sample, reader.Sample());
    writer.rate = reader.Rate();
    writer.channels = outputChannels;
    writer.leastFrames = inputFrames;
    const double tailFrames = settings.tail.seconds * reader.Rate();
    writer.mostFrames = reader.Frames().value_or(uint64_t{1} << 40) + static_cast<uint64_t>(tailFrames);
    writer.dither = settings.dither;
    writer.overwrite = settings.overwrite;
    return writer;
  }

  const RenderSettings& settings;
  uint64_t channels;
  int rate;
  AudioWriter writer;
  LoudnessMeter meter;
  std::optional<SampleStash> stash;
  std::optional<Limiter> limiter;
  const Limiter::Sink out = [this](const float* samples, uint64_t frames) {
    if (settings.measure) meter.Add(samples, frames);
    writer.Write(samples, frames);
  };
};

}  // namespace

void RenderFile(const RenderSettings& settings, const std::string& input, const std::string& output,
                offline::Effect& effect, JobReport& report) {
  std::error_code ignored;
  if (input != "-" && output != "-" && fs::equivalent(input, output, ignored)) {
    throw UsageError(fmt::format("{}: input and output are the same file", output));
  }
  AudioReader reader(input, settings.rawInput, settings.takesDamaged);
  const std::vector<int> selected = SelectChannels(settings, reader);
  const int outputChannels = selected.size() == 2 || settings.stereo ? 2 : 1;
  const double rate = reader.Rate();

  const auto frames = [rate](double seconds) { return static_cast<uint64_t>(std::llround(seconds * rate)); };
  const uint64_t start = settings.startSeconds ? frames(*settings.startSeconds) : 0;
  if (reader.Frames() && start >= *reader.Frames() && start > 0) {
    throw Failure(fmt::format("{}: --start lies behind its end at {:.3f} s", input,
                              static_cast<double>(*reader.Frames()) / rate));
  }
  uint64_t left =
      settings.durationSeconds ? frames(*settings.durationSeconds) : std::numeric_limits<uint64_t>::max();
  if (reader.Frames()) {
    left = std::min(left, *reader.Frames() - start);
    report.total.store(left);
  }

  LogInfo("prismel", fmt::format("{}: {} Hz, {} to {} channels, from frame {} on", input, reader.Rate(),
                                 selected.size(), outputChannels, start));
  std::optional<OutputChain> chain;
  offline::StreamRender render(
      effect, settings.tail, reader.Rate(), static_cast<int>(selected.size()), outputChannels,
      [&chain](const float* samples, uint64_t count) { chain->Keep(samples, count); });
  chain.emplace(settings, output, reader, outputChannels, reader.Frames() ? left : 0);
  if (start > 0) reader.SkipTo(start);

  LoudnessMeter inputMeter(reader.Rate(), static_cast<int>(selected.size()));
  const uint64_t piece = settings.pieceFrames;
  const auto inputChannels = static_cast<uint64_t>(reader.Channels());
  std::vector<float> interleaved(piece * inputChannels);
  std::vector<float> taken(piece * selected.size());  // interleaved, for the meter
  std::array<std::vector<float>, 2> planes{std::vector<float>(piece), std::vector<float>(piece)};
  const std::array<const float*, 2> inputs{planes[0].data(), planes[1].data()};

  while (left > 0) {
    const uint64_t count = reader.Read(interleaved.data(), std::min(piece, left));
    if (count == 0) break;
    for (size_t c = 0; c < selected.size(); ++c) {
      const float* from = interleaved.data() + selected[c];
      for (uint64_t i = 0; i < count; ++i) {
        planes[c][i] = from[i * inputChannels];
        // The effect counts and replaces what isn't a number; a meter would never recover from it.
        taken[i * selected.size() + c] = std::isfinite(planes[c][i]) ? planes[c][i] : 0.0f;
      }
    }
    if (settings.measure) inputMeter.Add(taken.data(), count);
    render.Feed(inputs.data(), count);
    left -= count;
    report.done.store(render.FramesFed(), std::memory_order_relaxed);
  }
  const uint64_t fed = render.FramesFed();
  if (fed == 0) throw Failure(fmt::format("{}: it holds no audio", input == "-" ? "standard input" : input));

  render.EndInput();
  while (!render.RunTail(piece)) {
  }

  report.inputSeconds = static_cast<double>(fed) / rate;
  report.nonFinite = effect.NonFiniteCount();
  report.measured = settings.measure;
  if (settings.measure) {
    report.inputPeak = inputMeter.PeakDb();
    report.inputLufs = inputMeter.IntegratedLufs();
  }
  report.tailCut = render.WasTailCut();
  report.rate = reader.Rate();
  report.inputChannels = static_cast<int>(selected.size());
  report.outputChannels = outputChannels;
  report.lost = render.LostSamples();
  chain->Finish(report);
  if (settings.digests) {
    if (!AudioReader::IsReadOnce(input))
      DigestFile(input).copy(report.inputDigest.data(), report.inputDigest.size() - 1);
    if (!AudioReader::IsReadOnce(output))
      DigestFile(output).copy(report.outputDigest.data(), report.outputDigest.size() - 1);
  }
  report.finished = true;
}

}  // namespace Vantora::cli
