#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <set>

#include "host/ParameterTable.h"
#include "plugin/core/ProductNames.h"
#include "tests/plugin/ClapHost.h"
#include "tests/plugin/Reference.h"

namespace Vantora::test {
namespace {

constexpr size_t kBlock = 48;  // samples at 48 kHz
constexpr const char* kFile = PRISMEL_CLAP;

const host::Parameter& Knob(const std::string& name) { return host::ParameterTable::Get().At(name); }

double ClapValue(const std::string& name, const std::string& text) {
  const host::Parameter& knob = Knob(name);
  return plugin::ToClapValue(knob, knob.Parse(text));
}

std::vector<uint32_t> RandomPieces(uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint32_t> pieces(200);
  for (uint32_t& piece : pieces) piece = random() % 1500;
  return pieces;
}

TEST(Clap, EveryPresetIsTheCommandsRenderOneBlockLate) {
  const ClapFile file(kFile);
  const Audio input = Plucks(48000);
  uint32_t seed = 1;
  for (const host::Preset& preset : plugin::FactoryPresets()) {
    SCOPED_TRACE(preset.name + ", pieces of seed " + std::to_string(seed));
    ClapHost host(file);
    ASSERT_TRUE(host.LoadPreset(preset.name));
    ASSERT_TRUE(host.Activate());
    ClapHost::Stream stream;
    stream.pieces = RandomPieces(seed);
    stream.isGuarded = true;
    stream.hasTransport = seed % 2 == 0;  // told, or on its own at 120 BPM
    const Audio output = host.Render(input, 2, stream);
    EXPECT_EQ(Differences(RenderReference(preset, input), output, kBlock), 0u);
    EXPECT_THAT(host.violations, testing::IsEmpty());
    ++seed;
  }
}

TEST(Clap, AnyBufferAndSharedMemoryAndMonoSoundTheSame) {
  const ClapFile file(kFile);
  const host::Preset& preset = FactoryPreset("Glass Choir");
  const Audio input = Plucks(24000);
  for (const uint32_t piece : {1u, 48u, 64u, 1024u, 8192u}) {
    for (const bool isInPlace : {false, true}) {
      ClapHost host(file);
      ASSERT_TRUE(host.Activate());  // a fresh instance has this preset
      ClapHost::Stream stream;
      stream.pieces = {piece};
      stream.isInPlace = isInPlace;
      EXPECT_EQ(Differences(RenderReference(preset, input), host.Render(input, 2, stream), kBlock), 0u)
          << piece << (isInPlace ? " in place" : "");
    }
  }
  for (const uint32_t config : {1u, 2u}) {  // mono, mono to stereo
    ClapHost host(file);
    ASSERT_TRUE(host.Extension<plugin::ClapAudioPortsConfig>(plugin::kClapAudioPortsConfig)
                    .select(host.Plugin(), config));
    ASSERT_TRUE(host.Activate());
    const Audio mono{input[0]};
    EXPECT_EQ(Differences(RenderReference(preset, mono, config), host.Render(mono, config, {}), kBlock), 0u)
        << config;
  }
}

TEST(Clap, EventsAreHeardOnTheBlockGridWhateverTheBuffer) {
  const ClapFile file(kFile);
  const host::Preset& preset = FactoryPreset("Formant Fan");
  const Audio input = Plucks(24000);
  const host::Parameter& knob = Knob("Prismel_BandpassCutoff");
  const std::vector<TimedValue> events{{4000, ClapHost::IdOf("Prismel_BandpassCutoff"), 0.25},
                                       {5376, ClapHost::IdOf("Prismel_BandpassCutoff"), 0.5},
                                       {5500, ClapHost::IdOf("Prismel_BandpassCutoff"), 0.75}};
  std::vector<host::ParameterWrite> changes;
  for (const TimedValue& event : events)
    changes.push_back({knob.Index(), static_cast<float>(event.value), event.at});
  const Audio reference = RenderReference(preset, input, 2, 48000.0f, changes);
  for (const std::vector<uint32_t>& pieces : {std::vector<uint32_t>{1024}, {64}, RandomPieces(7)}) {
    ClapHost host(file);
    ASSERT_TRUE(host.LoadPreset(preset.name));
    ASSERT_TRUE(host.Activate());
    ClapHost::Stream stream;
    stream.pieces = pieces;
    stream.events = events;
    stream.isGuarded = true;
    EXPECT_EQ(Differences(reference, host.Render(input, 2, stream), kBlock), 0u) << pieces.front();
    EXPECT_THAT(host.violations, testing::IsEmpty());
    EXPECT_EQ(host.Value(events.back().id), 0.75);
  }
}

TEST(Clap, WhatComesWithTheFirstSampleIsTheStart) {
  const ClapFile file(kFile);
  host::Preset preset = FactoryPreset("Formant Fan");
  const Audio input = Plucks(24000);
  ClapHost host(file);
  ASSERT_TRUE(host.LoadPreset(preset.name));
  ASSERT_TRUE(host.Activate());
  ClapHost::Stream stream;
  stream.events = {{0, ClapHost::IdOf("Prismel_BandpassCutoff"), 0.75},
                   {0, ClapHost::IdOf("Prismel_Wet"), 1.0}};
  stream.isGuarded = true;
  const Audio output = host.Render(input, 2, stream);
  preset.values[Knob("Prismel_BandpassCutoff").Index()] = 0.75f;
  preset.values[Knob("Prismel_Wet").Index()] = 1.0f;
  EXPECT_EQ(Differences(RenderReference(preset, input), output, kBlock), 0u);
  EXPECT_THAT(host.violations, testing::IsEmpty());
}

TEST(Clap, FiveThousandWritesEndInTheLastOne) {
  const ClapFile file(kFile);
  const Audio input = Plucks(24000);
  host::Preset expected = FactoryPreset("Glass Choir");
  expected.values[Knob("Prismel_Wet").Index()] = 1.0f;
  for (const bool isActive : {false, true}) {
    ClapHost host(file);
    ASSERT_TRUE(host.LoadPreset("Drifting Ensemble"));
    if (isActive) {
      ASSERT_TRUE(host.Activate());
    }
    for (int i = 0; i < 5000; ++i) host.Flush(ClapHost::IdOf("Prismel_Wet"), (i % 100) / 200.0);
    for (const host::Parameter& parameter : host::ParameterTable::Get()) {
      if (!parameter.IsInPresets()) continue;
      host.Flush(parameter.Id(), plugin::ToClapValue(parameter, expected.ValueOf(parameter)));
    }
    EXPECT_EQ(host.Value(ClapHost::IdOf("Prismel_FXType")), ClapValue("Prismel_FXType", "comb"));
    if (!isActive) {
      ASSERT_TRUE(host.Activate());
    }
    EXPECT_EQ(Differences(RenderReference(expected, input), host.Render(input, 2, {}), kBlock), 0u)
        << isActive;
  }
}

TEST(Clap, ASongComesBackAsItWas) {
  const ClapFile file(kFile);
  const Audio input = Plucks(24000);
  ClapHost first(file);
  ASSERT_TRUE(first.LoadPreset("Suspended Cloud"));
  std::mt19937 random(11);
  for (const clap_param_info_t& info : first.Parameters()) {
    const bool isKnob =
        (info.flags & CLAP_PARAM_IS_AUTOMATABLE) != 0 && (info.flags & CLAP_PARAM_IS_STEPPED) == 0;
    if (isKnob) first.Flush(info.id, static_cast<double>(random()) / 4294967296.0);
  }
  const std::string song = first.Save();
  ASSERT_TRUE(first.Activate());
  const Audio before = first.Render(input, 2, {});
  EXPECT_EQ(first.Save(), song);

  // Other instances in between: the random elements must not follow from their number.
  for (int other = 0; other < 3; ++other) {
    ClapHost another(file);
    ASSERT_TRUE(another.Activate());
    ClapHost second(file);
    ASSERT_TRUE(second.Load(song, other == 0 ? 1 : 100));
    EXPECT_EQ(second.Save(), song);
    for (const clap_param_info_t& info : second.Parameters()) {
      if ((info.flags & CLAP_PARAM_IS_READONLY) != 0) continue;
      EXPECT_EQ(second.Value(info.id), first.Value(info.id)) << info.name;
    }
    ASSERT_TRUE(second.Activate());
    EXPECT_EQ(Differences(before, second.Render(input, 2, {}), 0), 0u) << other;
    // Suspend and resume: a new start, the same again.
    second.Deactivate();
    ASSERT_TRUE(second.Activate());
    EXPECT_EQ(Differences(before, second.Render(input, 2, {}), 0), 0u) << "resumed";
  }
}

TEST(Clap, GarbageIsRefusedAndWhatSoundsStays) {
  const ClapFile file(kFile);
  ClapHost host(file);
  ASSERT_TRUE(host.LoadPreset("Metal Rain"));
  const std::string song = host.Save();
  for (const std::string& garbage :
       {std::string(), std::string("{"), std::string("[]"), std::string("\0\1\2", 3),
        std::string("{\"schema\": 1}"), song.substr(0, song.size() / 2), std::string(3 << 20, 'x')}) {
    EXPECT_FALSE(host.Load(garbage)) << garbage.substr(0, 20);
    EXPECT_EQ(host.Save(), song);
  }
  // A newer version's song is read as far as it is understood.
  std::string newer = song;
  newer.replace(newer.find("\"state\": 1"), 10, "\"state\": 9");
  newer.replace(newer.find("\"positions\": {"), 14,
                "\"sparkle\": [1], \"positions\": {\"Prismel_Sparkle\": 0.5,");
  EXPECT_TRUE(host.Load(newer));
  EXPECT_EQ(host.Save(), song);
  // A plain preset will do, too.
  EXPECT_TRUE(
      host.Load(R"({"schema": 1, "parameters": {"Prismel_FXType": "crusher", "Prismel_Voices": 3}})"));
  EXPECT_EQ(host.Value(ClapHost::IdOf("Prismel_Voices")), 3.0);
}

TEST(Clap, TheIdsAreThoseOfEverySongSavedSoFar) {
  const ClapFile file(kFile);
  const ClapHost host(file);
  std::ifstream list(PRISMEL_IDS);
  ASSERT_TRUE(list) << PRISMEL_IDS;
  std::map<std::string, clap_id> expected;
  std::string name;
  for (clap_id id = 0; list >> id >> name;) expected[name] = id;
  std::map<std::string, clap_id> found;
  for (size_t i = 0; i < plugin::HostParameters::Get().Size(); ++i) {
    const host::Parameter& parameter = plugin::HostParameters::Get().At(i);
    found[parameter.UniqueName()] = host.Parameters()[i].id;
    EXPECT_LT(host.Parameters()[i].id, 1u << 31);
  }
  EXPECT_EQ(found, expected) << "ids never change; add new ones to the list";
}

TEST(Clap, ValuesReadAsTextBothWays) {
  const ClapFile file(kFile);
  const ClapHost host(file);
  const auto& params = host.Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS);
  std::set<std::string> names;
  for (const clap_param_info_t& info : host.Parameters()) {
    EXPECT_TRUE(names.insert(info.name).second) << info.name << " twice";
    for (const double at : {0.0, 0.3, 0.5, 1.0}) {
      double value = info.min_value + at * (info.max_value - info.min_value);
      if ((info.flags & CLAP_PARAM_IS_STEPPED) != 0) value = std::round(value);
      char text[128];
      double back = -1e9;
      ASSERT_TRUE(params.value_to_text(host.Plugin(), info.id, value, text, sizeof text));
      ASSERT_TRUE(params.text_to_value(host.Plugin(), info.id, text, &back)) << info.name << " " << text;
      EXPECT_NEAR(back, value, 2e-3 * (info.max_value - info.min_value)) << info.name << " " << text;
    }
  }
  double value = 0.0;
  EXPECT_FALSE(params.text_to_value(host.Plugin(), ClapHost::IdOf("Prismel_CombCutoff"), "loud", &value));
  EXPECT_FALSE(params.get_value(host.Plugin(), 1, &value));
}

TEST(Clap, LatencyIsToldBeforeActivationAndWhenItChanges) {
  const ClapFile file(kFile);
  ClapHost host(file, {.hasExtensions = true});
  const auto latency = [&] {
    return host.Extension<clap_plugin_latency_t>(CLAP_EXT_LATENCY).get(host.Plugin());
  };
  EXPECT_EQ(latency(), kBlock);
  ASSERT_TRUE(host.Activate(48000.0));
  EXPECT_EQ(host.calls["latency.changed"], 0);
  host.Deactivate();
  ASSERT_TRUE(host.Activate(192000.0));
  EXPECT_EQ(latency(), 192u);
  EXPECT_EQ(host.calls["latency.changed"], 1);
  host.Deactivate();
  EXPECT_FALSE(host.Activate(0.0));
  EXPECT_THAT(host.violations, testing::IsEmpty());
}

TEST(Clap, TheTailFollowsTheEffect) {
  const ClapFile file(kFile);
  ClapHost host(file, {.hasExtensions = true});
  const auto tail = [&] { return host.Extension<plugin::ClapTail>(plugin::kClapTail).get(host.Plugin()); };
  ASSERT_TRUE(host.LoadPreset("Formant Fan"));
  EXPECT_EQ(tail(), 12000u + kBlock);
  ASSERT_TRUE(host.Activate());
  ClapHost::Stream stream;
  stream.events = {{5000, ClapHost::IdOf("Prismel_FXType"), ClapValue("Prismel_FXType", "comb")}};
  host.calls.clear();
  host.Render(Plucks(9600), 2, stream);
  EXPECT_EQ(host.calls["tail.changed"], 1);
  EXPECT_EQ(tail(), UINT32_MAX);
  EXPECT_THAT(host.violations, testing::IsEmpty());
}

TEST(Clap, ResetSilencesWhatRings) {
  const ClapFile file(kFile);
  ClapHost host(file);
  ASSERT_TRUE(host.LoadPreset("Sympathetic Strings"));
  ASSERT_TRUE(host.Activate());
  host.Render(Plucks(24000), 2, {});
  const Audio silence(2, std::vector<float>(4800));
  const auto peak = [](const Audio& audio) {
    float most = 0.0f;
    for (const auto& channel : audio) {
      for (const float x : channel) most = std::max(most, std::abs(x));
    }
    return most;
  };
  EXPECT_GT(peak(host.Render(silence, 2, {})), 1e-3f);
  host.Plugin()->reset(host.Plugin());
  EXPECT_EQ(peak(host.Render(silence, 2, {})), 0.0f);
}

TEST(Clap, TheHostsBrowserFindsEveryFactoryPreset) {
  const ClapFile file(kFile);
  const auto& factory = *static_cast<const plugin::ClapPresetDiscoveryFactory*>(
      file.Entry().get_factory(plugin::kClapPresetDiscoveryFactory));
  struct Found {
    int locations = 0;
    std::vector<std::string> keys;
    std::vector<std::string> effects;
  } found;
  plugin::ClapPresetIndexer indexer{};
  indexer.clap_version = CLAP_VERSION;
  indexer.indexer_data = &found;
  indexer.declare_location = [](const plugin::ClapPresetIndexer* self,
                                const plugin::ClapPresetLocation* location) {
    static_cast<Found*>(self->indexer_data)->locations +=
        location->kind == plugin::kClapPresetInPlugin ? 1 : 0;
    return true;
  };
  ASSERT_EQ(factory.count(&factory), 1u);
  const auto* provider = factory.create(&factory, &indexer, factory.get_descriptor(&factory, 0)->id);
  ASSERT_NE(provider, nullptr);
  ASSERT_TRUE(provider->init(provider));
  plugin::ClapPresetReceiver receiver{};
  receiver.receiver_data = &found;
  receiver.begin_preset = [](const plugin::ClapPresetReceiver* self, const char*, const char* key) {
    static_cast<Found*>(self->receiver_data)->keys.emplace_back(key);
    return true;
  };
  receiver.add_plugin_id = [](const plugin::ClapPresetReceiver*, const plugin::ClapUniversalPluginId* id) {
    EXPECT_STREQ(id->id, plugin::kClapId);
  };
  receiver.set_flags = [](const plugin::ClapPresetReceiver*, uint32_t) {};
  receiver.add_creator = receiver.set_description = [](const plugin::ClapPresetReceiver*, const char*) {};
  receiver.add_feature = [](const plugin::ClapPresetReceiver* self, const char* text) {
    static_cast<Found*>(self->receiver_data)->effects.emplace_back(text);
  };
  ASSERT_TRUE(provider->get_metadata(provider, plugin::kClapPresetInPlugin, nullptr, &receiver));
  provider->destroy(provider);
  EXPECT_EQ(found.locations, 1);
  EXPECT_EQ(found.keys.size(), 24u);
  EXPECT_EQ(found.effects.size(), 24u);
  ClapHost host(file, {.hasExtensions = true});
  for (const std::string& key : found.keys) EXPECT_TRUE(host.LoadPreset(key)) << key;
  EXPECT_FALSE(host.LoadPreset("No Such Thing"));
  EXPECT_GE(host.calls["params.rescan"], 24);
  EXPECT_THAT(host.violations, testing::IsEmpty());
}

TEST(Clap, LoadsAndUnloadsTwentyTimesWithoutARest) {
  const auto mappings = [] {
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);) count += line.ends_with(".clap") ? 1 : 0;
    return count;
  };
  for (int i = 0; i < 20; ++i) {
    {
      const ClapFile file(kFile);
      ClapHost host(file);
      EXPECT_GT(mappings(), 0u);
      for (const double rate : {44100.0, 48000.0, 96000.0}) {
        ASSERT_TRUE(host.Activate(rate));
        host.Render(Audio(2, std::vector<float>(500)), 2, {});
        host.Deactivate();
      }
    }
    ASSERT_EQ(mappings(), 0u) << "load " << i;
  }
}

}  // namespace
}  // namespace Vantora::test
