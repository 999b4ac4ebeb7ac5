#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include "host/ParameterTable.h"
#include "plugin/core/RestPicture.h"
#include "plugin/core/ShellCore.h"
#include "plugin/core/State.h"
#include "plugin/core/Timeline.h"
#include "plugin/core/Values.h"
#include "tests/plugin/Reference.h"
#include "tests/support/RealTimeGuard.h"
#include "tests/support/TempFolder.h"

namespace Vantora::plugin {
namespace {

using test::Audio;

uint32_t Index(const char* name) { return host::ParameterTable::Get().At(name).Index(); }

/// Runs `core` over `input` in buffers of `piece` samples, each under the guard.
Audio Stream(ShellCore& core, const Audio& input, uint32_t piece = 256) {
  const size_t frames = input[0].size();
  Audio output(2, std::vector<float>(frames));
  for (size_t done = 0; done < frames; done += piece) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(piece, frames - done));
    const float* in[2] = {input[0].data() + done, input[1].data() + done};
    float* out[2] = {output[0].data() + done, output[1].data() + done};
    EXPECT_REAL_TIME(core.Process(in, out, count));
  }
  return output;
}

struct NotedLink final : HostLink {
  void OnGestureBegin(uint32_t index) override { log.push_back("begin " + std::to_string(index)); }
  void OnValue(uint32_t index, float) override { log.push_back("value " + std::to_string(index)); }
  void OnGestureEnd(uint32_t index) override { log.push_back("end " + std::to_string(index)); }
  void OnSoundChanged() override { log.push_back("sound"); }
  void OnStateDirty() override { log.push_back("dirty"); }
  std::vector<std::string> log;
};

TEST(PluginValues, SingleWritesFollowTheSoundTheyWereMadeAfter) {
  Values values;
  std::vector<std::string> taken;
  const auto take = [&] {
    taken.clear();
    values.TakeUp(
        [&](const Positions& sound) { taken.push_back("sound " + std::to_string(sound[3]).substr(0, 3)); },
        [&](uint32_t i, float v) {
          taken.push_back(std::to_string(i) + " " + std::to_string(v).substr(0, 3));
        });
  };
  Positions sound{};
  sound[3] = 0.5f;
  values.Write(3, 0.1f);
  values.Write(4, 0.2f);
  values.WriteSound(sound);
  values.Write(3, 0.9f);
  values.Write(3, 0.8f);
  EXPECT_EQ(values.Get(3), 0.8f);
  EXPECT_EQ(values.Get(4), 0.0f);
  take();
  EXPECT_THAT(taken, testing::ElementsAre("sound 0.5", "3 0.8"));
  take();
  EXPECT_THAT(taken, testing::IsEmpty());
  values.WriteSound(sound);
  sound[3] = 0.7f;
  values.WriteSound(sound);
  take();
  EXPECT_THAT(taken, testing::ElementsAre("sound 0.7"));
}

TEST(PluginValues, TwoThreadsEndInTheLastValue) {
  Values values;
  std::atomic<bool> isDone{false};
  Positions heard{};
  std::thread audio([&] {
    for (bool last = false; !last;) {
      last = isDone.load();
      values.TakeUp([&](const Positions& sound) { heard = sound; },
                    [&](uint32_t i, float v) { heard[i] = v; });
    }
  });
  std::mt19937 random(5);
  Positions written{};
  for (int round = 0; round < 20000; ++round) {
    const float value = static_cast<float>(random() % 1000) / 1000.0f;
    if (round % 50 == 0) {
      written.fill(value);
      values.WriteSound(written);
    } else {
      const uint32_t index = random() % kParameterCount;
      written[index] = value;
      values.Write(index, value);
    }
  }
  isDone = true;
  audio.join();
  EXPECT_EQ(heard, written);
}

TEST(PluginTimeline, RampsAreLinesPlayedOnTheBlockGrid) {
  // Points at 100 (step), 1000 (ramp), 2048 (ramp, the end of a buffer of 1024), then held.
  const auto play = [](uint64_t buffer) {
    Timeline timeline;
    struct Point {
      uint64_t at;
      float position;
      bool isRamp;
    };
    const std::vector<Point> points{{100, 0.2f, false}, {1000, 0.6f, true}, {2048, 0.1f, true}};
    std::vector<float> heard;
    size_t sent = 0;
    float now = 0.0f;
    for (uint64_t begin = 0, told = 0; begin < 3072; begin += 48) {
      for (; told < begin + 48; told += buffer) {
        for (; sent < points.size() && points[sent].at <= told + buffer; ++sent) {
          const Point& point = points[sent];
          if (point.isRamp)
            timeline.RampTo(7, point.position, told, point.at, now);
          else
            timeline.StepTo(7, point.position, point.at);
        }
      }
      timeline.Play(begin, begin + 48, [&](uint32_t index, float position) {
        EXPECT_EQ(index, 7u);
        now = position;
      });
      heard.push_back(now);
    }
    return heard;
  };
  const std::vector<float> heard = play(1024);
  for (size_t block = 0; block < heard.size(); ++block) {
    const double begin = 48.0 * static_cast<double>(block);
    double expected = begin + 48.0 <= 100.0 ? 0.0 : 0.2;
    if (begin > 100.0) expected = 0.2 + 0.4 * (begin - 100.0) / 900.0;
    if (begin + 48.0 > 1000.0) expected = 0.6;
    // The third point came with the next buffer: its line begins there, not at the point before.
    if (begin > 1024.0) expected = 0.6 - 0.5 * (begin - 1024.0) / 1024.0;
    if (begin + 48.0 > 2048.0) expected = 0.1;
    EXPECT_NEAR(heard[block], expected, 1e-6) << block;
  }
}

TEST(PluginTimeline, WhenFullTheEndStaysRight) {
  Timeline timeline;
  for (uint32_t i = 0; i < 3 * Timeline::kCapacity; ++i) timeline.StepTo(i % 3, i / 1e6f, i);
  Positions heard{};
  timeline.Play(0, 1u << 20, [&](uint32_t index, float position) { heard[index] = position; });
  for (uint32_t index = 0; index < 3; ++index) {
    EXPECT_EQ(heard[index], static_cast<float>(3 * Timeline::kCapacity - 3 + index) / 1e6f);
  }
}

TEST(PluginState, KeepsEveryBitAndEveryName) {
  std::mt19937 random(3);
  State state;
  state.sound.positions = PreferredPositions();
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    const auto anywhere = static_cast<float>(random()) / 4294967296.0f;
    if (parameter.IsInPresets()) state.sound.positions[parameter.Index()] = anywhere;
  }
  state.sound.name = "\"Quoted\" \xC3\xA4 \n name";
  state.sound.isModified = true;
  state.variation = 77;
  state.windowScale = 1.25;
  const std::string text = state.ToJson();
  std::vector<std::string> warnings;
  const State back = State::Parse(text, &warnings);
  EXPECT_EQ(back.sound.positions, state.sound.positions);
  EXPECT_EQ(back.sound.name, state.sound.name);
  EXPECT_EQ(back.variation, 77u);
  EXPECT_EQ(back.ToJson(), text);
  EXPECT_THAT(warnings, testing::IsEmpty());
  // Positions that are none are passed over, with a word.
  const State odd = State::Parse(
      R"({"positions": {"Prismel_Wet": 7, "Prismel_Voices": "x"}, "variation": -5, "name": 3})", &warnings);
  EXPECT_EQ(warnings.size(), 2u);
  EXPECT_EQ(odd.sound.positions, PreferredPositions());
  EXPECT_EQ(odd.variation, 0u);
}

TEST(PluginCore, TheWindowsHandIsHeardAndToldAndUndone) {
  ShellCore core;
  NotedLink link;
  core.SetHostLink(&link);
  const uint32_t wet = Index("Prismel_Wet");
  const float before = core.Value(wet);
  const uint64_t revision = core.Revision();
  core.BeginGesture(wet);
  core.SetValue(wet, 0.1f);
  core.SetValue(wet, 0.9f);
  core.EndGesture(wet);
  const std::string number = std::to_string(wet);
  EXPECT_THAT(link.log,
              testing::ElementsAre("begin " + number, "value " + number, "value " + number, "end " + number));
  EXPECT_GT(core.Revision(), revision);
  EXPECT_TRUE(core.IsModified());
  EXPECT_EQ(core.Text(wet), "0.9");
  core.Undo();
  EXPECT_EQ(core.Value(wet), before);
  EXPECT_FALSE(core.IsModified());
  EXPECT_FALSE(core.CanUndo());
  core.Redo();
  EXPECT_EQ(core.Value(wet), 0.9f);
  EXPECT_NE(core.SetText(wet, "loud"), "");
  EXPECT_EQ(core.SetText(wet, "25%"), "");
  EXPECT_EQ(core.Value(wet), 0.25f);
  // B begins as A; afterwards each keeps its own.
  core.SwitchSlot();
  EXPECT_EQ(core.Value(wet), 0.25f);
  core.SetValue(wet, 1.0f);
  core.SwitchSlot();
  EXPECT_EQ(core.Value(wet), 0.25f);
  core.SwitchSlot();
  EXPECT_EQ(core.Value(wet), 1.0f);
  const std::string settings = core.SettingsText();
  core.LoadPresetByName("metal rain");
  EXPECT_EQ(core.PresetName(), "Metal Rain");
  EXPECT_NE(core.SetSettingsText("nonsense"), "");
  EXPECT_EQ(core.PresetName(), "Metal Rain");
  EXPECT_EQ(core.SetSettingsText(settings), "");
  EXPECT_EQ(core.Value(wet), 1.0f);
  EXPECT_EQ(core.Presets().at(*core.CurrentPreset()).name, ShellCore::kFirstPreset);
}

TEST(PluginCore, PresetsOfTheUserAreKeptAsFiles) {
  const testsupport::TempFolder folder;
  setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
  ShellCore core;
  const size_t factory = core.Presets().size();
  EXPECT_EQ(factory, 24u);
  EXPECT_NE(core.SavePreset(" ", ""), "");
  EXPECT_NE(core.SavePreset("glass choir", ""), "");
  core.SetValue(Index("Prismel_Wet"), 0.125f);
  EXPECT_EQ(core.SavePreset("Mine / \"own\"", "One of mine."), "");
  EXPECT_FALSE(core.IsModified());
  std::ofstream(folder / "prismel/presets/junk.json") << "{";
  ShellCore other;
  EXPECT_EQ(other.Presets().size(), factory);  // nothing is opened unasked
  other.RefreshPresets();
  ASSERT_EQ(other.Presets().size(), factory + 1);
  EXPECT_EQ(other.Presets().back().name, "Mine / \"own\"");
  EXPECT_EQ(other.LoadPreset(factory), "");
  EXPECT_EQ(other.Value(Index("Prismel_Wet")), 0.125f);
  EXPECT_NE(other.DeletePreset(0), "");
  EXPECT_EQ(other.DeletePreset(factory), "");
  EXPECT_EQ(other.Presets().size(), factory);
  unsetenv("XDG_CONFIG_HOME");
}

TEST(PluginCore, APresetLoadedWhileSoundRunsStartsCleanAtABlock) {
  const Audio input = test::Plucks(24000);
  ShellCore core;
  core.LoadPresetByName("Wide Copies");
  core.Activate(48000.0);
  Stream(core, test::Plucks(4800));
  core.LoadPresetByName("Formant Fan");
  core.SetValue(Index("Bypass"), 0.0f);
  const Audio output = Stream(core, input);
  float most = 0.0f;
  for (const float x : output[0]) most = std::max(most, std::abs(x));
  EXPECT_GT(most, 0.05f);
  EXPECT_LT(most, 2.0f);
  EXPECT_EQ(core.Text(Index("Prismel_FXType")), "band-pass");
}

TEST(PluginCore, ATempoThatMakesNoSenseChangesNothing) {
  const Audio input = test::Plucks(24000);
  ShellCore plain, odd;
  for (ShellCore* core : {&plain, &odd}) {
    core->LoadPresetByName("Eighth-Note Gate");
    core->Activate(48000.0);
  }
  const double nothing = std::numeric_limits<double>::quiet_NaN();
  plain.SetTime({120.0, true, 0.0});
  odd.SetTime({0.0, true, nothing});
  odd.SetTime({nothing, {}, {}});
  EXPECT_EQ(Stream(plain, input), Stream(odd, input));
  EXPECT_EQ(odd.Tempo(), 120.0);
  odd.SetTime({-1.0, true, {}});
  EXPECT_EQ(odd.Tempo(), 120.0);
}

TEST(PluginCore, VariationsDifferAndRepeat) {
  const Audio input = test::Plucks(48000);
  const auto render = [&](uint32_t variation) {
    ShellCore core;
    core.LoadPresetByName("Major Sky");
    core.SetVariation(variation);
    core.Activate(48000.0);
    return Stream(core, input, 480);
  };
  const Audio first = render(1);
  EXPECT_EQ(render(1), first);
  EXPECT_NE(render(2), first);
  EXPECT_EQ(test::Differences(test::RenderReference(test::FactoryPreset("Major Sky"), input), render(0), 48),
            0u);
}

TEST(PluginCore, ThePictureOfTheTapsIsWhereTheTapsAre) {
  // One dry-free voice without effect: an impulse comes out where its tap is. One impulse every 50 ms.
  ShellCore core;
  core.SetSettingsText(
      R"({"schema": 1, "parameters": {"Prismel_FXType": "off", "Prismel_Voices": 1, "Prismel_Wet": 1,
      "Prismel_Prismelion": 0.6, "Prismel_HPFCutoff": "20 Hz", "LFOPrismelAmount": 0, "LFOPrimaryAmount": 0}})");
  core.Activate(48000.0);
  core.Live();  // somebody looks
  const Audio silence(2, std::vector<float>(3840)), pulse(2, [] {
    std::vector<float> block(48);
    block[0] = 1.0f;
    return block;
  }());
  size_t checked = 0;
  for (int pulses = 0; pulses < 100; ++pulses) {
    Stream(core, silence, 480);
    Stream(core, pulse, 48);
    const LiveView view =
        core.Live();  // of the block that begins with the impulse, heard from the next call on
    const Audio heard = Stream(core, silence, 48);
    if (pulses < 40) continue;  // the read-out of "Prismelion" has settled
    for (size_t side = 0; side < 2; ++side) {
      const auto peak = std::max_element(heard[side].begin(), heard[side].end(),
                                         [](float a, float b) { return std::abs(a) < std::abs(b); });
      const double heardMs = static_cast<double>(peak - heard[side].begin()) / 48.0;
      EXPECT_NEAR(view.tapMs[side][0], heardMs, 0.15) << pulses;  // steps of 16 ms
      ++checked;
    }
    EXPECT_EQ(view.activeVoices, 1u);
  }
  EXPECT_EQ(checked, 120u);
  // The spread at voice 1 (ratio 1) is the knob itself; at "Prismelion" 0 that of all left voices is.
  core.LoadPresetByName("Formant Fan");
  core.SetValue(Index("Prismel_Prismelion"), 0.0f);
  for (int i = 0; i < 60; ++i) {
    core.Live();
    Stream(core, silence, 480);
  }
  const LiveView view = core.Live();
  for (size_t voice = 0; voice < 8; ++voice) {
    EXPECT_NEAR(view.spread[0][voice], core.Value(Index("Prismel_BandpassCutoff")), 2e-3) << voice;
  }
}

TEST(PluginCore, WhereNothingRunsThePictureFollowsTheKnobs) {
  // As the first blocks will have it: before any block, and in a host that has stopped.
  ShellCore core;
  core.SetSettingsText(
      R"({"schema": 1, "parameters": {"Prismel_FXType": "comb", "Prismel_Voices": 8, "Prismel_Prismelion": 0.6,
      "CombCutoff": "440 Hz", "LFOPrismelAmount": 0, "LFOPrimaryAmount": 0}})");
  core.Activate(48000.0);
  const LiveView before = core.Live();
  EXPECT_TRUE(before.isAtRest);
  const Audio noise = test::Plucks(480);
  Stream(core, noise, 480);
  const LiveView first = core.Live();
  for (int i = 0; i < 100; ++i) core.Live(), Stream(core, noise, 480);
  const LiveView running = core.Live();
  EXPECT_FALSE(running.isAtRest);
  EXPECT_GT(running.inputDb, -80.0f);
  for (size_t side = 0; side < 2; ++side) {
    for (size_t voice = 0; voice < 8; ++voice) {
      EXPECT_NEAR(before.spread[side][voice], running.spread[side][voice], 2e-3) << voice;
      EXPECT_NEAR(before.tapMs[side][voice], first.tapMs[side][voice], 1e-3) << voice;
    }
  }
  EXPECT_NEAR(before.primary, running.primary, 2e-3);

  Values values;
  for (const char* name : {"Prismel_FXType", "Prismel_Prismelion", "Prismel_CombCutoff"})
    values.Note(Index(name), core.Value(Index(name)));
  RestPicture rest;
  EXPECT_TRUE(rest.IsAtRest(0, 10.0));
  for (int i = 1; i < 8; ++i) EXPECT_FALSE(rest.IsAtRest(480 * i, 10.0 + 0.2 * i));
  EXPECT_FALSE(rest.IsAtRest(480 * 7, 11.8));
  EXPECT_TRUE(rest.IsAtRest(480 * 7, 12.0));
  LiveView stopped = running;
  values.Note(Index("Prismel_CombCutoff"), 0.9f);
  rest.Fill(values, true, stopped);
  EXPECT_EQ(stopped.tapMs, running.tapMs);
  EXPECT_EQ(stopped.primary, 0.9f);
  EXPECT_GT(stopped.spread[0][0], running.spread[0][0]);
  EXPECT_EQ(stopped.outputDb, -80.0f);
}

TEST(PluginCore, AMissingLibraryIsSaidAndTheLinkedEffectPlays) {
  setenv("PRISMEL_LIBRARY", "/nowhere/libprismelProcessor.so", 1);
  ShellCore core;
  core.Activate(48000.0);
  unsetenv("PRISMEL_LIBRARY");
  EXPECT_THAT(core.Message(), testing::HasSubstr("/nowhere/libprismelProcessor.so"));
  const Audio input = test::Plucks(9600);
  EXPECT_EQ(test::Differences(test::RenderReference(test::FactoryPreset("Glass Choir"), input),
                              Stream(core, input), 48),
            0u);
}

}  // namespace
}  // namespace Vantora::plugin
