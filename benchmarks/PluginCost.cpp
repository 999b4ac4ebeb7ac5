// What a plug-in's shell adds to the processor: the same second of sound through a shell core in host buffers
// of 64, 256 and 1024 samples, and in the processor's own blocks without any shell; alternating in one
// process, the least of many rounds.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
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
constexpr int kRounds = 40;

template <typename Work>
double Seconds(Work&& work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

int main() {
  std::vector<float> input(kFrames), left(kFrames), right(kFrames);
  for (uint32_t i = 0; i < kFrames; ++i) input[i] = 0.3f * std::sin(0.05f * static_cast<float>(i % 4800));
  std::printf("%-18s %8s %12s %12s %8s\n", "preset", "buffer", "bare ms", "shell ms", "added");
  for (const char* name : {"Wide Copies", "Formant Fan", "Glass Choir", "Major Sky"}) {
    for (const uint32_t buffer : {64u, 256u, 1024u}) {
      host::HostedProcessor bare{host::ProcessorSource(Processor::MakeLinkedFactory())};
      for (const host::Preset& preset : plugin::FactoryPresets()) {
        if (preset.name == name) preset.Apply(bare);
      }
      bare.Init(48000.0f);
      plugin::ShellCore core;
      core.LoadPresetByName(name);
      core.Activate(48000.0);
      double least[2] = {1e9, 1e9};
      for (int round = 0; round < kRounds; ++round) {
        least[0] = std::min(least[0], Seconds([&] {
                              for (uint32_t done = 0; done < kFrames; done += kBlock) {
                                const float* in[2] = {input.data() + done, input.data() + done};
                                float* out[2] = {left.data() + done, right.data() + done};
                                bare.Process(in, 2, out, 2, kBlock);
                              }
                            }));
        least[1] = std::min(least[1], Seconds([&] {
                              for (uint32_t done = 0; done < kFrames; done += buffer) {
                                const uint32_t count = std::min(buffer, kFrames - done);
                                const float* in[2] = {input.data() + done, input.data() + done};
                                float* out[2] = {left.data() + done, right.data() + done};
                                core.SetTime({120.0, true, {}});
                                core.Process(in, out, count);
                              }
                            }));
      }
      std::printf("%-18s %8u %12.3f %12.3f %+7.1f%%\n", name, buffer, least[0] * 1e3, least[1] * 1e3,
                  100.0 * (least[1] / least[0] - 1.0));
    }
  }
}
