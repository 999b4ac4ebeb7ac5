// Every allocation of everything that allocates is made to fail, one after another: alone, and with all
// behind it. Each time the step is refused in a way that its caller is told of, or comes to its right end all
// the same; nothing leaks, no half file stays, and the next try works.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <new>
#include <sstream>
#include <vector>

#include "dsp/convolution/ConvolutionReverb.h"
#include "dsp/convolution/ImpulseShaping.h"
#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "host/files/AutomationFile.h"
#include "host/files/PresetFile.h"
#include "host/files/TempoMapFile.h"
#include "host/loading/ProcessorLibrary.h"
#include "offline/HostedEffect.h"
#include "offline/StreamRender.h"
#include "plugin/core/ShellCore.h"
#include "plugin/core/State.h"
#include "processor/LinkedFactory.h"
#include "processor/interface/IProcessorFactory.h"
#include "tests/faults/FailEach.h"
#include "tests/support/TempFolder.h"

namespace Vantora::test {
namespace {

namespace fs = std::filesystem;
using testsupport::TempFolder;

constexpr uint32_t kFrames = 480;

struct Signal {
  Signal() : left(kFrames), right(kFrames) {
    for (uint32_t i = 0; i < kFrames; ++i) {
      left[i] = 0.4f * std::sin(0.05f * static_cast<float>(i));
      right[i] = 0.3f * std::sin(0.031f * static_cast<float>(i));
    }
    inputs = {left.data(), right.data()};
  }
  std::vector<float> left, right;
  std::array<const float*, 2> inputs{};
};

/// A few blocks through a bare processor.
uint64_t RunBlocks(Processor::IProcessor_V7& processor) {
  static Signal signal;
  static std::array<float, 2 * 48> out;
  uint64_t hash = 1;
  for (uint32_t at = 0; at + 48 <= kFrames; at += 48) {
    Processor::ProcessData data{};
    std::array<float*, 2> in{signal.left.data() + at, signal.right.data() + at},
        to{out.data(), out.data() + 48};
    data.inputs = in.data();
    data.outputs = to.data();
    data.inputCount = data.outputCount = 2;
    data.sampleCount = 48;
    data.tempo = 120.0f;
    processor.Process(&data);
    hash = Hash(out.data(), sizeof out, hash);
  }
  return hash;
}

TEST(OutOfMemory, TheLibraryRefusesFactoryProcessorAndInit) {
  void* const library = dlopen(PRISMEL_PROCESSOR_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto entry =
      reinterpret_cast<Processor::IProcessorFactory* (*)()>(dlsym(library, "GetProcessorFactory"));
  FailEach("factory, processor, init", [entry]() -> uint64_t {
    const std::unique_ptr<Processor::IProcessorFactory> factory(entry());
    const std::unique_ptr<Processor::IProcessor_V7> processor(factory->CreateProcessor());
    if (processor == nullptr) return 0;
    processor->Attach(nullptr);
    const Processor::ProcessorConfig config{48000.0f};
    if (!processor->Init(&config)) return 0;
    return 1;
  });

  // An Init that failed can be asked for again, on the same processor, and so can another rate.
  const std::unique_ptr<Processor::IProcessorFactory> factory(Processor::MakeLinkedFactory());
  uint64_t number = 0;
  FailEach("init again", [&number]() -> uint64_t {
    const auto own = Processor::MakeLinkedFactory(7);
    const std::unique_ptr<Processor::IProcessor_V7> processor(own->CreateProcessor());
    if (processor == nullptr) return 0;
    processor->Attach(nullptr);
    number = 0;
    for (const float rate : {44100.0f, 48000.0f}) {
      const Processor::ProcessorConfig config{rate};
      try {
        processor->Init(&config);
      } catch (const std::bad_alloc&) {
        FailingMemory::Disarm();
        processor->Init(&config);
        ++number;
      }
    }
    return RunBlocks(*processor);
  });
}

TEST(OutOfMemory, TheHostsSideRefusesWithoutLosingItsProcessor) {
  const host::ProcessorLibrary library(PRISMEL_PROCESSOR_LIBRARY);
  FailEach("hosted processor", [&library]() -> uint64_t {
    host::HostedProcessor processor(library);
    processor.Init(48000.0f);
    return processor.BlockSize();
  });
  FailEach("library", []() -> uint64_t {
    const host::ProcessorLibrary own(PRISMEL_PROCESSOR_LIBRARY);
    return Hash(own.Version());
  });
}

TEST(OutOfMemory, PresetsAutomationAndTempoMapsAreReadAndWrittenWholeOrNotAtAll) {
  const TempFolder folder;
  const std::string source = TempFolder::Read(PRISMEL_SOURCE_DIR "/presets/glass-choir.json");
  const std::string unknown =
      R"({"schema": 1, "mood": [1, {"a": [2]}], "parameters": {"Nothing": {"x": {"y": 1}}, "Wet": 0.5}})";
  for (const std::string& text : {source, unknown}) {
    FailEach("preset, parse", [&text]() -> uint64_t {
      std::vector<std::string> warnings;
      const host::Preset preset = host::Preset::Parse(text, "p.json", &warnings);
      return 1 + preset.values.size() + 1000 * warnings.size();
    });
  }
  for (const char* wrong : {"{\"schema\": 1, \"parameters\": {\"Wet\": 1e999}}", "{\"schema\": 1, \"a\": [[}",
                            "{\"schema\": 1, \"parameters\": {\"Wet\": 1, \"Wet\": 2}}"}) {
    FailEach("preset, refused", [wrong]() -> uint64_t {
      try {
        host::Preset::Parse(wrong, "p.json");
      } catch (const host::HostError&) {
        return 1;
      }
      return 0;
    });
  }
  const std::string file = folder.Write("p.json", source);
  FailEach("preset, read", [&file] { return 1 + host::ReadPreset(file).values.size(); });

  const host::Preset preset = host::Preset::Parse(source, "p.json");
  const std::string target = folder / "sub/written.json";
  fs::create_directory(folder / "sub");
  host::WritePreset(preset, target);
  const std::string whole = TempFolder::Read(target);
  fs::remove(target);
  FailEach("preset, write", [&]() -> uint64_t {
    const auto files = [&] { return std::distance(fs::directory_iterator(folder / "sub"), {}); };
    try {
      host::WritePreset(preset, target);
    } catch (const std::exception&) {
      FailingMemory::Disarm();
      return files() == 0 ? 0 : 99;  // nothing half, nothing left
    }
    FailingMemory::Disarm();
    const bool isWhole = files() == 1 && TempFolder::Read(target) == whole;
    fs::remove(target);
    return isWhole ? 1 : 98;
  });
  // Over an old file, which stays when the new one can't be written.
  host::Preset other = preset;
  other.name = "Old";
  host::WritePreset(other, target);
  const std::string old = TempFolder::Read(target);
  FailEach("preset, write over", [&]() -> uint64_t {
    try {
      host::WritePreset(preset, target);
    } catch (const std::exception&) {
      FailingMemory::Disarm();
      return TempFolder::Read(target) == old ? 0 : 99;
    }
    FailingMemory::Disarm();
    const bool isWhole = TempFolder::Read(target) == whole;
    host::WritePreset(other, target);
    return isWhole ? 1 : 98;
  });

  FailEach("automation", [] {
    std::istringstream text(
        "seconds,parameter,value\n0,FXType,comb\n1,Wet,0.5,ramp\n2,\"CombCutoff\",440 Hz\n");
    const host::Automation automation = host::ReadAutomation(text, "a.csv");
    static_cast<void>(host::AutomationPlayer(automation, host::TempoMap(), 48000.0));
    return 1 + automation.Tracks().size();
  });
  FailEach("tempo map", [] {
    std::istringstream text("beats,bpm\n0,120\n4,90\n");
    return static_cast<uint64_t>(host::ReadTempoMap(text, "t.csv").SecondsAt(5.0) * 1000.0);
  });
}

TEST(OutOfMemory, ARenderIsWholeOrRefused) {
  FailEach("render", []() -> uint64_t {
    const host::ProcessorSource source(Processor::MakeLinkedFactory());
    host::HostedProcessor processor(source);
    offline::LatencyMeasurement latency(source);
    const host::Automation automation;
    const host::TempoMap tempo;
    offline::HostedEffect effect(processor, latency, {}, automation, tempo);
    uint64_t hash = 1, frames = 0;
    offline::StreamRender render(effect, {false, 0.01}, 48000, 2, 2, [&](const float* from, uint64_t count) {
      hash = Hash(from, count * 2 * sizeof(float), hash);
      frames += count;
    });
    const Signal signal;
    render.Feed(signal.inputs.data(), kFrames);
    render.EndInput();
    while (!render.RunTail(100)) {
    }
    return hash + frames;
  });
}

/// A short stereo impulse as a file.
std::string WriteImpulse(const TempFolder& folder) {
  const std::string path = folder / "ir.wav";
  SF_INFO info{0, 44100, 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
  SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
  std::vector<float> samples(2 * 3000);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = std::exp(-0.002f * static_cast<float>(i));
  sf_writef_float(file, samples.data(), 3000);
  sf_close(file);
  return path;
}

TEST(OutOfMemory, ImpulsesAreLoadedWholeOrNotAtAll) {
  const TempFolder folder;
  const std::string path = WriteImpulse(folder);
  FailEach("impulse, read", [&path]() -> uint64_t {
    dsp::Impulse impulse;
    std::string problem;
    if (!dsp::ReadImpulseFile(path, impulse, problem)) return 0;
    return Hash(impulse.left) + Hash(impulse.right);
  });
  FailEach("impulse, shape", [&path]() -> uint64_t {
    dsp::Impulse impulse;
    std::string problem;
    if (!dsp::ReadImpulseFile(path, impulse, problem)) return 0;
    dsp::ShapeImpulse(impulse, {48000.0f, 0, -3.0f, 0.5f, 1.1f, 0.9f}, dsp::ImpulseResampler());
    return Hash(impulse.left) + Hash(impulse.right);
  });
  FailEach("reverb, configure with an impulse", [&path]() -> uint64_t {
    dsp::ConvolutionReverb reverb("reverb");
    reverb.SetImpulseFile(path);
    reverb.Configure(64, 48000.0f);
    const bool isThere = reverb.ImpulseProblem().empty() && reverb.ImpulseLength() > 0;
    const uint64_t length = reverb.ImpulseLength();
    reverb.Shutdown();
    return isThere ? length : 0;
  });
}

TEST(OutOfMemory, PluginSettingsAreLoadedAndSavedWholeOrNotAtAll) {
  plugin::State state;
  state.sound.positions = plugin::PreferredPositions();
  state.sound.positions[3] = 0.3f;
  state.sound.name = "A";
  const std::string text = state.ToJson();
  FailEach("state, parse", [&text] { return Hash(plugin::State::Parse(text).ToJson()); });
  FailEach("shell", [&text]() -> uint64_t {
    plugin::ShellCore core;
    core.Activate(48000.0);
    if (!core.LoadState(text).empty()) return 0;
    const Signal signal;
    std::array<float, 2 * kFrames> out;
    const std::array<float*, 2> outputs{out.data(), out.data() + kFrames};
    core.Process(signal.inputs.data(), outputs.data(), kFrames);
    core.Deactivate();
    return Hash(core.SaveState());
  });
  // A state that can't be loaded for want of memory leaves the sound as it is.
  plugin::ShellCore core;
  const std::string before = core.SaveState();
  FailEach("state, load", [&]() -> uint64_t {
    bool isLoaded = false;
    try {
      isLoaded = core.LoadState(text).empty();
    } catch (const std::bad_alloc&) {
    }
    FailingMemory::Disarm();
    const std::string now = core.SaveState();
    const bool isOld = now == before;
    EXPECT_TRUE(core.LoadState(before).empty());
    if (!isLoaded) return isOld ? 0 : 99;
    return Hash(now);
  });
}

}  // namespace
}  // namespace Vantora::test
