// The factory bank as a user has it: listed, complete, and no surprise in level.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <set>

#include "cli/audio/LoudnessMeter.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"
#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRecordings = "/usr/share/sonic-pi/samples";
constexpr double kLoudestLufs = -11.0, kHighestPeakDb = 0.0;

host::Parameter const& At(const char* name) { return host::ParameterTable::Get().At(name); }

/// A bar and a half of drums, bass and chords: clicks, noise, low and high tones, wide stereo.
Audio MakeMusic() {
  Audio audio;
  audio.rate = 44100;
  audio.channels = 2;
  uint32_t noise = 7;
  for (size_t i = 0; i < 6 * 44100; ++i) {
    const double t = static_cast<double>(i) / 44100.0, beat = std::fmod(t, 0.5),
                 half = std::fmod(t + 0.25, 0.5);
    noise = noise * 1664525u + 1013904223u;
    const double hiss = static_cast<double>(noise) * 0x1p-31 - 1.0;
    const auto tone = [t](double hertz) { return std::sin(2.0 * std::numbers::pi * hertz * t); };
    const double drum = 0.8 * std::exp(-18.0 * beat) * std::sin(2.0 * std::numbers::pi * 60.0 * beat);
    const double snare = 0.3 * std::exp(-25.0 * half) * hiss;
    const double bass = 0.25 * tone(55.0) + 0.1 * tone(110.0);
    const double left = 0.08 * (tone(220.0) + tone(277.2) + tone(659.3)),
                 right = 0.08 * (tone(329.6) + tone(440.0));
    audio.samples.push_back(static_cast<float>(drum + snare + bass + left));
    audio.samples.push_back(static_cast<float>(drum + 0.7 * snare + bass + right));
  }
  return audio;
}

LoudnessMeter Measure(const Audio& audio) {
  LoudnessMeter meter(audio.rate, audio.channels);
  meter.Add(audio.samples.data(), audio.Frames());
  return meter;
}

class FactoryPresets : public testing::Test {
 protected:
  /// Every preset over `name`, a file of the workspace, brought to -14 LUFS first.
  void RenderAll(const std::string& name) {
    const Outcome ready = workspace.Prismel(
        fmt::format("render -q {} in.wav -p Wet=0 --stereo --tail 0 -f float -y --normalize -14LUFS", name));
    ASSERT_EQ(ready.status, 0) << ready.err;
    for (const host::PresetEntry& entry : bank) {
      const Outcome done =
          workspace.Prismel(fmt::format("render -q in.wav out.wav -y -f float -P '{}'", entry.name));
      ASSERT_EQ(done.status, 0) << done.err;
      const LoudnessMeter meter = Measure(ReadAudio(workspace / "out.wav"));
      EXPECT_LE(meter.IntegratedLufs(), kLoudestLufs) << entry.name << " over " << name;
      EXPECT_LE(meter.PeakDb(), kHighestPeakDb) << entry.name << " over " << name;
      EXPECT_GE(meter.IntegratedLufs(), -32.0) << entry.name << " over " << name;
    }
  }

  Workspace workspace;
  std::vector<host::PresetEntry> bank = host::ListPresets(PRISMEL_PRESETS);
};

TEST_F(FactoryPresets, AreListedInOneLineEach) {
  const Outcome listed = workspace.Shell("HOME=/nonexistent \"$PRISMEL\" preset list");
  EXPECT_EQ(listed.status, 0);
  EXPECT_EQ(listed.err, "");
  size_t lines = 0;
  for (const char c : listed.out) lines += c == '\n' ? 1 : 0;
  EXPECT_EQ(lines, bank.size());
  for (const host::PresetEntry& entry : bank) EXPECT_THAT(listed.out, testing::HasSubstr(entry.description));
}

TEST_F(FactoryPresets, ShowTheRangeOfTheEffectAndLeaveNothingToChance) {
  std::set<std::string> names, effects, distortions, shapes, rates;
  bool hasFeedback = false;
  for (const host::PresetEntry& entry : bank) {
    std::vector<std::string> warnings;
    const host::Preset preset = host::ReadPreset(entry.path, &warnings);
    EXPECT_THAT(warnings, testing::IsEmpty());
    EXPECT_FALSE(preset.description.empty()) << entry.name;
    EXPECT_EQ(preset.description.find('\n'), std::string::npos) << entry.name;
    names.insert(preset.name);
    const auto text = [&preset](const char* name) { return At(name).Text(preset.ValueOf(At(name))); };
    effects.insert(text("FXType"));
    if (text("FXType") == "distortion") distortions.insert(text("DistortionAlgorithm"));
    if (text("FXType") == "harmonizer") hasFeedback |= preset.ValueOf(At("HarmonizerSpray")) > 0.5f;
    // A host that doesn't know what presets fall back to must not end up with the LFO at full depth.
    const char* const amounts[] = {"LFOPrismelAmount", "LFOPrimaryAmount"};
    for (const char* amount : amounts) {
      EXPECT_TRUE(preset.values.contains(At(amount).Index())) << entry.name << ' ' << amount;
      if (At(amount).ToValue(preset.ValueOf(At(amount))) == 0.0f) continue;
      shapes.insert(text("LFOShapeType"));
      rates.insert(text("LFORateType"));
    }
  }
  EXPECT_GE(bank.size(), 16u);
  EXPECT_EQ(names.size(), bank.size());
  EXPECT_EQ(effects.size(), 6u);
  EXPECT_EQ(distortions.size(), 4u);
  EXPECT_EQ(shapes.size(), 6u);
  EXPECT_THAT(rates, testing::IsSupersetOf({"free", "synced straight"}));
  EXPECT_TRUE(hasFeedback);
}

TEST_F(FactoryPresets, StayBelowMinus11LufsAndFullScaleOverGeneratedMusic) {
  WriteAudio(workspace / "music.wav", MakeMusic());
  RenderAll("music.wav");
}

TEST_F(FactoryPresets, StayBelowMinus11LufsAndFullScaleOverRecordings) {
  if (!fs::is_directory(kRecordings)) GTEST_SKIP() << "no recordings in " << kRecordings;
  for (const char* recording : {"ambi_piano", "loop_amen"}) {
    RenderAll(fmt::format("{}/{}.flac", kRecordings, recording));
  }
}

}  // namespace
}  // namespace Vantora::cli::tests
