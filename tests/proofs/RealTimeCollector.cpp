// The library through the host's live collector: pieces of any length, factory presets and another thread's
// hand.
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

#include "host/BlockCollector.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"
#include "host/loading/ProcessorLibrary.h"
#include "tests/proofs/Watched.h"

namespace Vantora::test {
namespace {

constexpr uint32_t kMost = 2048;  // samples of a piece

using Sound = std::vector<host::ParameterWrite>;

std::vector<Sound> FactorySounds() {
  std::vector<Sound> sounds;
  for (const host::PresetEntry& entry : host::ListPresets(PRISMEL_PRESETS_FOLDER)) {
    sounds.push_back(host::ReadPreset(entry.path).Writes());
  }
  return sounds;
}

class CollectorLife {
 public:
  CollectorLife(const host::ProcessorLibrary& library, float rate, const std::vector<Sound>& sounds,
                uint64_t seed)
      : presets(sounds), chance(seed), processor(library) {
    processor.Init(rate);
    collector.emplace(processor);
    hand = std::thread([this, own = Chance(seed + 1000)]() mutable { MoveKnobs(own); });
  }
  ~CollectorLife() {
    isDone = true;
    hand.join();
  }
  CollectorLife(const CollectorLife&) = delete;

  uint64_t Blocks() const { return blocks; }

  void Piece(Findings& findings) {
    if (chance.Once(100)) signal = OrdinarySignal(chance);
    const uint32_t count =
        chance.Once(3) ? chance.Below(kMost + 1) : chance.Below(3 * collector->BlockSize());
    for (auto& channel : audio) Fill(signal, chance, channel, count, phase);
    const std::array<float*, 2> channels = {audio[0].data(), audio[1].data()};
    Guarded(findings, [&] {
      if (chance.Once(20)) {
        collector->SetTransport(20.0 + 280.0 * static_cast<double>(chance.Position()), !chance.Once(6),
                                1e4 * static_cast<double>(chance.Position()));
      }
      for (uint32_t i = chance.Below(24); i > 0; --i) {
        collector->Queue(chance.Below(226), Knob(chance), collector->NextSample() + chance.Below(count + 1));
      }
      if (chance.Once(500)) collector->Reset();
      collector->Process(channels.data(), channels.data(), count);
    });
    for (auto& channel : audio) findings.LookAt(channel.data(), count);
    samples += count;
    blocks = samples / collector->BlockSize();
  }

 private:
  void MoveKnobs(Chance& own) {
    while (!isDone) {
      collector->SetLatest(own.Below(226), Knob(own));
      if (own.Once(20)) collector->QueueTogether(presets[own.Below(static_cast<uint32_t>(presets.size()))]);
      for (int i = 0; i < 20 && own.Once(3); ++i) collector->Queue(own.Below(226), Knob(own));
      std::this_thread::sleep_for(std::chrono::microseconds(own.Below(2000)));
    }
  }

  const std::vector<Sound>& presets;
  Chance chance;
  host::HostedProcessor processor;
  std::optional<host::LiveCollector> collector;
  std::array<std::vector<float>, 2> audio{std::vector<float>(kMost), std::vector<float>(kMost)};
  Signal signal = Signal::kNoise;
  double phase = 0.0;
  uint64_t samples = 0, blocks = 0;
  std::atomic<bool> isDone{false};
  std::thread hand;  // uses everything above
};

}  // namespace

Findings ThroughCollector(const std::string& path, uint64_t blocks, uint64_t seed) {
  constexpr std::array<float, 5> kRates = {44100.0f, 48000.0f, 88200.0f, 96000.0f, 192000.0f};  // Hz
  constexpr uint64_t kStreams = 4;  // at each rate
  Findings findings;
  findings.name = "collector";
  const std::vector<Sound> presets = FactorySounds();
  const host::ProcessorLibrary library(path);
  for (const float rate : kRates) {
    for (uint64_t stream = 0; stream < kStreams; ++stream) {
      CollectorLife life(library, rate, presets, seed++);
      while (life.Blocks() < blocks / (kStreams * kRates.size())) life.Piece(findings);
      findings.blocks += life.Blocks();
    }
  }
  return findings;
}

}  // namespace Vantora::test
