// What a plug-in adds to the processor: the same second of sound through the built CLAP, VST3 and LV2 in host
// buffers of 64, 256 and 1024 samples, and in the processor's own blocks without any plug-in around it.
//
//     plugin_cost [PRESET]                       times, in turns in one process
//     plugin_cost --every BUFFER                 the same of every factory preset, for one size of buffer
//     plugin_cost PRESET FORMAT BUFFER SECONDS   one case and nothing else, for a simulator to count
//
// FORMAT is clap, vst3, lv2, shell (what the three share), or bare.
//
// A turn is a second of sound, played twice: the first time brings the caches to where a running stream has
// them, the second one is measured; beside it stands the bare processor's turn just before or behind. The
// figure of an instance is the median of its turns, the figure of a case the median of many instances: where
// an instance's memory comes to lie makes it up to four per cent faster or slower than the next. The cases
// "bare" are a second bare processor, and say how far the others can be believed.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "basictools/AlignedVector.h"
#include "host/HostedProcessor.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/ShellCore.h"
#include "processor/LinkedFactory.h"
#include "tests/plugin/ShellHost.h"

namespace {

using namespace Vantora;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFrames = 48000, kBlock = 48;
constexpr int kRounds = 8;

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
  AlignedFloats input, left, right;  // as most hosts have them
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

/// Nanoseconds for a block of the processor's, in a second of sound that follows on one like it.
double Turn(const Runner& runner, uint32_t buffer) {
  runner(buffer);
  const auto begin = Clock::now();
  runner(buffer);
  return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / (kFrames / kBlock);
}

/// Of `values`, the one below which `share` of them lie; between two of them in proportion.
double Quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const double place = share * static_cast<double>(values.size() - 1);
  const auto below = static_cast<size_t>(place);
  const size_t above = std::min(below + 1, values.size() - 1);
  return values[below] + (place - static_cast<double>(below)) * (values[above] - values[below]);
}

/// A format with a buffer, and what its instances added, in shares of a bare block.
struct Case {
  std::string format;
  uint32_t buffer;
  std::vector<double> added;
};

/// Fills in what `cases` add to the preset in so many instances; answers what a bare block takes, in ns.
double Measure(const std::string& name, std::vector<Case>& cases, int instances) {
  std::vector<double> bareTurns;
  for (int instance = 0; instance < instances; ++instance) {
    Second sound;
    for (size_t i = 0; i < cases.size();) {
      const std::string format = cases[i].format;
      // Each is made first, and runs first, as often as the other.
      Runner bare, runner;
      if (instance % 2 == 0) bare = Make("bare", PresetNamed(name), sound);
      runner = Make(format, PresetNamed(name), sound);
      if (instance % 2 != 0) bare = Make("bare", PresetNamed(name), sound);
      for (; i < cases.size() && cases[i].format == format; ++i) {
        std::vector<double> ratios;
        for (int round = 0; round < kRounds; ++round) {
          double turn = 0.0, bareTurn = 0.0;
          if (round % 2 == 0) bareTurn = Turn(bare, kBlock);
          turn = Turn(runner, cases[i].buffer);
          if (round % 2 != 0) bareTurn = Turn(bare, kBlock);
          bareTurns.push_back(bareTurn);
          ratios.push_back(turn / bareTurn);
        }
        cases[i].added.push_back(Quantile(ratios, 0.5) - 1.0);
      }
    }
  }
  return Quantile(bareTurns, 0.5);
}

/// Of `formats` and those that were built.
std::vector<Case> CasesOf(std::vector<std::string> formats, const std::vector<uint32_t>& buffers) {
  formats.insert(formats.end(), {"clap", "vst3"});
#ifdef PRISMEL_LV2
  formats.emplace_back("lv2");
#endif
  std::vector<Case> cases;
  for (const std::string& format : formats) {
    for (const uint32_t buffer : buffers) cases.push_back({format, buffer, {}});
  }
  return cases;
}

void Compare(std::string_view preset) {
  constexpr int kInstances = 32;
  const std::string name(preset);
  std::vector<Case> cases = CasesOf({"bare", "shell"}, {64, 256, 1024});
  const double block = Measure(name, cases, kInstances);
  std::printf("%s, bare: %.0f ns a block\n", name.c_str(), block);
  for (const Case& one : cases) {
    const double added = Quantile(one.added, 0.5);
    std::printf("  %6s %5u: %+5.1f ns %+5.1f %%   (instances %+.1f to %+.1f)\n", one.format.c_str(),
                one.buffer, added * block, 100.0 * added, 100.0 * Quantile(one.added, 0.1),
                100.0 * Quantile(one.added, 0.9));
  }
}

void CompareEvery(uint32_t buffer) {
  constexpr int kInstances = 12;
  std::vector<Case> all = CasesOf({}, {buffer});
  std::printf("%% added in buffers of %u\n", buffer);
  for (const host::Preset& preset : plugin::FactoryPresets()) {
    std::vector<Case> cases = CasesOf({}, {buffer});
    std::printf("%24s %5.0f ns a block:", preset.name.c_str(), Measure(preset.name, cases, kInstances));
    for (size_t i = 0; i < cases.size(); ++i) {
      all[i].added.push_back(Quantile(cases[i].added, 0.5));
      std::printf("  %s %+4.1f", cases[i].format.c_str(), 100.0 * all[i].added.back());
    }
    std::printf("\n");
    std::fflush(stdout);
  }
  for (const Case& one : all) {
    std::printf("%24s median %+.1f, least %+.1f, most %+.1f\n", one.format.c_str(),
                100.0 * Quantile(one.added, 0.5), 100.0 * Quantile(one.added, 0.0),
                100.0 * Quantile(one.added, 1.0));
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
    if (argc == 3 && std::string_view(argv[1]) == "--every") {
      CompareEvery(static_cast<uint32_t>(std::max(std::atoi(argv[2]), 1)));
      return 0;
    }
    if (argc > 2) {
      std::fprintf(
          stderr,
          "usage: plugin_cost [PRESET [FORMAT BUFFER SECONDS] | --every BUFFER], say 'Wide Copies'\n");
      return 2;
    }
    if (argc == 2) {
      Compare(argv[1]);
      return 0;
    }
    for (const std::string_view name : {plugin::ShellCore::kFirstPreset, std::string_view("Wide Copies"),
                                        std::string_view("Formant Fan"), std::string_view("Major Sky")}) {
      Compare(name);
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "plugin_cost: %s\n", error.what());
    return 1;
  }
}
