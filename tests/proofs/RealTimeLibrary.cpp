// The loaded library, called as a shell without any help calls it.
#include <memory>

#include "tests/processor/LoadedProcessor.h"
#include "tests/processor/Rig.h"
#include "tests/proofs/Watched.h"

namespace Vantora::test {
namespace {

constexpr uint32_t kAllParams = 228, kEffects = 6;
constexpr std::array<float, 5> kRates = {44100.0f, 48000.0f, 88200.0f, 96000.0f, 192000.0f};  // Hz

class LibraryLife {
 public:
  LibraryLife(const LoadedLibrary& library, float sampleRate, uint32_t effect, uint64_t seed)
      : chance(seed), rate(sampleRate), type(Step(static_cast<int>(effect), kEffects)) {
    const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
    processor.reset(factory->CreateProcessor());
    processor->Attach(nullptr);
    Start();
    own = processor->GetBlockSize(rate);
    for (auto* buffer : {&left, &right, &outLeft, &outRight}) buffer->assign(3 * size_t{own}, 0.0f);
    inputs = {left.data(), right.data()};
    outputs = {outLeft.data(), outRight.data()};
    data.inputs = inputs.data();
    data.outputs = outputs.data();
    data.tempo = 120.0f;
  }

  void Block(Findings& findings) {
    if (chance.Once(20000)) Start();
    if (chance.Once(300)) signal = OrdinarySignal(chance);
    if (chance.Once(50)) data.tempo = 20.0f + 280.0f * chance.Position();
    if (chance.Once(80)) data.songPosition = 2000.0f * chance.Position() - 10.0f;
    const uint32_t count = Length();
    Fill(signal, chance, left, count, phase);
    Fill(signal, chance, right, count, phase);
    data.inputCount = chance.Once(16) ? 1 : 2;
    data.outputCount = chance.Once(16) ? 1 : 2;
    data.sampleCount = count;
    data.isPlaying = chance.Once(10) ? 0 : 1;
    data.modeWord = chance.Once(1000) ? 1 : 0;
    Guarded(findings, [&] {
      Turn();
      constexpr uint8_t kNote[3] = {0x90, 60, 100};
      if (chance.Once(4)) processor->PushMidi(kNote);
      processor->Process(&data);
      const Processor::ValueChange* changes = nullptr;
      uint32_t changeCount = 0;
      processor->GetChangedValues(&changes, &changeCount);
      processor->ClearEvents();
    });
    findings.LookAt(outLeft.data(), count);
    findings.LookAt(outRight.data(), count);
    data.songPosition += static_cast<float>(count) * data.tempo / (60.0f * rate);
  }

 private:
  void Start() {
    const Processor::ProcessorConfig config{rate};
    processor->Init(&config);
  }

  void Turn() {
    for (int i = 0; i < 16; ++i) processor->SetParamValue(chance.Below(kAllParams), Knob(chance));
    if (chance.Once(100)) {
      processor->SetParamValue(kHostPresetLoading, 1.0f);
      for (uint32_t index = 0; index < kAllParams; ++index) {
        if (index != kHostPresetLoading) processor->SetParamValue(index, Knob(chance));
      }
      processor->SetParamValue(kHostPresetLoading, 0.0f);
    }
    if (chance.Once(150)) processor->SetParamValue(kHostPanic, 1.0f);
    // Other effects come by; this life is about one.
    if (!chance.Once(8)) processor->SetParamValue(kHostFxType, type);
  }

  uint32_t Length() {
    switch (chance.Below(6)) {
      case 0:
        return chance.Below(own + 1);
      case 1:
        return 1 + chance.Below(3 * own);
      case 2:
        return 4 * (1 + chance.Below(own / 4));
      default:
        return own;
    }
  }

  Chance chance;
  float rate;  // Hz
  float type;
  uint32_t own = 0;  // samples of the processor's own block
  std::unique_ptr<Processor::IProcessor_V7> processor;
  std::vector<float> left, right, outLeft, outRight;
  std::array<float*, 2> inputs{}, outputs{};
  Processor::ProcessData data{};
  Signal signal = Signal::kNoise;
  double phase = 0.0;
};

}  // namespace

Findings ThroughLibrary(const std::string& path, uint64_t blocks, uint64_t seed) {
  Findings findings;
  findings.name = "library";
  const LoadedLibrary library(path.c_str());
  for (uint32_t effect = 0; effect < kEffects; ++effect) {
    for (const float rate : kRates) {
      LibraryLife life(library, rate, effect, seed++);
      for (uint64_t b = 0; b < blocks / (kEffects * kRates.size()); ++b) life.Block(findings);
    }
  }
  findings.blocks = findings.calls;
  return findings;
}

}  // namespace Vantora::test
