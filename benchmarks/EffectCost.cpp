// effect_cost [--library PATH]... [--rate HZ] [--voices N] [--lfo DEPTH] [--silent] [--only NAME] [--turns N]
// [--worst]
//
// What does the whole effect cost behind its binary interface? Every stage effect runs in short turns: each
// library in question, a plain biquad as the unit, and Calf's Multi Chorus with eight voices (with one beside
// one), all in this process. The least of many turns counts, so that a busy machine disturbs a ratio little.
// Prints CSV: cost in biquads, of the chorus, of the first library, and with --worst the slowest block of a
// thousand over the mean. Without the chorus (scripts/setup --benchmarks) its column is 0, and a line says
// so.

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/ChorusPeer.h"
#include "benchmarks/EffectSession.h"

namespace Vantora::benchmarks {
namespace {

/// The unit: two channels through one biquad in direct form one, sample by sample.
class PlainBiquad {
 public:
  explicit PlainBiquad(uint32_t blockFrames) : frames(blockFrames), data(2 * blockFrames, 0.25f) {}
  __attribute__((noinline)) void Block() {
    for (int c = 0; c < 2; ++c) {
      float x1 = state[c][0], x2 = state[c][1], y1 = state[c][2], y2 = state[c][3];
      float* samples = data.data() + static_cast<uint32_t>(c) * frames;
      for (uint32_t i = 0; i < frames; ++i) {
        const float x = samples[i];
        const float y = 0.98f * x - 1.96f * x1 + 0.98f * x2 + 1.95f * y1 - 0.96f * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        samples[i] = y + 1e-3f;
      }
      state[c][0] = x1, state[c][1] = x2, state[c][2] = y1, state[c][3] = y2;
    }
  }

 private:
  uint32_t frames;
  std::vector<float> data;
  float state[2][4] = {};
};

using Clock = std::chrono::steady_clock;

/// Least time of a turn of `blocks` blocks, and the worst block over the mean.
class Stopwatch {
 public:
  template <typename Run>
  void Turn(int blocks, Run&& run) {
    const auto start = Clock::now();
    for (int i = 0; i < blocks; ++i) run();
    least = std::min(least, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / blocks);
  }
  double PerBlock() const { return least; }

 private:
  double least = 1e18;
};

/// Worst block over mean: the same stretch of blocks several times over would need equal states, so the place
/// of a block in the stream counts: of all runs the least time at each place, then the largest of them over
/// their mean.
double WorstBlock(const test::LoadedLibrary& library, const Case& what, float rate) {
  constexpr int kBlocks = 4000;
  std::vector<double> least(kBlocks, 1e18);
  for (int run = 0; run < 15; ++run) {
    Session session(library, what, rate);
    for (int b = 0; b < kBlocks; ++b) {
      const auto start = Clock::now();
      session.Block();
      least[b] = std::min(least[b], std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
  }
  double sum = 0.0;
  for (const double x : least) sum += x;
  std::sort(least.begin(), least.end());
  return least[kBlocks - 1 - kBlocks / 1000] / (sum / kBlocks);
}

struct Options {
  std::vector<std::string> libraries;
  float rate = 48000.0f;
  uint32_t voices = 8;
  float lfoDepth = 0.0f;
  std::string only;
  bool isSilent = false;
  bool worst = false;
  int turns = 100;
};

Options Read(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    const auto value = [&] {
      if (i + 1 == argc) throw std::runtime_error(name + " needs a value");
      return std::string(argv[++i]);
    };
    if (name == "--library") {
      options.libraries.push_back(value());
    } else if (name == "--rate") {
      options.rate = std::stof(value());
    } else if (name == "--voices") {
      options.voices = static_cast<uint32_t>(std::clamp(std::stoi(value()), 1, 8));
    } else if (name == "--lfo") {
      options.lfoDepth = std::stof(value());
    } else if (name == "--only") {
      options.only = value();
    } else if (name == "--turns") {
      options.turns = std::stoi(value());
    } else if (name == "--silent") {
      options.isSilent = true;
    } else if (name == "--worst") {
      options.worst = true;
    } else {
      throw std::runtime_error("unknown option " + name +
                               "; there are --library PATH, --rate HZ, --voices N, --lfo DEPTH, --silent, "
                               "--only NAME, --turns N, --worst");
    }
  }
  if (options.libraries.empty()) options.libraries.push_back(PRISMEL_PROCESSOR_LIBRARY);
  return options;
}

int Measure(int argc, char** argv) {
  const Options options = Read(argc, argv);
  std::vector<std::unique_ptr<test::LoadedLibrary>> libraries;
  for (const std::string& path : options.libraries)
    libraries.push_back(std::make_unique<test::LoadedLibrary>(path.c_str()));
  if (!ChorusPeer::IsAvailable(options.rate)) {
    std::fprintf(
        stderr,
        "effect_cost: no Calf Multi Chorus to compare with; scripts/setup --benchmarks installs it\n");
  }
  std::puts("effect,voices,rate,lfo,library,biquads,of_chorus,of_first,worst");
  for (Case what : EffectCases(options.voices, options.lfoDepth)) {
    if (!options.only.empty() && what.name != options.only) continue;
    what.isSilent = options.isSilent;
    std::vector<std::unique_ptr<Session>> sessions;
    for (const auto& library : libraries)
      sessions.push_back(std::make_unique<Session>(*library, what, options.rate));
    const uint32_t frames = sessions[0]->Frames();
    PlainBiquad biquad(frames);
    ChorusPeer chorus(options.rate, what.voices == 1 ? 1 : 8, frames);
    std::vector<Stopwatch> watches(sessions.size());
    Stopwatch biquadWatch, chorusWatch;
    const int blocks = std::max(4, static_cast<int>(2000 / frames));
    for (int turn = 0; turn < options.turns; ++turn) {
      biquadWatch.Turn(4 * blocks, [&] { biquad.Block(); });
      for (std::size_t s = 0; s < sessions.size(); ++s)
        watches[s].Turn(blocks, [&] { sessions[s]->Block(); });
      if (chorus.IsLoaded()) chorusWatch.Turn(blocks, [&] { chorus.Block(); });
    }
    for (std::size_t s = 0; s < sessions.size(); ++s) {
      const double time = watches[s].PerBlock();
      const double ofChorus = chorus.IsLoaded() ? time / chorusWatch.PerBlock() : 0.0;
      const double worst = options.worst ? WorstBlock(*libraries[s], what, options.rate) : 0.0;
      std::printf("%s,%u,%g,%g,%zu,%.2f,%.3f,%.3f,%.3f\n", what.name.c_str(), what.voices,
                  static_cast<double>(options.rate), static_cast<double>(options.lfoDepth), s,
                  time / biquadWatch.PerBlock(), ofChorus, time / watches[0].PerBlock(), worst);
    }
    std::fflush(stdout);
  }
  return 0;
}

}  // namespace
}  // namespace Vantora::benchmarks

int main(int argc, char** argv) {
  try {
    return Vantora::benchmarks::Measure(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "effect_cost: %s\n", error.what());
    return 1;
  }
}
