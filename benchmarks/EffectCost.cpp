// effect_cost [--library PATH]... [--rate HZ] [--only TEXT] [--csv] [--blocks N]
//
// What does the whole effect cost behind its binary interface? Every case runs in short turns: each library
// in question, a plain biquad as the unit, and Calf's Multi Chorus with eight voices and with one, all in
// this process. The least of many turns counts, so that a busy machine disturbs a ratio little. With two
// libraries the table sets the second beside the first. Without the chorus (scripts/setup --benchmarks) its
// columns stay empty, and a line says so.

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
#include "tests/processor/LoadedProcessor.h"

namespace Vantora::benchmarks {
namespace {

using Processor::IProcessor_V7;
using Processor::ProcessorConfig;

struct Case {
  const char* name;
  int type;       // of the stage effect
  int algorithm;  // of the distortion
  int voices;
  float lfoDepth;  // of both amounts, 0..1
  bool silent = false;
};

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const int voices : {8, 1}) {
    cases.push_back({"pass-through", 0, 0, voices, 0.0f});
    cases.push_back({"band-pass", 1, 0, voices, 0.0f});
    cases.push_back({"comb", 2, 0, voices, 0.0f});
    cases.push_back({"crusher", 3, 0, voices, 0.0f});
    cases.push_back({"distortion 0", 4, 0, voices, 0.0f});
    cases.push_back({"distortion 1", 4, 1, voices, 0.0f});
    cases.push_back({"distortion 2", 4, 2, voices, 0.0f});
    cases.push_back({"wavefolder", 4, 3, voices, 0.0f});
    cases.push_back({"harmonizer", 5, 0, voices, 0.0f});
  }
  cases.push_back({"pass-through, LFO", 0, 0, 8, 0.9f});
  cases.push_back({"band-pass, LFO", 1, 0, 8, 0.9f});
  cases.push_back({"comb, LFO", 2, 0, 8, 0.9f});
  cases.push_back({"crusher, LFO", 3, 0, 8, 0.9f});
  cases.push_back({"distortion 1, LFO", 4, 1, 8, 0.9f});
  cases.push_back({"wavefolder, LFO", 4, 3, 8, 0.9f});
  cases.push_back({"harmonizer, LFO", 5, 0, 8, 0.9f});
  cases.push_back({"band-pass, silence", 1, 0, 8, 0.0f, true});
  return cases;
}

/// One processor at work: the effect's knobs at 0.6, "Prismelion" too, all wet.
class Session {
 public:
  Session(const test::LoadedLibrary& library, const Case& what, float sampleRate) {
    const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
    processor.reset(factory->CreateProcessor());
    processor->Attach(nullptr);
    const ProcessorConfig config{sampleRate};
    processor->Init(&config);
    for (const uint32_t knob : {158u, 159u, 160u, 161u, 162u, 163u, 164u, 166u, 168u}) {
      processor->SetParamValue(knob, 0.6f);
    }
    processor->SetParamValue(155, 1.0f);
    processor->SetParamValue(167, 2.0f / 11.0f);
    processor->SetParamValue(165, static_cast<float>(what.algorithm) / 3.0f);
    processor->SetParamValue(169, static_cast<float>(what.type) / 5.0f);
    processor->SetParamValue(152, static_cast<float>(what.voices - 1) / 7.0f);
    const float amount = 0.5f + 0.5f * what.lfoDepth;
    processor->SetParamValue(222, amount);
    processor->SetParamValue(223, amount);
    processor->SetParamValue(177, 0.5f);
    frames = processor->GetBlockSize(sampleRate);
    // A second of noise, so that no block is the one before.
    noise.resize(frames * 64);
    uint32_t x = 1;
    for (float& sample : noise)
      sample = static_cast<float>((x = x * 1664525u + 1013904223u) >> 8) * 5e-8f - 0.4f;
    for (auto& buffer : out) buffer.resize(frames);
    data.inputs = inputs.data();
    data.outputs = outputs.data();
    data.inputCount = data.outputCount = 2;
    data.sampleCount = frames;
    data.tempo = 120.0f;
    outputs = {out[0].data(), out[1].data()};
    for (int i = 0; i < 2500; ++i) Block();
    if (!what.silent) return;
    std::fill(noise.begin(), noise.end(), 0.0f);
    for (int i = 0; i < 20000; ++i) Block();
  }

  void Block() {
    inputs = {noise.data() + place * frames, noise.data() + (63 - place) * frames};
    place = (place + 1) % 64;
    processor->Process(&data);
  }
  uint32_t Frames() const { return frames; }

 private:
  std::unique_ptr<IProcessor_V7> processor;
  uint32_t frames = 0;
  uint32_t place = 0;
  std::vector<float> noise;
  std::array<std::vector<float>, 2> out;
  std::array<float*, 2> inputs{}, outputs{};
  Processor::ProcessData data{};
};

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
  for (int run = 0; run < 5; ++run) {
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
  std::string only;
  bool csv = false;
  bool worst = false;
  int turns = 60;
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
    } else if (name == "--only") {
      options.only = value();
    } else if (name == "--turns") {
      options.turns = std::stoi(value());
    } else if (name == "--worst") {
      options.worst = true;
    } else if (name == "--csv") {
      options.csv = true;
    } else {
      throw std::runtime_error(
          "unknown option " + name +
          "; there are --library PATH, --rate HZ, --only TEXT, --turns N, --worst, --csv");
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
  if (!ChorusPeer::IsAvailable(options.rate))
    std::fprintf(
        stderr,
        "effect_cost: no Calf Multi Chorus to compare with; scripts/setup --benchmarks installs it\n");
  std::puts(options.csv ? "effect,voices,library,biquads,of_chorus,of_first,worst"
                        : "effect               voices  library  biquads  of chorus  of first  worst/mean");
  for (const Case& what : Cases()) {
    if (!options.only.empty() && std::string(what.name).find(options.only) == std::string::npos) continue;
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
      std::printf(
          options.csv ? "%s,%d,%zu,%.2f,%.3f,%.3f,%.3f\n" : "%-20s %6d  %7zu  %7.1f  %9.2f  %8.2f  %10.2f\n",
          what.name, what.voices, s, time / biquadWatch.PerBlock(), ofChorus, time / watches[0].PerBlock(),
          worst);
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
