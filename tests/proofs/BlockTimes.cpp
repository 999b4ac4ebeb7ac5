// How long the library's blocks take: the worst of each kind over the median of plain blocks of the same
// effect. A life is run several times, the same each time, and a block counts with its shortest time, so that
// what else the machine does falls out.
#include <chrono>
#include <cstdio>
#include <limits>

#include "tests/processor/Rig.h"
#include "tests/proofs/Watched.h"

namespace Vantora::test {
namespace {

enum Kind : size_t { kPlain, kKnob, kPreset, kReset, kKindCount };
constexpr size_t kBlocks = 6000, kRounds = 7;

struct Timed {
  std::vector<double> micros = std::vector<double>(kBlocks, std::numeric_limits<double>::infinity());
  std::vector<Kind> kinds = std::vector<Kind>(kBlocks, kPlain);
};

void Live(const LoadedLibrary& library, int effect, int voices, Timed& timed) {
  const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
  const std::unique_ptr<Processor::IProcessor_V7> processor(factory->CreateProcessor());
  processor->Attach(nullptr);
  const Processor::ProcessorConfig config{48000.0f};
  processor->Init(&config);
  HostBlock block(processor->GetBlockSize(48000.0f));
  Chance chance(7);
  double phase = 0.0;
  const auto dial =
      [&](uint32_t knobs) {  // the musician's, but for those that decide how much there is to do
        for (uint32_t i = 0; i < knobs; ++i)
          processor->SetParamValue(153 + chance.Below(16), chance.Position());
        processor->SetParamValue(kHostFxType, Step(effect, 6));
        processor->SetParamValue(kHostVoices, Step(voices - 1, 8));
      };
  dial(8);
  for (size_t b = 0; b < kBlocks; ++b) {
    Fill(Signal::kNoise, chance, block.left, static_cast<uint32_t>(block.left.size()), phase);
    block.right = block.left;
    const Kind kind = b < 500            ? kPlain
                      : chance.Once(100) ? kPreset
                      : chance.Once(100) ? kReset
                      : chance.Once(4)   ? kKnob
                                         : kPlain;
    const auto begin = std::chrono::steady_clock::now();
    if (kind == kKnob) dial(1);
    if (kind == kReset) processor->SetParamValue(kHostPanic, 1.0f);
    if (kind == kPreset) {
      processor->SetParamValue(kHostPresetLoading, 1.0f);
      dial(60);
      processor->SetParamValue(kHostPresetLoading, 0.0f);
    }
    processor->Process(&block.data);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
    timed.micros[b] = std::min(timed.micros[b], took.count());
    timed.kinds[b] = kind;
  }
}

double Quantile(std::vector<double> values, double share) {
  const auto place = values.begin() + static_cast<long>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

}  // namespace

void TellBlockTimes(const std::string& path) {
  constexpr std::array<const char*, 6> kNames = {"pass-through", "band-pass",  "comb",
                                                 "crusher",      "distortion", "harmonizer"};
  const LoadedLibrary library(path.c_str());
  std::printf(
      "| effect | voices | median us | worst plain | knob moves | preset loads | reset "
      "|\n|---|---|---|---|---|---|---|\n");
  for (int effect = 0; effect < 6; ++effect) {
    for (const int voices : {1, 8}) {
      Timed timed;
      for (size_t round = 0; round < kRounds; ++round) Live(library, effect, voices, timed);
      std::array<std::vector<double>, kKindCount> micros;
      for (size_t b = 500; b < kBlocks; ++b) micros[timed.kinds[b]].push_back(timed.micros[b]);
      const double median = Quantile(micros[kPlain], 0.5);
      std::printf("| %s | %d | %.1f |", kNames[static_cast<size_t>(effect)], voices, median);
      for (const auto& kind : micros) std::printf(" %.2f |", Quantile(kind, 1.0) / median);
      std::printf("\n");
    }
  }
}

}  // namespace Vantora::test
