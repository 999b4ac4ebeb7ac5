// The host side and the effect's own library together.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

#include "host/BlockCollector.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "host/loading/ProcessorLibrary.h"
#include "processor/LinkedFactory.h"
#include "processor/PrismelProcessor.h"
#include "tests/support/RealTimeGuard.h"
#include "tests/support/Signals.h"

namespace Vantora::host {
namespace {

constexpr float kRate = 48000.0f;

const ParameterTable& Table() { return ParameterTable::Get(); }

class ProductTest : public testing::Test {
 protected:
  ProductTest() : library(PRODUCT_LIBRARY), processor(library) { processor.Init(kRate); }

  void Set(const char* name, const char* text) {
    const Parameter& parameter = Table().At(name);
    ASSERT_TRUE(processor.Set(parameter.Index(), parameter.Parse(text)));
  }

  ProcessorLibrary library;
  HostedProcessor processor;
};

TEST_F(ProductTest, TheTableNamesWhatTheLibraryHas) {
  EXPECT_NO_THROW(Table().Check(processor));
  HostedProcessor fresh(library);  // before any block: the effect writes some parameters itself
  for (const Parameter& parameter : Table()) {
    const auto start = fresh.Get(parameter.Index());
    if (parameter.GetRole() == Role::kCommand && !start) continue;
    ASSERT_TRUE(start) << parameter.UniqueName();
    EXPECT_EQ(*start, parameter.StartNormalized()) << parameter.UniqueName();
  }
}

TEST_F(ProductTest, TheTableConvertsBitForBitAsTheModulesDo) {
  const auto tree = std::make_unique<Processor::PrismelProcessor>(1u);
  for (uint32_t index = 0; index < Processor::PrismelProcessor::kParamCount; ++index) {
    const Parameter& parameter = Table()[index];
    dsp::ParamRecord& record = tree->Param(index);
    EXPECT_EQ(record.GetMinimum(), parameter.Minimum()) << parameter.UniqueName();
    EXPECT_EQ(record.GetMaximum(), parameter.Maximum()) << parameter.UniqueName();
    for (int i = 0; i <= 512; ++i) {
      const float position = static_cast<float>(i) / 512.0f;
      const float value = record.ToValue(position);
      ASSERT_EQ(parameter.ToValue(position), value) << parameter.UniqueName() << " at " << position;
      record.SetValue(value);
      ASSERT_EQ(parameter.ToNormalized(value), record.GetNormalized())
          << parameter.UniqueName() << " at " << value;
    }
  }
}

TEST_F(ProductTest, EveryOfferedValueIsReadBackThroughTheLibrary) {
  for (const Parameter& parameter : Table()) {
    if (!parameter.IsOffered()) continue;
    for (int i = 0; i <= 20; ++i) {
      const float wanted = parameter.Parse(parameter.ExactText(static_cast<float>(i) / 20.0f));
      ASSERT_TRUE(processor.Set(parameter.Index(), wanted));
      ASSERT_EQ(processor.Get(parameter.Index()), wanted) << parameter.UniqueName();
    }
  }
}

TEST_F(ProductTest, APresetIsCapturedAsItWasApplied) {
  const Preset preset =
      Preset::Parse(R"({"schema": 1, "parameters": {"FXType": "harmonizer", "HarmonizerChord": "sus4",
      "LFORateType": "synced triplet", "LFOShapeType": "smooth random", "HPFCutoff": "80 Hz", "Voices": 8,
      "LFOPrimaryAmount": -0.25}})",
                    "p.json");
  preset.Apply(processor);
  FileCollector collector(processor);
  collector.Feed(nullptr, 4800, [](const float* const*, uint32_t) {});
  EXPECT_THAT(Compare(preset, Preset::Capture(processor)), testing::IsEmpty());
  Preset().Apply(processor);
  EXPECT_THAT(Compare(Preset(), Preset::Capture(processor)), testing::IsEmpty());
}

TEST_F(ProductTest, APresetIsHeardAsWrittenWhateverTheFreshProcessorDid) {
  // A fresh crusher answers 16 bits and sounds as at 1.5; a preset at 16 bits must sound like 16.
  const auto levels = [&] {
    FileCollector collector(processor);
    std::vector<float> sine(4800), out;
    for (size_t i = 0; i < sine.size(); ++i) sine[i] = 0.5f * std::sin(0.013f * static_cast<float>(i));
    const float* inputs[] = {sine.data(), sine.data()};
    collector.Feed(inputs, sine.size(), [&](const float* const* channels, uint32_t count) {
      for (uint32_t i = 0; i < count; ++i) out.push_back(std::round(channels[0][i] * 1e4f));
    });
    std::sort(out.begin() + 2400, out.end());
    return std::unique(out.begin() + 2400, out.end()) - (out.begin() + 2400);
  };
  for (const char* name : {"LFOPrismelAmount", "LFOPrimaryAmount"}) Set(name, "0");
  Set("FXType", "crusher");
  Set("Voices", "1");
  Set("Wet", "1");
  Set("HPFCutoff", "norm:0");
  const auto fresh = levels();
  Preset preset;
  preset.values = {{Table().At("FXType").Index(), Table().At("FXType").Parse("crusher")},
                   {Table().At("Voices").Index(), 0.0f},
                   {Table().At("Wet").Index(), 1.0f},
                   {Table().At("HPFCutoff").Index(), 0.0f}};
  preset.Apply(processor);
  EXPECT_GT(levels(), 10 * fresh);
}

TEST_F(ProductTest, DryAndBypassedSignalsComeOutExactlyTheReportedLatencyLater) {
  Preset().Apply(processor);
  for (const bool bypass : {false, true}) {
    Set("Wet", bypass ? "1" : "0");
    Set("Bypass", bypass ? "on" : "off");
    processor.Init(kRate);  // lands the fades
    LiveCollector collector(processor);
    std::vector<float> signal(1000, 0.0f), right(1000, 0.0f);
    signal[137] = 1.0f;
    float* channels[] = {signal.data(), right.data()};
    collector.Process(channels, channels, 500);
    float* rest[] = {signal.data() + 500, right.data() + 500};
    collector.Process(rest, rest, 500);
    const auto peak = std::max_element(signal.begin(), signal.end()) - signal.begin();
    EXPECT_EQ(peak, 137 + collector.Latency()) << "bypass " << bypass;
    EXPECT_FLOAT_EQ(signal[static_cast<size_t>(peak)], 1.0f);
  }
}

ProcessorSource PrivateImage() {
  return ProcessorLibrary(PRODUCT_LIBRARY, ProcessorLibrary::Image::kPrivate).Source();
}

/// Two seconds of noise through a processor of `source` with a random LFO, in pieces drawn from `seed`.
std::vector<float> RenderRandomLfo(const ProcessorSource& source, uint32_t seed) {
  HostedProcessor processor(source);
  processor.Init(kRate);
  Preset::Parse(
      R"({"schema": 1, "parameters": {"FXType": "crusher", "BitCrusherDownsample": "9x", "Prismelion": 0.4,
      "LFOShapeType": "sample and hold", "LFORateType": "free", "RateUnSynced": "7 Hz", "LFOPrimaryAmount": 0.8}})",
      "p.json")
      .Apply(processor);
  FileCollector collector(processor);
  std::mt19937 pieces(seed);
  std::vector<float> input = test::Noise(96000, 3, 0.5f), output;
  const auto sink = [&](const float* const* channels, uint32_t count) {
    output.insert(output.end(), channels[0], channels[0] + count);
  };
  for (size_t at = 0; at < input.size();) {
    const size_t count = std::min<size_t>(pieces() % 700, input.size() - at);
    const float* channels[] = {input.data() + at, input.data() + at};
    collector.Feed(channels, count, sink);
    at += count;
  }
  collector.Finish(sink);
  return output;
}

TEST(ProductRepeat, APrivateImageRendersTheSameBytesHoweverTheStreamIsCut) {
  const auto first = RenderRandomLfo(PrivateImage(), 1);
  ASSERT_EQ(first.size(), 96000u);
  EXPECT_GT(*std::max_element(first.begin(), first.end()), 0.01f);
  EXPECT_EQ(RenderRandomLfo(PrivateImage(), 1), first);
  EXPECT_EQ(RenderRandomLfo(PrivateImage(), 99), first);
  // The linked effect too, from the number on that the caller names.
  const ProcessorSource linked(Processor::MakeLinkedFactory()), fromOne(Processor::MakeLinkedFactory(1));
  EXPECT_EQ(RenderRandomLfo(linked, 7), first);
  const auto second = RenderRandomLfo(linked, 7);
  EXPECT_NE(second, first);
  EXPECT_EQ(RenderRandomLfo(fromOne, 7), second);
}

TEST(ProductRepeat, TheLibraryLeavesTheProcessWhenItIsNoLongerUsed) {
  ASSERT_EQ(dlopen(PRODUCT_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
  { HostedProcessor processor{ProcessorLibrary(PRODUCT_LIBRARY)}; }
  EXPECT_EQ(dlopen(PRODUCT_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}

TEST_F(ProductTest, MetersReadTheLevelOfASine) {
  Preset().Apply(processor);
  LiveCollector collector(processor);
  EXPECT_EQ(collector.Levels().InputDb(), Meters::kFloorDb);
  std::vector<float> sine(48000), out(48000);
  for (size_t i = 0; i < sine.size(); ++i) sine[i] = 0.5f * std::sin(0.1f * static_cast<float>(i));
  const float* inputs[] = {sine.data(), sine.data()};
  float* outputs[] = {out.data(), nullptr};
  collector.Process(inputs, outputs, sine.size());
  EXPECT_NEAR(collector.Levels().InputDb(), -6.02f, 0.3f);
}

TEST_F(ProductTest, ALiveStreamWithPresetsAndWritesIsRealTimeSafe) {
  if (!test::RealTimeGuard::WatchesEverything()) GTEST_SKIP() << "a sanitizer's own memory faults in";
  LiveCollector collector(processor);
  std::vector<float> left(9600, 0.1f), right(9600, -0.1f);
  float* channels[] = {left.data(), right.data()};
  Preset preset;
  for (const char* effect : {"band-pass", "comb", "crusher", "distortion", "harmonizer"}) {
    preset.values[Table().At("FXType").Index()] = Table().At("FXType").Parse(effect);
    ASSERT_TRUE(collector.QueueTogether(preset.Writes()));
    collector.Process(channels, channels, 9600);  // touches the memory of this effect
    ASSERT_TRUE(collector.QueueTogether(preset.Writes()));
    ASSERT_TRUE(collector.Queue(Table().At("Prismelion").Index(), 0.5f));
    EXPECT_REAL_TIME(collector.Process(channels, channels, 4801));
  }
}

}  // namespace
}  // namespace Vantora::host
