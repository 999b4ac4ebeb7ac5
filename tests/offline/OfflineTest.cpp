#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/HostError.h"
#include "offline/NoiseStream.h"
#include "offline/Plate.h"
#include "offline/ReverbEffect.h"
#include "offline/StreamRender.h"

namespace Vantora::offline::tests {
namespace {

using ::testing::HasSubstr;

/// Out comes the input a few frames late, and an echo of half its level after a longer while; in blocks of
/// 16.
class LateEcho final : public Effect {
 public:
  LateEcho(uint64_t late, uint64_t echo) : latency(late), distance(echo) {}

  void Start(int, int inputChannels, int) override {
    buffer.Resize(static_cast<uint32_t>(inputChannels), 16);
    past.assign(latency + distance + 1, 0.0f);
  }
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override {
    buffer.Feed(inputs, frames, sink, [this] { Run(); });
  }
  void Finish(const Sink& sink) override {
    buffer.Finish(sink, [this] { Run(); });
  }
  uint64_t Latency() const override { return latency; }
  double LongestGap() const override { return 0.2; }

 private:
  void Run() {
    for (uint32_t i = 0; i < buffer.BlockSize(); ++i) {
      past.pop_back();
      past.push_front(buffer.Input()[0][i]);
      const float sum = past[latency] + 0.5f * past[latency + distance];
      buffer.Output()[0][i] = buffer.Output()[1][i] = sum;
    }
  }

  uint64_t latency, distance;  // frames
  host::BlockBuffer buffer;
  std::deque<float> past;
};

constexpr int kRate = 1000;

/// A ramp of `frames` through the effect, fed and rung out in pieces; one channel.
std::vector<float> Render(uint64_t frames, const TailLength& tail, size_t piece, bool* wasCut = nullptr) {
  LateEcho effect(7, 150);
  std::vector<float> in(frames), out;
  for (size_t i = 0; i < frames; ++i) in[i] = 0.01f * static_cast<float>(i + 1);
  StreamRender render(effect, tail, kRate, 1, 1, [&](const float* samples, uint64_t count) {
    out.insert(out.end(), samples, samples + count);
  });
  for (size_t at = 0; at < frames; at += piece) {
    const float* const from = in.data() + at;
    render.Feed(&from, std::min<size_t>(piece, frames - at));
  }
  render.EndInput();
  while (!render.RunTail(piece)) {
  }
  if (wasCut != nullptr) *wasCut = render.WasTailCut();
  return out;
}

TEST(StreamRender, LinesTheOutputUpAndRingsAsLongAsItIsAskedTo) {
  const std::vector<float> plain = Render(100, {false, 0.0}, 100);
  ASSERT_EQ(plain.size(), 100u);
  for (size_t i = 0; i < 100; ++i) EXPECT_EQ(plain[i], 0.01f * static_cast<float>(i + 1)) << i;
  EXPECT_EQ(Render(100, {false, 0.05}, 100).size(), 150u);
  // The echo ends 150 frames behind the input; the gap in front of it is shorter than the longest.
  bool wasCut = true;
  const std::vector<float> whole = Render(100, {}, 100, &wasCut);
  ASSERT_EQ(whole.size(), 250u);
  EXPECT_FALSE(wasCut);
  EXPECT_EQ(whole.back(), 0.5f * 1.0f);
  // Cut within the echo, it fades over the last tenth of a second.
  const std::vector<float> cut = Render(100, {true, 0.14}, 100, &wasCut);
  ASSERT_EQ(cut.size(), 240u);
  EXPECT_TRUE(wasCut);
  EXPECT_LT(cut.back(), 0.02f);
}

TEST(StreamRender, IsTheSameInAnyPieces) {
  for (const TailLength& tail : {TailLength{}, TailLength{false, 0.0}, TailLength{true, 0.14}}) {
    const std::vector<float> whole = Render(1003, tail, 1 << 20);
    for (const size_t piece : {1u, 3u, 16u, 500u}) EXPECT_EQ(Render(1003, tail, piece), whole) << piece;
  }
}

std::string Refusal(const std::function<void()>& call) {
  try {
    call();
  } catch (const host::HostError& error) {
    return error.what();
  }
  return "no error";
}

TEST(ModuleKnobs, UnderstandNamesAndUnitsAndNameTheNearest) {
  const ModuleKnobs plate = PlateKnobs(), reverb = ReverbKnobs();
  EXPECT_EQ(plate.Find("predelay"), plate.Find("Predelay"));
  EXPECT_EQ(reverb.Parse(reverb.Find("PreDelayMs"), "0.02 s"), 20.0f);
  EXPECT_EQ(reverb.Parse(reverb.Find("PreDelayMs"), "+20ms"), 20.0f);
  EXPECT_EQ(reverb.Parse(reverb.Find("Wet"), "30%"), 0.3f);
  EXPECT_EQ(reverb.Parse(reverb.Find("IRGain"), "norm:1"), 40.0f);
  EXPECT_THAT(Refusal([&] { plate.Find("Decai"); }), HasSubstr("the nearest is Decay."));
  for (const char* text : {"", "loud", "7", "-1", "0.5 dB", "nan", "norm:2"}) {
    EXPECT_THAT(Refusal([&] { plate.Parse(plate.Find("Decay"), text); }), HasSubstr("0 to 0.99")) << text;
  }
  NoiseSettings grey;
  grey.color = "grey";
  EXPECT_THAT(Refusal([&] { const NoiseStream noise(grey); }), HasSubstr("violet, white"));
}

TEST(ReverbEffect, TakesAnImpulseFromMemoryAndRefusesAsAFileWouldBe) {
  const auto start = [](std::vector<float> samples, float rate) {
    auto impulse = std::make_shared<dsp::Impulse>();
    impulse->left = std::move(samples);
    impulse->fileRate = rate;
    ReverbSettings settings;
    settings.samples = impulse;
    settings.values = {{dsp::ConvolutionReverb::kWet, 1.0f}};
    ReverbEffect effect(settings);
    effect.Start(48000, 1, 1);
    std::vector<float> out;
    const float one = 1.0f;
    const float* const in = &one;
    const Effect::Sink sink = [&out](const float* const* outputs, uint32_t count) {
      out.insert(out.end(), outputs[0], outputs[0] + count);
    };
    effect.Feed(&in, 1, sink);
    effect.Feed(nullptr, 999, sink);
    effect.Finish(sink);
    return out;
  };
  std::vector<float> echoes(700, 0.0f);
  echoes[0] = 0.5f;
  echoes[600] = 0.25f;
  const std::vector<float> out = start(echoes, 48000.0f);
  ASSERT_EQ(out.size(), 1000u);
  EXPECT_NEAR(out[0], 0.5f, 1e-6f);
  EXPECT_NEAR(out[600], 0.25f, 1e-6f);
  EXPECT_THAT(Refusal([&] { start({}, 48000.0f); }), HasSubstr("no samples"));
  EXPECT_THAT(Refusal([&] { start({std::numeric_limits<float>::quiet_NaN()}, 48000.0f); }),
              HasSubstr("finite"));
  EXPECT_THAT(Refusal([&] { start({1.0f}, 10.0f); }), HasSubstr("1 kHz"));
}

}  // namespace
}  // namespace Vantora::offline::tests
