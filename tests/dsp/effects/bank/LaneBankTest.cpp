#include "dsp/effects/bank/LaneBank.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>

#include "dsp/effects/BitCrusher.h"
#include "dsp/effects/MultiDist.h"
#include "dsp/effects/MultiModeFilter.h"
#include "dsp/effects/PitchShifter.h"
#include "dsp/effects/Wavefolder.h"
#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

using namespace test;

constexpr uint32_t kBlock = 48;

bool SameBits(const Samples& a, const Samples& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// A clone with its rig; two of a kind get the same parameters and signals, one runs alone, one in the bank.
template <typename Effect>
struct Pair {
  std::unique_ptr<Effect> alone;
  std::unique_ptr<Effect> banked;
  std::unique_ptr<ModuleRig> aloneRig;
  std::unique_ptr<ModuleRig> bankedRig;

  template <typename Make>
  Pair(LaneBank& bank, Make make) : alone(make()), banked(make()) {
    banked->SetBank(&bank);
    aloneRig = std::make_unique<ModuleRig>(*alone, Effect::kInputCount, 2, 48000.0f, kBlock);
    bankedRig = std::make_unique<ModuleRig>(*banked, Effect::kInputCount, 2, 48000.0f, kBlock);
  }

  void Set(uint32_t index, float position) {
    alone->SetParam(index, position);
    banked->SetParam(index, position);
  }
};

/// Runs `rounds` blocks with moving parameters through both and compares every output bit.
template <typename Effect, typename Make, typename Move>
void ExpectSameBits(uint32_t clones, Make make, Move move) {
  LaneBank bank;
  std::vector<Pair<Effect>> pairs;
  for (uint32_t i = 0; i < clones; ++i) pairs.emplace_back(bank, make);
  std::minstd_rand draw(77);
  std::uniform_real_distribution<float> position(0.0f, 1.0f);
  for (uint32_t round = 0; round < 150; ++round) {
    const uint32_t count = round % 7 == 6 ? 1 + static_cast<uint32_t>(draw() % kBlock) : kBlock;
    bank.Open();
    for (Pair<Effect>& pair : pairs) {
      move(pair, round, draw, position);
      // After a third of the way the signal dies, so that the tails are compared too.
      const Samples x = Noise(kBlock, static_cast<uint32_t>(draw()), round < 50 ? 1.0f : 0.0f);
      for (ModuleRig* rig : {pair.aloneRig.get(), pair.bankedRig.get()}) {
        std::copy(x.begin(), x.end(), rig->inputs[0]);
        rig->Process(count);
      }
    }
    bank.Run(count);
    for (uint32_t i = 0; i < clones; ++i) {
      const float* expected = pairs[i].aloneRig->outputs[0];
      const float* actual = pairs[i].bankedRig->outputs[0];
      ASSERT_TRUE(SameBits(Samples(expected, expected + kBlock), Samples(actual, actual + kBlock)))
          << "clone " << i << " of " << clones << ", round " << round << ", " << count << " samples";
    }
  }
}

TEST(LaneBank, FiltersSideBySideGiveTheBitsOfFiltersAlone) {
  for (const uint32_t clones : {1u, 3u, 4u, 11u, 16u, 18u}) {  // beyond the capacity they run alone
    ExpectSameBits<MultiModeFilter>(
        clones,
        [] {
          auto filter = std::make_unique<MultiModeFilter>("");
          filter->SetAllowedModes({11, 3, 17, 1});
          return filter;
        },
        [](auto& pair, uint32_t round, auto& draw, auto& position) {
          if (round % 5 == 0) pair.Set(MultiModeFilter::kFreq, position(draw));
          if (round % 9 == 0) pair.Set(MultiModeFilter::kQ, position(draw));
          if (round % 40 == 0) pair.Set(MultiModeFilter::kMode, position(draw));
          if (round % 60 == 0) pair.Set(MultiModeFilter::kStereo, position(draw) > 0.8f ? 1.0f : 0.0f);
        });
  }
}

TEST(LaneBank, CrushersSideBySideGiveTheBitsOfCrushersAlone) {
  for (const uint32_t clones : {1u, 5u, 16u, 18u}) {
    ExpectSameBits<BitCrusher>(
        clones, [] { return std::make_unique<BitCrusher>("", 3u); },
        [](auto& pair, uint32_t round, auto& draw, auto& position) {
          const auto index = static_cast<uint32_t>(draw() % BitCrusher::kParamCount);
          if (index == BitCrusher::kStereo && position(draw) < 0.9f) return;
          if (round < 2) pair.Set(BitCrusher::kWet, 0.9f);
          pair.Set(index, position(draw));
        });
  }
}

/// Glides and long rests: gains that move, that land, and that stay in their buffers.
template <typename Effect>
void ExpectSameBitsOfGains() {
  for (const uint32_t clones : {1u, 5u, 16u, 18u}) {
    ExpectSameBits<Effect>(
        clones, [] { return std::make_unique<Effect>(""); },
        [](auto& pair, uint32_t round, auto& draw, auto& position) {
          if (round % 30 < 12) pair.Set(Effect::kDrive, position(draw));
          const auto index = static_cast<uint32_t>(draw() % Effect::kParamCount);
          if (round % 5 != 0 || (index == Effect::kStereo && position(draw) < 0.9f)) return;
          pair.Set(index, position(draw));
        });
  }
}

TEST(LaneBank, FoldersSideBySideGiveTheBitsOfFoldersAlone) { ExpectSameBitsOfGains<Wavefolder>(); }
TEST(LaneBank, FoldersThatAreAllWetDriveAndFoldInOneGo) {
  for (const uint32_t clones : {1u, 2u, 7u, 16u, 18u}) {
    ExpectSameBits<Wavefolder>(
        clones, [] { return std::make_unique<Wavefolder>(""); },
        [](auto& pair, uint32_t round, auto& draw, auto& position) {
          if (round == 0) {
            pair.Set(Wavefolder::kWet, 1.0f);
            pair.Set(Wavefolder::kAutoComp, position(draw));
            for (const uint32_t dB :
                 {Wavefolder::kOutputGain, Wavefolder::kGainStagingIn, Wavefolder::kGainStagingOut})
              pair.Set(dB, 0.5f);
          }
          if (round % 20 < 15) pair.Set(Wavefolder::kDrive, position(draw));
          if (round % 50 == 49) pair.Set(Wavefolder::kType, position(draw));
          if (round % 50 == 49) pair.Set(Wavefolder::kWet, position(draw) > 0.3f ? 1.0f : 0.9f);
        });
  }
}
TEST(LaneBank, ShapersSideBySideGiveTheBitsOfShapersAlone) { ExpectSameBitsOfGains<MultiDist>(); }

TEST(LaneBank, ShiftersSideBySideGiveTheBitsOfShiftersAlone) {
  for (const uint32_t clones : {1u, 5u, 16u, 18u}) {
    ExpectSameBits<PitchShifter>(
        clones, [] { return std::make_unique<PitchShifter>("", 3u); },
        [](auto& pair, uint32_t round, auto& draw, auto& position) {
          if (round == 0) pair.Set(PitchShifter::kSpray, 0.4f);
          if (round == 0 || round == 100) pair.Set(PitchShifter::kPitchShift, position(draw));
          if (round % 50 == 49) pair.Set(PitchShifter::kPreDelay, 0.01f * position(draw));
        });
  }
}

/// What `run` gives must be the same for every instruction set, and no silence.
template <typename Run>
void ExpectSameOnEveryInstructionSet(Run run) {
  const Samples expected = run(SimdTarget::Baseline);
  EXPECT_GT(Rms(expected), 0.1);
  for (const auto target : {SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2, SimdTarget::Avx512}) {
    if (target > BestSimdTarget()) continue;
    EXPECT_TRUE(SameBits(run(target), expected)) << static_cast<int>(target);
  }
}

// Samples held for one up to ten, then for a third of that, in blocks that are whole groups of four or not.
TEST(LaneBank, EveryInstructionSetCrushesTheSame) {
  ExpectSameOnEveryInstructionSet([](SimdTarget target) {
    Samples result;
    CrusherSettings settings;
    settings.SetWordLength(5.3f);
    settings.SetScale(40.0f);
    settings.antiAlias.Tune(0.3f, 1.41f);
    for (uint32_t variant = 0; variant < 8; ++variant) {
      std::array<CrusherChannel, 13> channels;
      for (const uint32_t count : {75u, 76u, 20u, 48u}) {
        std::vector<Samples> data;
        std::array<CrusherBlock, 13> blocks;
        const Samples dry(count, 0.2f);
        const bool isAllWet = count < 76;
        const Samples wet(count, isAllWet ? 1.0f : 0.8f);
        for (uint32_t i = 0; i < 13; ++i) {
          channels[i].SetPeriod((1.0f + 0.7f * static_cast<float>(i)) / (count == 48 ? 3.0f : 1.0f));
          data.push_back(Noise(count, i + 1));
        }
        for (uint32_t i = 0; i < 13; ++i)
          blocks[i] = {&settings,      &channels[i], dry.data(), data[i].data(),
                       data[i].data(), wet.data(),   0.8f,       isAllWet ? 1.0f : 0.9f,
                       nullptr,        isAllWet};
        CrusherKernelsFor(target).run[variant](blocks.data(), 13, count);
        for (const Samples& row : data) result.insert(result.end(), row.begin(), row.end());
      }
    }
    return result;
  });
}

TEST(LaneBank, EveryInstructionSetFiltersTheSame) {
  const auto run = [](SimdTarget target, bool gainStands) {
    Samples result;
    for (const uint32_t variant :
         {0u, 1u, 2u, 3u, 4u, 5u}) {  // orders one to three, at rest and on their way
      std::array<StateVariableChain, 13> chains;
      std::vector<Samples> data;
      std::array<FilterBlock, 13> blocks;
      const Samples gain(75, 0.7f);
      for (uint32_t i = 0; i < 13; ++i) {
        chains[i].now.Tune(0.05f * static_cast<float>(i + 1), 0.3f);
        chains[i].now.m1 = 1.0f;
        if (variant >= 3) chains[i].step.g1 = 1e-4f;
        data.push_back(Noise(75, i + 1));
      }
      for (uint32_t i = 0; i < 13; ++i)
        blocks[i] = {&chains[i], chains[i].sections[0], data[i].data(), gain.data(), data[i].data(), true,
                     gainStands};
      FilterKernelsFor(target).run[variant % 3](blocks.data(), 13, 75);
      for (const Samples& row : data) result.insert(result.end(), row.begin(), row.end());
      for (const StateVariableChain& chain : chains) {
        for (const auto& section : chain.sections[0]) result.insert(result.end(), {section.s1, section.s2});
        result.push_back(chain.now.g1);
      }
    }
    return result;
  };
  ExpectSameOnEveryInstructionSet([&](SimdTarget target) { return run(target, false); });
  EXPECT_TRUE(SameBits(run(BestSimdTarget(), true), run(SimdTarget::Baseline, false)));
}

// Heads that restart, pass the end of their line and stand; crossfades of half the way and less; twins, and a
// twin that goes its own way.
TEST(LaneBank, EveryInstructionSetShiftsTheSame) {
  ExpectSameOnEveryInstructionSet([](SimdTarget target) {
    constexpr uint32_t kShifters = 13;
    Samples result;
    std::array<ShifterHeads, kShifters> heads;
    std::array<DelayLine, kShifters> preDelays, grains;
    std::array<ShifterBlock, kShifters> blocks;
    std::vector<Samples> in(kShifters), out(kShifters);
    for (uint32_t i = 0; i < kShifters; ++i) {
      heads[i].random = i + 1;
      preDelays[i].Resize(300);
      grains[i].Resize(1000 + 48 * i);
      out[i].resize(100);
      const uint32_t voice = i / 2;
      const float semitones =
          i == 12 ? 0.0f : (voice % 2 == 0 ? 1.0f : -1.0f) * static_cast<float>(1 + 4 * voice);
      const float size = std::fabs(semitones);
      blocks[i] = {.heads = &heads[i],
                   .preDelay = &preDelays[i],
                   .grain = &grains[i],
                   .in = nullptr,
                   .out = out[i].data(),
                   .step = semitones * 2e-4f,
                   .width = size < 6.0f ? 0.07f * size : 0.5f,
                   .length = 600.0f + 10.0f * size,
                   .semitones = semitones,
                   .spraySize = 100.0f,
                   .preDelayed = voice % 3 * 20};
    }
    for (uint32_t round = 0; round < 300; ++round) {
      if (round == 200) heads[4].phase *= 0.5f;
      const uint32_t count = round % 3 == 0 ? 100 : round % 3 == 1 ? 48 : 44;
      for (uint32_t i = 0; i < kShifters; ++i) {
        in[i] = Noise(count, 100 * round + i);
        blocks[i].in = in[i].data();
      }
      ShifterKernelsFor(target).run(blocks.data(), kShifters, count);
      for (const Samples& row : out) result.insert(result.end(), row.begin(), row.begin() + count);
    }
    return result;
  });
}

TEST(LaneBank, RunsWithoutAllocation) {
  LaneBank bank;
  MultiModeFilter filter("");
  filter.SetAllowedModes({11});
  filter.SetBank(&bank);
  ModuleRig rig(filter, 7, 2);
  rig.Process(48);
  bank.Open();
  rig.Process(48);
  bank.Run(48);
  EXPECT_REAL_TIME({
    bank.Open();
    rig.Process(48);
    bank.Run(48);
  });
}

}  // namespace
}  // namespace Vantora::dsp
