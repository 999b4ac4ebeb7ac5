// soak LIBRARY [SECONDS] [SEED]: SECONDS of live audio (3600 when not told), as fast as it goes, through the
// live collector of the host library: random automation, factory presets, jumps of tempo and song, resets,
// and every few minutes another rate. Beside it runs a second processor that gets the same in other pieces.
// At every sample both must agree bit for bit, and be finite and below `kBound`; after the first minute
// neither the heap in use nor the resident memory may grow from one round of rates to the next. Exit status
// 1: one of these didn't hold.
#include <malloc.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "host/Automation.h"
#include "host/BlockCollector.h"
#include "host/ParameterTable.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"
#include "host/loading/ProcessorLibrary.h"
#include "tests/processor/RandomLife.h"
#include "tests/support/Sanitized.h"

namespace Vantora::test {
namespace {

constexpr uint32_t kChunk = 8192;        // samples between the moments at which transport and streams change
constexpr float kBound = 1e6f;           // 120 dB above the loudest input: every gain and resonance fully up
constexpr double kSettling = 60.0;       // seconds of audio until memory must stay as it is
constexpr size_t kHeapSlack = 16 << 10;  // bytes
// Bytes. A line's pages go back when nothing lies on them any more: over twenty minutes of starts the
// resident memory climbs by 4 MB and falls back. What is lost for good shows in the heap.
constexpr size_t kResidentSlack = 5 << 20;

using Sound = std::vector<host::ParameterWrite>;

/// One processor in a library image of its own, so that its random numbers are those of every first one.
class Listener {
 public:
  Listener(const std::string& path, uint64_t seed)
      : chance(seed), library(path, host::ProcessorLibrary::Image::kPrivate), processor(library) {}

  void Start(float rate) {
    collector.reset();
    processor.Init(rate);
    collector.emplace(processor);
  }
  host::LiveCollector& Collector() { return *collector; }

  /// Takes a chunk in pieces: one length, or any.
  void Hear(const std::array<std::vector<float>, 2>& input, bool isCut) {
    output = input;
    for (uint32_t done = 0; done < kChunk;) {
      const uint32_t piece = std::min(isCut ? chance.Below(900) : 512u, kChunk - done);
      const std::array<float*, 2> channels = {output[0].data() + done, output[1].data() + done};
      collector->Process(channels.data(), channels.data(), piece);
      done += piece;
    }
  }

  std::array<std::vector<float>, 2> output;

 private:
  Chance chance;
  host::ProcessorLibrary library;
  host::HostedProcessor processor;
  std::optional<host::LiveCollector> collector;
};

struct Memory {
  size_t heap = 0, resident = 0;  // bytes
};

Memory Measure() {
  const struct mallinfo2 info = mallinfo2();
  size_t pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return {info.uordblks + info.hblkhd, resident * static_cast<size_t>(sysconf(_SC_PAGESIZE))};
}

class Soak {
 public:
  Soak(const std::string& library, uint64_t seed) : chance(seed), whole(library, 1), cut(library, 2) {
    for (const host::PresetEntry& entry : host::ListPresets(PRISMEL_PRESETS_FOLDER)) {
      presets.push_back(host::ReadPreset(entry.path).Writes());
    }
    for (const host::Parameter& parameter : host::ParameterTable::Get()) {
      if (host::EffectKnobs().CanMove(parameter.Index())) knobs.push_back(parameter.Index());
    }
  }

  /// False at the first thing that doesn't hold, which it tells.
  bool Run(double seconds) {
    std::optional<Memory> settled;
    const double longestStay = std::min(45.0, seconds / 15.0);  // at one rate, in seconds
    for (uint64_t round = 0; heard < seconds; ++round) {
      std::array<float, 5> rates = {48000.0f, 96000.0f, 192000.0f, 44100.0f, 88200.0f};  // Hz
      std::swap(rates[1 + chance.Below(4)], rates[1 + chance.Below(4)]);
      for (const float rate : rates) {
        Begin(rate);
        const double until = heard + longestStay * (0.1 + 0.9 * static_cast<double>(chance.Position()));
        while (heard < until && heard < seconds) {
          if (!Chunk(rate)) return false;
        }
      }
      Begin(48000.0f);
      if (heard < kSettling) continue;
      const Memory now = Measure();
      if (!settled) settled = now;
      std::printf("soak: %.0f s, %llu chunks, heap %.2f MB, resident %.2f MB, loudest %.3g\n", heard,
                  static_cast<unsigned long long>(chunks), static_cast<double>(now.heap) / 1e6,
                  static_cast<double>(now.resident) / 1e6, static_cast<double>(loudest));
      std::fflush(stdout);
#if !defined(PRISMEL_SANITIZED)
      if (now.heap > settled->heap + kHeapSlack || now.resident > settled->resident + kResidentSlack) {
        std::printf("soak: memory has grown since %.2f MB of heap, %.2f MB resident\n",
                    static_cast<double>(settled->heap) / 1e6, static_cast<double>(settled->resident) / 1e6);
        return false;
      }
#endif
    }
    std::printf(
        "soak: %.0f s: %llu presets, %llu knob moves, %llu jumps, %llu resets, %llu starts; loudest %.3g\n",
        heard, static_cast<unsigned long long>(counts.presets), static_cast<unsigned long long>(counts.moves),
        static_cast<unsigned long long>(counts.jumps), static_cast<unsigned long long>(counts.resets),
        static_cast<unsigned long long>(counts.starts), static_cast<double>(loudest));
    return true;
  }

 private:
  template <typename Work>
  void Both(Work work) {
    work(whole.Collector());
    work(cut.Collector());
  }

  void Begin(float rate) {
    whole.Start(rate);
    cut.Start(rate);
    ++counts.starts;
  }

  bool Chunk(float rate) {
    for (uint32_t i = chance.Below(40); i > 0; --i) {
      const uint32_t index = knobs[chance.Below(static_cast<uint32_t>(knobs.size()))];
      const float position = Knob(chance);
      const uint32_t offset = chance.Below(kChunk);
      Both([&](host::LiveCollector& c) { c.Queue(index, position, c.NextSample() + offset); });
      ++counts.moves;
    }
    if (chance.Once(12)) {
      const Sound& sound = presets[chance.Below(static_cast<uint32_t>(presets.size()))];
      const uint32_t offset = chance.Below(kChunk);
      Both([&](host::LiveCollector& c) { c.QueueTogether(sound, c.NextSample() + offset); });
      ++counts.presets;
    }
    if (chance.Once(10)) {
      const double tempo = 20.0 + 280.0 * static_cast<double>(chance.Position());
      const double position = 1e5 * static_cast<double>(chance.Position());
      const bool isPlaying = !chance.Once(5);
      Both([&](host::LiveCollector& c) { c.SetTransport(tempo, isPlaying, position); });
      ++counts.jumps;
    }
    if (chance.Once(200)) {
      Both([](host::LiveCollector& c) { c.Reset(); });
      ++counts.resets;
    }
    if (chance.Once(6)) {
      constexpr std::array<Signal, 5> kSome = {Signal::kNoise, Signal::kTone, Signal::kSilence,
                                               Signal::kClicks, Signal::kTiny};
      signal = kSome[chance.Below(kSome.size())];
    }
    for (auto& channel : input) Fill(signal, chance, channel, kChunk, phase);
    whole.Hear(input, false);
    cut.Hear(input, true);
    for (size_t side = 0; side < 2; ++side) {
      for (uint32_t i = 0; i < kChunk; ++i) {
        const float a = whole.output[side][i], b = cut.output[side][i];
        loudest = std::max(loudest, std::fabs(a));
        if (std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) && std::fabs(a) < kBound) continue;
        std::printf(
            "soak: at %.3f s, side %zu, sample %u of chunk %llu (%g Hz): %.9g in one length of pieces, %.9g "
            "in others\n",
            heard, side, i, static_cast<unsigned long long>(chunks), static_cast<double>(rate),
            static_cast<double>(a), static_cast<double>(b));
        return false;
      }
    }
    heard += kChunk / static_cast<double>(rate);
    ++chunks;
    return true;
  }

  Chance chance;
  Listener whole, cut;
  std::vector<Sound> presets;
  std::vector<uint32_t> knobs;
  std::array<std::vector<float>, 2> input{std::vector<float>(kChunk), std::vector<float>(kChunk)};
  Signal signal = Signal::kNoise;
  double phase = 0.0, heard = 0.0;  // radians; seconds of audio
  uint64_t chunks = 0;
  float loudest = 0.0f;
  struct {
    uint64_t presets = 0, moves = 0, jumps = 0, resets = 0, starts = 0;
  } counts;
};

}  // namespace
}  // namespace Vantora::test

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) {
    std::fprintf(
        stderr,
        "usage: soak LIBRARY [SECONDS] [SEED], say soak build/release/lib/libprismelProcessor.so 3600\n");
    return 2;
  }
  // Where the kernel makes large pages of any memory, and in its own time, what is resident says little.
  prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
  try {
    Vantora::test::Soak soak(argv[1], argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1);
    return soak.Run(argc > 2 ? std::atof(argv[2]) : 3600.0) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 2;
  }
}
