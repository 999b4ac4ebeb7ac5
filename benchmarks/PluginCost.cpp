// What a plug-in's shell adds to the processor: the same second of sound through a shell core in host buffers
// of 64, 256 and 1024 samples, and in the processor's own blocks without any shell.
//
//     plugin_cost                         times: alternating in one process, the least of many short rounds
//     plugin_cost PRESET BUFFER SECONDS   runs one case and nothing else, for a simulator to count; BUFFER 0
//                                         is the processor without a shell

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/HostedProcessor.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/ShellCore.h"
#include "processor/LinkedFactory.h"

namespace {

using namespace Vantora;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFrames = 48000, kBlock = 48;
constexpr int kRounds = 60;

/// A processor and a shell with the same preset, and a second of sound for both.
class Pair {
 public:
  explicit Pair(const std::string& name) : input(kFrames), left(kFrames), right(kFrames) {
    for (uint32_t i = 0; i < kFrames; ++i) input[i] = 0.3f * std::sin(0.05f * static_cast<float>(i % 4800));
    for (const host::Preset& preset : plugin::FactoryPresets()) {
      if (preset.name == name) preset.Apply(bare);
    }
    bare.Init(48000.0f);
    const std::string problem = shell.LoadPresetByName(name);
    if (!problem.empty()) throw std::invalid_argument(problem);
    shell.Activate(48000.0);
  }

  void RunBare() {
    for (uint32_t done = 0; done < kFrames; done += kBlock) {
      const float* in[2] = {input.data() + done, input.data() + done};
      float* out[2] = {left.data() + done, right.data() + done};
      bare.Process(in, 2, out, 2, kBlock);
    }
  }

  void RunShell(uint32_t buffer) {
    for (uint32_t done = 0; done < kFrames; done += buffer) {
      const float* in[2] = {input.data() + done, input.data() + done};
      float* out[2] = {left.data() + done, right.data() + done};
      shell.SetTime({120.0, true, {}});
      shell.Process(in, out, std::min(buffer, kFrames - done));
    }
  }

 private:
  host::HostedProcessor bare{host::ProcessorSource(Processor::MakeLinkedFactory())};
  plugin::ShellCore shell;
  std::vector<float> input, left, right;
};

template <typename Work>
double Milliseconds(Work&& work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void Count(const char* name, const char* bufferText, const char* secondsText) {
  Pair pair(name);
  const int buffer = std::atoi(bufferText);
  for (int second = std::atoi(secondsText); second > 0; --second) {
    if (buffer > 0) {
      pair.RunShell(static_cast<uint32_t>(buffer));
    } else {
      pair.RunBare();
    }
  }
}

void Compare() {
  std::printf("%-18s %8s %12s %12s %8s\n", "preset", "buffer", "bare ms", "shell ms", "added");
  for (const char* name : {"Wide Copies", "Formant Fan", "Glass Choir", "Major Sky"}) {
    Pair pair(name);
    constexpr uint32_t kBuffers[] = {64, 256, 1024};
    double bare = 1e9, shell[std::size(kBuffers)] = {1e9, 1e9, 1e9};
    for (int round = 0; round < kRounds; ++round) {
      for (size_t i = 0; i < std::size(kBuffers); ++i) {
        bare = std::min(bare, Milliseconds([&] { pair.RunBare(); }));
        shell[i] = std::min(shell[i], Milliseconds([&] { pair.RunShell(kBuffers[i]); }));
      }
    }
    for (size_t i = 0; i < std::size(kBuffers); ++i) {
      std::printf("%-18s %8u %12.3f %12.3f %+7.1f%%\n", name, kBuffers[i], bare, shell[i],
                  100.0 * (shell[i] / bare - 1.0));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 1 && argc != 4) {
    std::fprintf(stderr, "usage: plugin_cost [PRESET BUFFER SECONDS], say plugin_cost 'Wide Copies' 64 1\n");
    return 2;
  }
  try {
    argc == 4 ? Count(argv[1], argv[2], argv[3]) : Compare();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "plugin_cost: %s\n", error.what());
    return 1;
  }
}
