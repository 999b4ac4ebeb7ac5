// The convolution engine, linked in: what its audio thread does with workers, without, and offline.
#include <atomic>
#include <chrono>
#include <thread>

#include "dsp/convolution/ConvolutionEngine.h"
#include "dsp/convolution/ConvolutionReverb.h"
#include "engine/ProcessContext.h"
#include "tests/proofs/Watched.h"

namespace Vantora::test {
namespace {

/// Two channels in and two out.
struct Audio {
  explicit Audio(uint32_t most) {
    for (auto& channel : channels) channel.resize(most);
    inputs = {channels[0].data(), channels[1].data()};
    outputs = {channels[2].data(), channels[3].data()};
  }
  /// A block of `count` samples, with noise on the left and a tone on the right.
  dsp::ProcessContext Filled(Chance& chance, uint32_t count) {
    Fill(Signal::kNoise, chance, channels[0], count, phase);
    Fill(Signal::kTone, chance, channels[1], count, phase);
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = count;
    return context;
  }

  std::array<std::vector<float>, 4> channels;
  std::array<float*, 2> inputs, outputs;
  double phase = 0.0;
};

uint64_t ReverbBlocks(uint64_t blocks) { return blocks / 5; }

/// The module around the engine: knobs move, impulses are asked for, read and faded to, while it sounds.
void LiveReverb(Findings& findings, uint64_t blocks, uint64_t seed) {
  constexpr uint32_t kBlock = 64;
  dsp::ConvolutionReverb reverb("Watched");
  reverb.SetLoader([](const std::string& path, dsp::Impulse& impulse, std::string&) {
    Chance chance(path.size());
    double phase = 0.0;
    impulse.left.resize(2000 * path.size());
    Fill(Signal::kNoise, chance, impulse.left, static_cast<uint32_t>(impulse.left.size()), phase);
    if (path.size() % 2 == 0) impulse.right = impulse.left;
    impulse.fileRate = path.size() % 3 == 0 ? 44100.0f : 48000.0f;
    return true;
  });
  reverb.SetImpulseFile("four");
  reverb.Init(kBlock, 48000.0f);
  std::atomic<bool> isDone{false};
  std::thread control([&, own = Chance(seed + 1)]() mutable {
    while (!isDone) {
      reverb.SetImpulseFile(std::string(1 + own.Below(20), 'i'));
      std::this_thread::sleep_for(std::chrono::milliseconds(own.Below(60)));
    }
  });
  Chance chance(seed);
  Audio audio(kBlock);
  for (uint64_t b = 0; b < blocks; ++b) {
    const uint32_t count = chance.Once(3) ? chance.Below(kBlock + 1) : kBlock;
    dsp::ProcessContext context = audio.Filled(chance, count);
    Guarded(findings, [&] {
      if (chance.Once(20)) reverb.SetParam(chance.Below(dsp::ConvolutionReverb::kParamCount), Knob(chance));
      reverb.Process(context);
    });
    for (const float* output : audio.outputs) findings.LookAt(output, count);
  }
  isDone = true;
  control.join();
}

}  // namespace

std::array<Findings, 4> ThroughConvolution(uint64_t blocks, uint64_t seed) {
  constexpr std::array<double, 5> kSeconds = {0.01, 0.1, 0.5, 1.5, 4.0};
  constexpr float kRate = 48000.0f;
  std::array<Findings, 4> all;
  auto& [without, with, resets, reverb] = all;
  without.name = "convolution without workers";
  with.name = "convolution with workers";
  resets.name = "convolution, a block with a reset";
  resets.systemCallsAllowed = 2;  // a reset clears what workers hold, on their threads
  with.systemCallsAllowed = 1;    // wakes the first worker, who wakes the others
  for (const double seconds : kSeconds) {
    for (const uint32_t most : {64u, 480u}) {
      Chance chance(seed++);
      const auto length = static_cast<uint64_t>(seconds * static_cast<double>(kRate));
      std::vector<float> impulse(length);
      double phase = 0.0;
      Fill(Signal::kNoise, chance, impulse, static_cast<uint32_t>(length), phase);
      for (uint64_t i = 0; i < length; ++i)
        impulse[i] *= std::exp(-6.0f * static_cast<float>(i) / static_cast<float>(length));
      dsp::ConvoEngineConfig config;
      config.headMinimum = 2 * most;
      config.partitions = dsp::DefaultPartitions();
      dsp::ConvolutionEngine engine(impulse.data(), length, impulse.data(), length,
                                    dsp::MakePartitionSchedule(config, length, most));
      engine.Init(most, kRate);
      Audio audio(most);
      bool workers = true;
      for (uint64_t b = 0; b < (blocks - ReverbBlocks(blocks)) / (2 * kSeconds.size()); ++b) {
        if (chance.Once(200)) engine.SetUseWorkers(workers = !workers);
        const uint32_t count = chance.Once(3) ? chance.Below(most + 1) : most;
        dsp::ProcessContext context = audio.Filled(chance, count);
        context.inputCount = chance.Once(10) ? 1 : 2;
        context.outputCount = chance.Once(10) ? 1 : 2;
        // An offline block may wait for what workers still hold, and says so: it is not real time yet.
        if (!workers && engine.AreWorkersBusy()) {
          engine.Process(context);
          continue;
        }
        const bool isReset = chance.Once(500);
        Findings& findings = isReset ? resets : workers ? with : without;
        Guarded(findings, [&] {
          if (isReset) engine.ResetState(true);
          engine.Process(context);
        });
        findings.LookAt(audio.outputs[0], count);
        if (context.outputCount == 2) findings.LookAt(audio.outputs[1], count);
      }
    }
  }
  reverb.name = "convolution reverb";
  reverb.systemCallsAllowed = 2;  // two engines, while it fades from one to the other
  LiveReverb(reverb, ReverbBlocks(blocks), seed);
  for (Findings& one : all) one.blocks = one.calls;
  return all;
}

}  // namespace Vantora::test
