#include <gtest/gtest.h>

#include <random>

#include "tests/processor/LoadedProcessor.h"
#include "tests/processor/model/PlainProcessor.h"

namespace Vantora::test {
namespace {

/// Random life of a host: knobs, bank knobs, transport, channel counts, short blocks, new rates.
class Life {
 public:
  explicit Life(uint32_t number)
      : random(number + 1), isRagged(number % 3 == 2), effect(0.0f), plain(SeedHash(0x5051534Du, 0)) {
    NewRate();
    Turn(169, static_cast<float>(number % 6) / 5.0f);
    for (const uint32_t index : {222u, 223u}) Turn(index, 0.5f);
    for (uint32_t index = 152; index < 173; ++index) {
      if (index != 169 && Chance(0.6f)) Turn(index, Somewhere());
    }
    for (const uint32_t index : {220u, 221u, 177u, 178u, 222u, 223u}) {
      if (Chance(0.6f)) Turn(index, Somewhere());
    }
  }

  /// One block through both; counts where they differ.
  void Step() {
    if (Chance(0.02f)) Turn(kKnobs[random() % kKnobs.size()], Somewhere());
    if (Chance(0.002f))
      Turn(Chance(0.5f) ? 156u : 157u, Somewhere());  // filters on and off, cutoffs that meet
    if (Chance(0.02f)) TurnWithinABank();
    if (isRagged && Chance(0.01f)) Turn(169, static_cast<float>(random() % 6) / 5.0f);
    if (Chance(0.002f)) Turn(Chance(0.5f) ? 216u : 217u, static_cast<float>(random() % 2));
    if (Chance(0.005f)) song.plays = !song.plays;
    if (Chance(0.002f)) song.tempo = 60.0f + 100.0f * Draw();
    if (Chance(0.003f)) song.position = 20.0f * Draw();
    if (Chance(0.01f)) mode = static_cast<Mode>(random() % 3);
    if (Chance(0.002f)) NewRate();
    Run(Length());
  }

  void Turn(uint32_t index, float position) {
    effect->SetParamValue(index, position);
    plain.Turn(index, position);
  }
  /// Whole blocks in which nobody touches anything.
  void Rest(int blocks) {
    for (int i = 0; i < blocks; ++i) Run(static_cast<uint32_t>(block->left.size()));
  }

  /// Samples, and read-outs at a block's end, in which the two differ.
  uint64_t different = 0;
  /// Samples that aren't zero.
  uint64_t sounding = 0;

 private:
  using Mode = model::PlainProcessor::Channels;
  // Own knobs, the LFO's, the followers', the frame's.
  static constexpr std::array<uint32_t, 57> kKnobs = {
      152, 153, 154, 155, 156, 157, 158, 159, 160, 161, 162, 163, 164, 165, 166, 167, 168, 169, 170,
      171, 172, 175, 176, 177, 178, 179, 180, 181, 182, 183, 184, 185, 186, 187, 188, 189, 190, 191,
      192, 193, 194, 195, 196, 197, 198, 201, 202, 203, 204, 206, 209, 215, 219, 220, 221, 222, 223};

  float Draw() { return static_cast<float>(random() >> 8) / 16777216.0f; }
  /// A knob's position; the ends, where the special cases live, come up exactly.
  float Somewhere() {
    const float position = Draw();
    return position < 0.15f ? 0.0f : position > 0.85f ? 1.0f : position;
  }
  bool Chance(float share) { return Draw() < share; }
  /// Whole blocks and whole groups of four; in every third life any length, often the same one for long.
  uint32_t Length() {
    const auto longest = static_cast<uint32_t>(block->left.size());
    if (isRagged && Chance(0.02f)) usual = longest - static_cast<uint32_t>(random() % 4);
    if (Chance(0.9f)) return std::min(usual, longest);
    return isRagged ? 1u + static_cast<uint32_t>(random() % longest)
                    : std::min<uint32_t>(4u + (random() % longest & ~3u), longest);
  }
  void TurnWithinABank() { Turn(static_cast<uint32_t>(random() % 152), Somewhere()); }
  void NewRate() {
    constexpr std::array<float, 5> kRates = {44100.0f, 48000.0f, 88200.0f, 96000.0f, 192000.0f};
    rate = kRates[random() % kRates.size()];
    effect.Init(rate);
    plain.Init(rate, effect.BlockSize());
    block = std::make_unique<HostBlock>(effect.BlockSize());
    left.assign(effect.BlockSize(), 0.0f);
    right = left;
  }
  void Run(uint32_t count) {
    for (uint32_t i = 0; i < count; ++i, seconds += 1.0 / double{rate}) {
      const bool silent = std::fmod(seconds, 1.0) > 0.75;
      block->left[i] =
          silent ? 0.0f : static_cast<float>(0.4 * std::sin(700.0 * seconds)) + 0.2f * Draw() - 0.1f;
      block->right[i] =
          silent ? 0.0f : static_cast<float>(0.3 * std::sin(2070.0 * seconds)) + 0.3f * Draw() - 0.15f;
    }
    block->data.inputCount = mode == Mode::kMonoToStereo ? 1 : 2;
    block->data.outputCount = mode == Mode::kMono ? 1 : 2;
    block->data.sampleCount = count;
    block->data.tempo = song.tempo;
    block->data.songPosition = song.position;
    block->data.isPlaying = song.plays ? 1 : 0;
    effect->Process(&block->data);
    plain.Process({block->left.data(), block->right.data()}, {left.data(), right.data()}, count, song, mode);
    if (song.plays) song.position += static_cast<float>(count) * song.tempo / 60.0f / rate;
    const std::array<const Buffer*, 2> lives = {&block->outLeft, &block->outRight}, plains = {&left, &right};
    for (uint32_t c = 0; c < block->data.outputCount; ++c) {
      for (uint32_t i = 0; i < count; ++i) {
        different += (*lives[c])[i] != (*plains[c])[i] ? 1u : 0u;
        sounding += (*lives[c])[i] != 0.0f ? 1u : 0u;
      }
    }
    for (const uint32_t index : {173u, 174u, 199u, 200u}) {
      different += effect.Value(index) != plain.Position(index) ? 1u : 0u;
    }
  }
  using Buffer = model::Buffer;

  std::mt19937 random;
  bool isRagged;
  uint32_t usual = ~0u;  // length of most blocks
  LoadedProcessor effect;
  model::PlainProcessor plain;
  std::unique_ptr<HostBlock> block;
  Buffer left, right;
  model::PlainProcessor::Transport song;
  Mode mode = Mode::kStereo;
  float rate = 44100.0f;
  double seconds = 0.0;
};

class Model : public testing::TestWithParam<uint32_t> {};

TEST_P(Model, TheEffectDoesWhatThePlainModelDoes) {
  Life life(GetParam());
  for (int i = 0; i < 1500; ++i) life.Step();
  EXPECT_EQ(life.different, 0u);
  EXPECT_GT(life.sounding, 50'000u);
}

TEST(ModelOfADrive, FollowsItsKnobAgainThoughItWasMovedWhileAnotherEffectRan) {
  constexpr uint32_t kEffect = 169, kBankEffect = 71, kRightBank = 76;
  constexpr float kOff = 0.0f, kDistortion = 0.8f;
  for (const uint32_t inner : {39u, 51u}) {  // the folder's, the shaper's
    Life life(0);
    life.Turn(152, 0.0f);                                                // one voice
    life.Turn(155, 1.0f);                                                // all wet
    for (const uint32_t amount : {222u, 223u}) life.Turn(amount, 0.5f);  // at rest
    life.Turn(164, 0.3f);                                                // the drive
    life.Turn(165, inner == 39u ? 1.0f : 0.0f);
    const auto turnBoth = [&](uint32_t index, float position) {
      life.Turn(index, position);
      life.Turn(index + kRightBank, position);
      life.Rest(20);
    };
    life.Turn(kEffect, kDistortion);
    life.Rest(50);
    life.Turn(kEffect, kOff);
    life.Rest(20);
    turnBoth(kBankEffect, kDistortion);
    turnBoth(inner, 0.9f);
    life.Turn(kEffect, kDistortion);
    life.Rest(70);
    EXPECT_EQ(life.different, 0u) << inner;
    EXPECT_GT(life.sounding, 1000u);
  }
}

INSTANTIATE_TEST_SUITE_P(Lives, Model, testing::Range(0u, 36u));

}  // namespace
}  // namespace Vantora::test
