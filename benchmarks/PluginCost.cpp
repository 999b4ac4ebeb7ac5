// What a plug-in adds to the processor: the same second of sound through the built CLAP, VST3 and LV2 in host
// buffers of 64, 256 and 1024 samples, and in the processor's own blocks without any plug-in around it.
//
//     plugin_cost [PRESET]                       times, alternating in one process: the least of many rounds
//     plugin_cost PRESET FORMAT BUFFER SECONDS   one case and nothing else, for a simulator to count
//
// FORMAT is clap, vst3, lv2, shell (what the three share), or bare.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/HostedProcessor.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/ShellCore.h"
#include "processor/LinkedFactory.h"
#include "tests/plugin/ShellHost.h"

namespace {

using namespace Vantora;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFrames = 48000, kBlock = 48;
constexpr int kRounds = 60;

/// A second of sound, and room for what becomes of it.
struct Second {
  Second() : input(kFrames), left(kFrames), right(kFrames) {
    for (uint32_t i = 0; i < kFrames; ++i) input[i] = 0.3f * std::sin(0.05f * static_cast<float>(i % 4800));
  }
  /// Calls `process(in, out, frames)` for pieces of `buffer` samples.
  template <typename Process>
  void Cut(uint32_t buffer, Process&& process) {
    for (uint32_t done = 0; done < kFrames; done += buffer) {
      const float* in[2] = {input.data() + done, input.data() + done};
      float* out[2] = {left.data() + done, right.data() + done};
      process(in, out, std::min(buffer, kFrames - done));
    }
  }
  std::vector<float> input, left, right;
};

const host::Preset& PresetNamed(const std::string& name) {
  for (const host::Preset& preset : plugin::FactoryPresets()) {
    if (preset.name == name) return preset;
  }
  throw std::invalid_argument("there is no preset \"" + name + "\"");
}

/// What runs a second of sound in buffers of so many samples.
using Runner = std::function<void(uint32_t)>;

Runner MakeBare(const host::Preset& preset, Second& sound) {
  auto bare = std::make_shared<host::HostedProcessor>(host::ProcessorSource(Processor::MakeLinkedFactory()));
  preset.Apply(*bare);
  bare->Init(48000.0f);
  return [bare, &sound](uint32_t) {
    sound.Cut(kBlock,
              [&](const float** in, float** out, uint32_t frames) { bare->Process(in, 2, out, 2, frames); });
  };
}

Runner MakeShell(const host::Preset& preset, Second& sound) {
  auto shell = std::make_shared<plugin::ShellCore>();
  shell->LoadPresetByName(preset.name);
  shell->Activate(48000.0);
  return [shell, &sound](uint32_t buffer) {
    sound.Cut(buffer, [&](const float** in, float** out, uint32_t frames) {
      shell->SetTime({120.0, true, {}});
      shell->Process(in, out, frames);
    });
  };
}

Runner MakePlugin(std::unique_ptr<test::ShellHost> made, const host::Preset& preset, Second& sound) {
  std::shared_ptr<test::ShellHost> host = std::move(made);
  if (!host->Load(preset.ToJson()) || !host->Activate()) throw std::runtime_error("it isn't activated");
  return [host, &sound](uint32_t buffer) {
    sound.Cut(buffer,
              [&](const float** in, float** out, uint32_t frames) { host->Process(in, out, frames, {}); });
  };
}

Runner Make(const std::string& format, const host::Preset& preset, Second& sound) {
  if (format == "bare") return MakeBare(preset, sound);
  if (format == "shell") return MakeShell(preset, sound);
  if (format == "clap") return MakePlugin(test::OpenClap(PRISMEL_CLAP), preset, sound);
  if (format == "vst3") return MakePlugin(test::OpenVst3(PRISMEL_VST3), preset, sound);
#ifdef PRISMEL_LV2
  if (format == "lv2") return MakePlugin(test::OpenLv2(PRISMEL_LV2), preset, sound);
#endif
  throw std::invalid_argument("there is no format \"" + format + "\"");
}

double Milliseconds(const Runner& runner, uint32_t buffer) {
  const auto begin = Clock::now();
  runner(buffer);
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void Compare(const std::vector<std::string>& presets) {
  std::vector<std::string> formats{"shell", "clap", "vst3"};
#ifdef PRISMEL_LV2
  formats.push_back("lv2");
#endif
  std::printf("%-18s %6s %8s %10s %10s %8s\n", "preset", "format", "buffer", "bare ms", "plug-in ms",
              "added");
  for (const std::string& name : presets) {
    Second sound;
    const Runner bare = Make("bare", PresetNamed(name), sound);
    for (const std::string& format : formats) {
      const Runner runner = Make(format, PresetNamed(name), sound);
      for (const uint32_t buffer : {64u, 256u, 1024u}) {
        double least = 1e9, leastBare = 1e9;
        for (int round = 0; round < kRounds; ++round) {
          leastBare = std::min(leastBare, Milliseconds(bare, kBlock));
          least = std::min(least, Milliseconds(runner, buffer));
        }
        std::printf("%-18s %6s %8u %10.3f %10.3f %+7.1f%%\n", name.c_str(), format.c_str(), buffer, leastBare,
                    least, 100.0 * (least / leastBare - 1.0));
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 5) {
      Second sound;
      const Runner runner = Make(argv[2], PresetNamed(argv[1]), sound);
      for (int second = std::atoi(argv[4]); second > 0; --second)
        runner(static_cast<uint32_t>(std::max(std::atoi(argv[3]), 1)));
      return 0;
    }
    if (argc > 2) {
      std::fprintf(stderr,
                   "usage: plugin_cost [PRESET [FORMAT BUFFER SECONDS]], say plugin_cost 'Wide Copies'\n");
      return 2;
    }
    Compare(argc == 2 ? std::vector<std::string>{argv[1]}
                      : std::vector<std::string>{std::string(plugin::ShellCore::kFirstPreset), "Wide Copies",
                                                 "Formant Fan", "Major Sky"});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "plugin_cost: %s\n", error.what());
    return 1;
  }
}
