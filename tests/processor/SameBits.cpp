// same_bits OLD.so NEW.so [LIVES] [FIRST]: do two builds of the processor library give the same bits?
//
// Each life is one processor of either library, fed the same: a rate, knobs that jump and glide (the inner
// ones too), blocks of every length, signals from silence to nonsense, resets, a second Init. After every
// block the outputs and the read-outs must agree bit for bit (all NaN count as one). The first difference
// ends the program with exit status 1 and names life, block and place; LIVES 1 and FIRST then repeat it. Exit
// status 2: a library could not be used.

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <vector>

#include "tests/processor/LoadedProcessor.h"
#include "tests/processor/RandomLife.h"

namespace Vantora::test {
namespace {

using Processor::IProcessor_V7;
using Processor::ProcessorConfig;

constexpr uint32_t kHostParams = 226;
constexpr uint32_t kMostFrames = 1024;  // of a block here, beyond what a processor asks for at 192 kHz

struct Side {
  explicit Side(const LoadedLibrary& library) {
    const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
    processor.reset(factory->CreateProcessor());
    processor->Attach(nullptr);
    for (auto& buffer : out) buffer.assign(kMostFrames, 0.0f);
  }
  std::unique_ptr<IProcessor_V7> processor;
  std::array<std::vector<float>, 2> out;
  std::array<float*, 2> outputs{};
};

bool Same(float a, float b) {
  return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

class Life {
 public:
  Life(const LoadedLibrary& before, const LoadedLibrary& after, uint32_t lifeNumber)
      : number(lifeNumber), chance(lifeNumber), sides{Side(before), Side(after)} {}

  /// False at the first difference, which it tells.
  bool Run() {
    if (chance.Once(2)) Dial(40);
    Start();
    const double seconds = chance.Once(4) ? 5.0 : 0.2 + 1.5 * static_cast<double>(chance.Position());
    const auto frames = static_cast<uint64_t>(seconds * static_cast<double>(rate));
    const bool standing = chance.Once(3);  // knobs at rest for long: the paths of a song
    const uint32_t dialEvery = standing ? 2000 : 3 + chance.Below(60);
    const bool whole = chance.Once(2);
    // Blocks of any length: behind the last whole group of four an effect leaves what stood there, also what
    // another one wrote.
    ragged = chance.Once(2);
    type = chance.Below(6);
    Put(169, static_cast<float>(type) / 5.0f);
    for (uint64_t done = 0; done < frames; ++block) {
      if (chance.Once(dialEvery)) Dial(1 + chance.Below(4));
      if (chance.Once(700)) Reset();
      if (chance.Once(6000)) Start();
      if (chance.Once(300)) signal = static_cast<Signal>(chance.Below(static_cast<uint32_t>(Signal::kCount)));
      const uint32_t count = whole ? longest : Length();
      if (!Block(count)) return false;
      done += std::max(count, 1u);
    }
    return true;
  }

 private:
  void Start() {
    constexpr std::array<float, 7> kRates = {44100.0f,  48000.0f, 48000.0f, 96000.0f,
                                             192000.0f, 22050.0f, 88200.0f};
    rate = kRates[chance.Below(kRates.size())];
    const ProcessorConfig config{rate};
    for (Side& side : sides) side.processor->Init(&config);
    longest = sides[1].processor->GetBlockSize(rate);
    tempo = 40.0f + 200.0f * chance.Position();
    channels = chance.Below(8);
  }

  void Put(uint32_t index, float value) {
    for (Side& side : sides) side.processor->SetParamValue(index, value);
  }

  void Dial(uint32_t knobs) {
    for (uint32_t i = 0; i < knobs; ++i) {
      const float position = Knob(chance);
      switch (chance.Below(16)) {
        case 0:
          Put(152, position);  // voices
          break;
        case 1:
          Put(220 + chance.Below(4), position);  // the LFO's kind and depths
          break;
        case 2:
          Put(175 + chance.Below(26), position);  // the LFO's own
          break;
        case 3:
          Put(215 + 4 * chance.Below(2), position);  // bypass, output gain
          break;
        case 4:
          if (chance.Once(4)) Put(169, position);
          break;
        case 5:
          if (chance.Once(4)) Put(chance.Below(152), position);  // inside the stage effects
          break;
        case 6:
          if (chance.Once(4)) Put(201 + chance.Below(14), position);  // the meters
          break;
        default:
          Put(152 + chance.Below(21), chance.Once(6) && chance.Once(4) ? 0.0f : position);
          break;
      }
    }
  }

  void Reset() {
    if (chance.Once(2)) {
      Put(216, 1.0f);
    } else {
      Put(217, 1.0f);
      Dial(20);
      Put(217, 0.0f);
    }
    Put(169, static_cast<float>(type) / 5.0f);
  }

  uint32_t Length() {
    switch (chance.Below(8)) {
      case 0:
        return 4 * (1 + chance.Below(longest / 4));
      case 1:
        return ragged ? 1 + chance.Below(longest) : longest;
      case 2:
        return chance.Once(4) ? std::min(longest + chance.Below(2 * longest), kMostFrames) : longest;
      case 3:
        return chance.Once(20) ? 0 : longest;
      default:
        return longest;
    }
  }

  bool Block(uint32_t count) {
    for (auto& channel : in) Fill(signal, chance, channel, count, phase);
    for (Side& side : sides) {
      std::array<float*, 2> inputs = {in[0].data(), in[1].data()};
      side.outputs = {side.out[0].data(), side.out[1].data()};
      for (auto& channel : side.out) std::fill(channel.begin(), channel.end(), 9.0f);
      Processor::ProcessData data{};
      data.inputs = inputs.data();
      data.outputs = side.outputs.data();
      data.inputCount = channels <= 1 ? 1 : 2;
      data.outputCount = channels == 0 ? 1 : 2;
      data.sampleCount = count;
      data.tempo = tempo;
      data.isPlaying = channels % 2 == 0 ? 1 : 0;
      data.songPosition = song;
      side.processor->Process(&data);
    }
    song += static_cast<float>(count) * tempo / (60.0f * rate);
    for (uint32_t c = 0; c < 2; ++c) {
      for (uint32_t i = 0; i < kMostFrames; ++i) {
        if (Same(sides[0].out[c][i], sides[1].out[c][i])) continue;
        Tell("output", c, i, sides[0].out[c][i], sides[1].out[c][i]);
        return false;
      }
    }
    if (count == 0) return true;  // meters of nothing
    for (const uint32_t index : {173u, 174u, 198u, 199u, 200u, 224u, 225u}) {
      if (!SameParam(index)) return false;
    }
    if (block % 64 != 0) return true;
    for (uint32_t index = 0; index < kHostParams; ++index) {
      if (!SameParam(index)) return false;
    }
    return true;
  }

  bool SameParam(uint32_t index) {
    std::array<float, 2> values{};
    for (uint32_t s = 0; s < 2; ++s) sides[s].processor->GetParamValue(index, &values[s]);
    if (Same(values[0], values[1])) return true;
    Tell("parameter", index, 0, values[0], values[1]);
    return false;
  }

  void Tell(const char* what, uint32_t which, uint32_t sample, float a, float b) const {
    std::printf(
        "same_bits: life %u, block %llu, %s %u, sample %u: %.9g before, %.9g now (%g Hz, effect %u)\n",
        number, static_cast<unsigned long long>(block), what, which, sample, static_cast<double>(a),
        static_cast<double>(b), static_cast<double>(rate), type);
  }

  uint32_t number;
  Chance chance;
  std::array<Side, 2> sides;
  std::array<std::vector<float>, 2> in{std::vector<float>(kMostFrames), std::vector<float>(kMostFrames)};
  float rate = 48000.0f;
  float tempo = 120.0f;
  float song = 0.0f;
  double phase = 0.0;
  uint32_t longest = 48;
  uint32_t channels = 2;
  uint32_t type = 0;
  bool ragged = false;
  uint64_t block = 0;
  Signal signal = Signal::kNoise;
};

int Compare(int argc, char** argv) {
  if (argc < 3 || argc > 5) {
    std::fprintf(
        stderr,
        "usage: same_bits OLD.so NEW.so [LIVES] [FIRST], two processor libraries, say\n"
        "       same_bits before/libprismelProcessor.so build/release/lib/libprismelProcessor.so 300\n");
    return 2;
  }
  const LoadedLibrary before(argv[1]);
  const LoadedLibrary after(argv[2]);
  const uint32_t lives = argc > 3 ? static_cast<uint32_t>(std::strtoul(argv[3], nullptr, 10)) : 60;
  const uint32_t first = argc > 4 ? static_cast<uint32_t>(std::strtoul(argv[4], nullptr, 10)) : 0;
  for (uint32_t life = first; life < first + lives; ++life) {
    if (!Life(before, after, life).Run()) return 1;
  }
  std::printf("same_bits: %u lives, no difference\n", lives);
  return 0;
}

}  // namespace
}  // namespace Vantora::test

int main(int argc, char** argv) {
  try {
    return Vantora::test::Compare(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "same_bits: %s\n", error.what());
    return 2;
  }
}
