#include "host/Preset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "host/files/PresetFile.h"
#include "host/files/PresetFolder.h"
#include "tests/host/FakeLibrary.h"
#include "tests/support/TempFolder.h"

namespace Vantora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const Parameter& At(const char* name) { return ParameterTable::Get().At(name); }

std::string Refusal(const std::string& json) {
  try {
    Preset::Parse(json, "some.json");
  } catch (const HostError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Preset, ReadsMusicalValuesAndFallsBackToThePreferredOnes) {
  const Preset preset = Preset::Parse(R"({"schema": 1, "name": "A", "description": "B", "parameters": {
      "Prismel_FXType": "comb", "CombCutoff": "440Hz", "Prismel_Wet": 0.25, "Voices": 3}})",
                                      "a.json");
  EXPECT_EQ(preset.name, "A");
  EXPECT_EQ(preset.description, "B");
  EXPECT_EQ(At("FXType").ToValue(preset.ValueOf(At("FXType"))), 2.0f);
  EXPECT_FLOAT_EQ(At("CombCutoff").ToValue(preset.ValueOf(At("CombCutoff"))), 440.0f);
  EXPECT_EQ(preset.ValueOf(At("Wet")), 0.25f);
  EXPECT_EQ(At("Voices").ToValue(preset.ValueOf(At("Voices"))), 3.0f);
  // The effect itself starts at full LFO depth; a preset that says nothing wants none.
  EXPECT_EQ(At("LFOPrismelAmount").ToValue(preset.ValueOf(At("LFOPrismelAmount"))), 0.0f);
  EXPECT_FLOAT_EQ(At("HPFCutoff").ToValue(preset.ValueOf(At("HPFCutoff"))), 250.0f);
}

TEST(Preset, WarnsOfUnknownNamesAndRefusesWrongValues) {
  std::vector<std::string> warnings;
  const Preset preset = Preset::Parse(R"({"schema": 1, "mood": 3, "parameters": {
      "Prismel_Future": 1, "Detune": 3, "Panic": 1, "Wet": 1}})",
                                      "folder/b.json", &warnings);
  EXPECT_EQ(preset.name, "b");
  EXPECT_EQ(preset.values.size(), 1u);
  ASSERT_EQ(warnings.size(), 4u);
  for (const char* name : {"mood", "Prismel_Future", "Detune", "Panic"}) {
    EXPECT_THAT(warnings, testing::Contains(HasSubstr(name)));
  }

  const auto with = [](const char* parameters) {
    return std::string(R"({"schema": 1, "parameters": )") + parameters + "}";
  };
  EXPECT_THAT(Refusal(with(R"({"Wet": 1.5})")), HasSubstr("Prismel_Wet takes 0 to 1"));
  EXPECT_THAT(Refusal(with(R"({"FXType": "flanger"})")), HasSubstr("is none of these"));
  EXPECT_THAT(Refusal(with(R"({"Wet": null})")), HasSubstr("not nothing"));
  EXPECT_THAT(Refusal(with(R"({"Wet": [1]})")), HasSubstr("not a list"));
  EXPECT_THAT(Refusal(with(R"({"Wet": 1, "Prismel_Wet": 0.5})")), HasSubstr("set twice"));
  EXPECT_THAT(Refusal(with("3")), HasSubstr("no \"parameters\""));
  EXPECT_THAT(Refusal(R"({"parameters": {}})"), HasSubstr("no \"schema\""));
  EXPECT_THAT(Refusal(R"({"schema": 2, "parameters": {}})"), HasSubstr("schema 2"));
  EXPECT_THAT(Refusal(R"({"schema": 1, "name": 5, "parameters": {}})"), HasSubstr("\"name\" must be a text"));
  EXPECT_THAT(Refusal(R"({"schema": "1", "parameters": {}})"), HasSubstr("whole number from 1 on"));
  EXPECT_THAT(Refusal(R"({"schema": 18446744073709551615, "parameters": {}})"),
              HasSubstr("18446744073709551615"));
  EXPECT_THAT(Refusal(R"({"schema": 1, "schema": 1, "parameters": {}})"),
              HasSubstr("\"schema\" stands in it twice"));
  EXPECT_THAT(Refusal(with(R"({"Wet": 0.1, "Wet": 0.9})")), HasSubstr("\"Wet\" stands in it twice"));
  EXPECT_THAT(Refusal(with(R"({"Wet": 1e999})")), HasSubstr("beyond all ranges"));
  EXPECT_THAT(Refusal("{"), HasSubstr("not JSON"));
  EXPECT_THAT(Refusal("[]"), HasSubstr("not a JSON object"));
  EXPECT_THAT(Refusal("\xff\xfe"), HasSubstr("not JSON"));
}

TEST(Preset, WhatIsWrittenReadsBackTheSame) {
  const testsupport::TempFolder folder;
  const std::filesystem::path root(folder.Path());
  Preset preset;
  preset.name = "Quoted \"name\", with \u00fcmlaut";
  preset.description = "One line";
  float position = 0.013f;
  for (const Parameter& parameter : ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    preset.values[parameter.Index()] =
        parameter.IsStepped() ? parameter.ToNormalized(parameter.ToValue(position)) : position;
    position = position < 0.97f ? position + 0.0217f : 0.011f;
  }
  const auto path = root / "p.json";
  WritePreset(preset, path);
  WritePreset(preset, path);  // over the old one
  std::vector<std::string> warnings;
  const Preset again = ReadPreset(path, &warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(again.name, preset.name);
  EXPECT_EQ(again.description, preset.description);
  for (const auto& [index, value] : preset.values) {
    const Parameter& parameter = ParameterTable::Get()[index];
    EXPECT_NEAR(again.ValueOf(parameter), value, 1e-6f) << parameter.UniqueName();
  }
  EXPECT_EQ(again.ToJson(), preset.ToJson());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root), {}), 1) << "nothing left beside it";
  EXPECT_THROW(WritePreset(preset, root / "missing" / "p.json"), HostError);
}

TEST(Preset, IsAppliedAsAWholeBetweenTheTwoEndsOfLoading) {
  FakeLibrary fake;
  HostedProcessor processor(fake.library);
  Preset preset;
  preset.values[At("Wet").Index()] = 0.75f;
  preset.Apply(processor);
  const auto& writes = fake.record->writes;
  const uint32_t loading = At("PresetLoading").Index();
  ASSERT_GT(writes.size(), 30u);
  EXPECT_EQ(writes.front().index, loading);
  EXPECT_EQ(writes.front().value, 1.0f);
  EXPECT_EQ(writes.back().index, loading);
  EXPECT_EQ(writes.back().value, 0.0f);
  for (const auto& write : writes) {
    EXPECT_NE(write.index, At("Bypass").Index());
    if (write.index == At("Wet").Index()) {
      EXPECT_EQ(write.value, 0.75f);
    }
  }
  const auto queued = preset.Writes();
  ASSERT_EQ(queued.size(), writes.size());
  for (size_t i = 0; i < queued.size(); ++i) {
    EXPECT_EQ(queued[i].index, writes[i].index);
    EXPECT_EQ(queued[i].normalized, writes[i].value);
  }
  EXPECT_EQ(Preset::Capture(processor).ValueOf(At("Wet")), 0.75f);
}

TEST(Preset, ComparesWholeSounds) {
  Preset a, b;
  a.values[At("Wet").Index()] = 0.75f;
  b.values[At("HPFCutoff").Index()] = At("HPFCutoff").PreferredNormalized();  // named, but not different
  b.values[At("FXType").Index()] = 1.0f;
  const auto differences = Compare(a, b);
  ASSERT_EQ(differences.size(), 2u);
  EXPECT_EQ(differences[0].parameter, &At("Wet"));
  EXPECT_EQ(differences[0].second, 0.5f);
  EXPECT_EQ(differences[1].parameter, &At("FXType"));
}

TEST(Preset, AFolderListsGoodAndBadFilesAndFindsByFileOrName) {
  const testsupport::TempFolder folder;
  const std::filesystem::path root(folder.Path());
  std::ofstream(root / "b.json") << R"({"schema": 1, "name": "Bright Bells", "parameters": {}})";
  std::ofstream(root / "a.json") << "broken";
  std::ofstream(root / "notes.txt") << "no preset";
  const auto entries = ListPresets(root);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_THAT(entries[0].error, HasSubstr("not JSON"));
  EXPECT_EQ(entries[1].name, "Bright Bells");
  EXPECT_EQ(entries[1].error, "");

  const std::vector<std::filesystem::path> folders{root / "missing", root};
  const auto expected = root / "b.json";
  EXPECT_EQ(FindPreset("bright bells", folders), expected);
  EXPECT_EQ(FindPreset("b", folders), expected);
  EXPECT_EQ(FindPreset("b.json", folders), expected);
  EXPECT_EQ(FindPreset(expected.string(), {}), expected);
  EXPECT_THROW(FindPreset("c", folders), HostError);
  EXPECT_THROW(FindPreset("x/b", folders), HostError);
  EXPECT_THROW(ListPresets(root / "missing"), HostError);
  EXPECT_THROW(ReadPreset(root), HostError);
}

TEST(Preset, FoldersAreFoundForAPluginInAForeignProgram) {
  const testsupport::TempFolder folder;
  const std::filesystem::path root(folder.Path());
  const auto bundle = root / "lib/vst3/p.vst3/Contents";
  const auto module = bundle / "x86_64-linux/p.so";
  for (const auto& made : {root / "config/prismel/presets", root / "named", root / "share/prismel/presets",
                           bundle / "Resources/presets", module.parent_path()}) {
    std::filesystem::create_directories(made);
  }
  std::filesystem::copy_file(FakePath("good"), module);
  void* plugin = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(plugin, nullptr);
  setenv("PRISMEL_PRESETS", (root / "named").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
  const auto folders = PresetFolders(dlsym(plugin, kFakeRecordFunction));
  EXPECT_EQ(UserPresetFolder(), root / "config/prismel/presets");
  const auto without = PresetFolders();
  unsetenv("PRISMEL_PRESETS");
  unsetenv("XDG_CONFIG_HOME");
  dlclose(plugin);

  ASSERT_GE(folders.size(), 4u);
  EXPECT_EQ(folders[0], root / "named");
  EXPECT_EQ(folders[1], root / "config/prismel/presets");
  EXPECT_EQ(folders[2], bundle / "Resources/presets");
  EXPECT_EQ(folders[3], root / "share/prismel/presets");
  EXPECT_THAT(without, testing::Not(testing::Contains(root / "share/prismel/presets")));
}

}  // namespace
}  // namespace Vantora::host
