// The commands beside render: lists, information, help, pictures, modules, log, and the README as printed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(Params, TheTableOffersWhatAMusicianMaySetAndJsonHasAll228) {
  const Workspace here;
  const std::string table = here.Prismel("params").out;
  EXPECT_THAT(table, HasSubstr("Prismel_Prismelion"));
  EXPECT_THAT(table, Not(HasSubstr("Prismel_FXL_")));
  EXPECT_LT(table.find("Prismel_Prismelion"), table.find("LFO_PhaseInit"));
  EXPECT_THAT(here.Prismel("params --all").out, HasSubstr("Prismel_FXL_"));
  for (const char* internal : {"GUI Visible", "PresetLoading", "Conf", "Panic", "ToolTip", "InputAnalyzer"}) {
    EXPECT_THAT(table, Not(HasSubstr(internal)));
  }
  const auto all = nlohmann::json::parse(here.Prismel("params --all --json").out);
  ASSERT_EQ(all.size(), 228u);
  for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i]["index"], i);
  EXPECT_EQ(all[156]["name"], "Prismel_HPFCutoff");
  EXPECT_EQ(all[156]["unit"], "Hz");
  EXPECT_EQ(all[156]["startText"], "250 Hz");
  EXPECT_EQ(all[169]["labels"].size(), 6u);
  // Every start value is read back as it is printed.
  WriteAudio(here / "in.wav", MakeTone(1, 480));
  std::string sets;
  for (const auto& entry : nlohmann::json::parse(here.Prismel("params --json").out)) {
    sets += " -p '" + std::string(entry["name"]) + "=" + std::string(entry["startText"]) + "'";
  }
  const Outcome run = here.Prismel("render -q in.wav out.wav" + sets);
  EXPECT_EQ(run.status, 0) << run.err;
}

TEST(Info, TellsTheLibraryAndItsSurroundings) {
  const Workspace here;
  const auto info = nlohmann::json::parse(here.Prismel("info --json").out);
  EXPECT_EQ(info["name"], "Qfx PRISMEL");
  EXPECT_EQ(info["interface"], 7);
  EXPECT_EQ(info["parameters"], 228);
  EXPECT_THAT(std::string(info["library"]), HasSubstr("libprismelProcessor.so"));
  EXPECT_FALSE(info["searchFolders"].empty());
  EXPECT_EQ(here.Prismel("info").status, 0);
}

TEST(Help, EveryCommandExplainsItselfAndTheManPageHasThemAll) {
  const Workspace here;
  const std::string overview = here.Prismel("help").out;
  const Outcome man =
      here.Shell("$PRISMEL generate man > p.1 && man --warnings -l p.1 2>/dev/null | cat; cat p.1");
  for (const char* command : {"render", "params", "info", "preset", "plot", "noise", "plate", "reverb"}) {
    EXPECT_THAT(overview, HasSubstr(command));
    const Outcome help = here.Prismel("help " + std::string(command));
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(here.Prismel(std::string(command) + " --help").out, help.out);
    EXPECT_THAT(man.out, HasSubstr(".SS prismel " + std::string(command)));
  }
  // Start values and choices come from the options themselves.
  EXPECT_THAT(man.out, HasSubstr("One of: seconds, frames, beats. Without it: seconds."));
  EXPECT_THAT(man.out, HasSubstr("From 1 to 1000. Without it: 120."));
  for (const char* part : {"EXIT STATUS", "ENVIRONMENT", "EXAMPLES"}) EXPECT_THAT(man.out, HasSubstr(part));
  EXPECT_THAT(here.Prismel("help preset save").out, HasSubstr("--description"));
  EXPECT_EQ(here.Prismel("help nonsense").status, 2);
  EXPECT_EQ(here.Prismel("").status, 2);
  EXPECT_EQ(here.Prismel("--version").status, 0);
}

TEST(Completion, BashCompletesCommandsOptionsNamesAndPresets) {
  const Workspace here;
  const auto complete = [&here](const std::string& words) {
    return here
        .Shell(
            "export PRISMEL_PRESETS=$PWD PATH=\"$(dirname $PRISMEL):$PATH\"; source <($PRISMEL generate "
            "bash); compopt() { :; }; "
            "COMP_WORDS=(" +
            words +
            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _prismel; "
            "printf '%s\\n' \"${COMPREPLY[@]}\"")
        .out;
  };
  EXPECT_EQ(complete("prismel ren"), "render\n");
  EXPECT_EQ(complete("prismel preset sa"), "save\n");
  EXPECT_EQ(complete("prismel render --norm"), "--normalize\n");
  EXPECT_EQ(complete("prismel render --set Prismel_Voi"), "Prismel_Voices=\n");
  WriteBytes(here / "glass.json", R"({"schema": 1, "name": "Glass Choir", "parameters": {}})");
  EXPECT_THAT(complete("prismel render --preset Glass"), HasSubstr("Glass\\ Choir\n"));
  EXPECT_THAT(complete("prismel render -P gla"), HasSubstr("glass.json\n"));
  EXPECT_THAT(complete("prismel preset show Glass"), HasSubstr("Glass\\ Choir\n"));
  EXPECT_EQ(complete("prismel render -p CombCut"), "CombCutoff=\n");
  EXPECT_EQ(complete("prismel plate -p Deca"), "Decay=\n");
  EXPECT_EQ(complete("prismel reverb -p PreD"), "PreDelayMs=\n");
}

TEST(Completion, ZshCompletesWhatAPersonTypes) {
  const Workspace here;
  if (here.Shell("command -v zsh").status != 0)
    GTEST_SKIP() << "zsh is missing; scripts/setup --nightly installs it";
  ASSERT_EQ(here.Shell("$PRISMEL generate zsh >_prismel").status, 0);
  WriteBytes(here / "glass.json", R"({"schema": 1, "name": "Glass Choir", "parameters": {}})");
  const std::pair<const char*, const char*> lines[] = {
      {"prismel ren", "prismel render "},
      {"prismel preset sh", "prismel preset show "},
      {"prismel render --norm", "prismel render --normalize "},
      {"prismel render a.wav -P 'Glass C", "prismel render a.wav -P 'Glass Choir' "},
      {"prismel plate -p Dec", "prismel plate -p Decay="},
      {"prismel noise --color vio", "prismel noise --color violet "},
      {"prismel plot spect", "prismel plot spectrogram "},
  };
  for (const auto& [typed, completed] : lines) {
    const Outcome run =
        here.Shell("export PRISMEL_PRESETS=$PWD PATH=\"$(dirname $PRISMEL):$PATH\"; timeout 600 " +
                   std::string(PRISMEL_SOURCE_DIR "/tests/cli/zsh-completion \"$PWD\" ") + '"' + typed + '"');
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("<<<" + std::string(completed) + ">>>")) << typed;
  }
}

TEST(Noise, IsTheSameForASeedAndAnotherForAnother) {
  const Workspace here;
  for (const char* run : {"a.wav", "b.wav", "c.wav --seed 2", "d.wav --color pink",
                          "e.wav --color Variable -p NoiseColor=0.2"}) {
    ASSERT_EQ(here.Prismel("noise --duration 0.5 --stereo " + std::string(run)).status, 0) << run;
  }
  const Audio a = ReadAudio(here / "a.wav");
  ASSERT_EQ(a.Frames(), 24000u);
  EXPECT_EQ(ReadBytes(here / "a.wav"), ReadBytes(here / "b.wav"));
  EXPECT_NE(ReadBytes(here / "a.wav"), ReadBytes(here / "c.wav"));
  EXPECT_NE(a.samples[1000], a.samples[1001]);  // the channels differ
  double power = 0.0;
  for (const float x : a.samples) power += static_cast<double>(x) * static_cast<double>(x) / 48000.0;
  EXPECT_NEAR(power, 0.0631 / 3.0, 0.001);  // uniform noise at -12 dB
  EXPECT_EQ(here.Prismel("noise x.wav --color blue").status, 2);
  EXPECT_EQ(here.Prismel("noise a.wav").status, 1);
}

TEST(Plate, RingsOnBehindTheInputAndTakesItsParametersByName) {
  const Workspace here;
  const Audio in = MakeTone(2, 4800);
  WriteAudio(here / "in.wav", in);
  ASSERT_EQ(here.Prismel("plate in.wav dry.wav -p Wet=0").status, 0);
  EXPECT_EQ(ReadAudio(here / "dry.wav").samples, in.samples);
  ASSERT_EQ(here.Prismel("plate in.wav short.wav -p Decay=0.2").status, 0);
  ASSERT_EQ(here.Prismel("plate in.wav long.wav --set decay=0.8 -p Predelay=20ms").status, 0);
  EXPECT_GT(ReadAudio(here / "long.wav").Frames(), ReadAudio(here / "short.wav").Frames() + 48000);
  const Outcome unknown = here.Prismel("plate in.wav x.wav -p Decy=0.2");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("Decay"));
  EXPECT_EQ(here.Prismel("plate in.wav x.wav -p Predelay=3s").status, 2);
  EXPECT_THAT(here.Prismel("plate --params").out, HasSubstr("MSMix"));
}

TEST(Plate, PresetsAndAutomationAreThoseOfTheEffect) {
  const Workspace here;
  const Audio in = MakeTone(2, 48000);
  WriteAudio(here / "in.wav", in);
  const auto run = [&here](const std::string& line) {
    return here.Shell("export HOME=$PWD/home; $PRISMEL " + line);
  };
  ASSERT_EQ(run("preset save dark.json --module plate -p Decay=0.8 Predelay=20ms --description Dark").status,
            0);
  ASSERT_EQ(run("preset save 'Long Hall' --module plate -P dark.json -p Decay=0.9").status, 0);
  EXPECT_THAT(run("preset list --module plate").out, HasSubstr("Long Hall  Dark"));
  EXPECT_THAT(run("preset show dark.json --module plate").out,
              HasSubstr("Predelay                         20 ms"));
  EXPECT_THAT(run("preset diff dark.json 'long hall' --module plate").out, HasSubstr("Decay"));
  ASSERT_EQ(run("plate in.wav preset.wav -P dark.json").status, 0);
  ASSERT_EQ(run("plate in.wav set.wav -p Decay=0.8 Predelay=20ms").status, 0);
  EXPECT_EQ(ReadBytes(here / "preset.wav"), ReadBytes(here / "set.wav"));
  ASSERT_EQ(run("plate in.wav hall.wav -P 'long hall'").status, 0);
  // A preset belongs to one kind of sound.
  const Outcome foreign = run("render in.wav x.wav -P dark.json");
  EXPECT_EQ(foreign.status, 1);
  EXPECT_THAT(foreign.err, HasSubstr("a preset of \"plate\", not of the effect"));
  EXPECT_THAT(run("reverb in.wav x.wav -i in.wav -P dark.json").err, HasSubstr("not of \"reverb\""));

  WriteBytes(here / "moves.csv", "seconds,parameter,value\n0,Wet,0\n0.5,Wet,1\n");
  ASSERT_EQ(run("plate in.wav moved.wav --automation moves.csv").status, 0);
  const Audio moved = ReadAudio(here / "moved.wav");
  const auto half = static_cast<std::ptrdiff_t>(2 * 23900);
  EXPECT_TRUE(std::equal(in.samples.begin(), in.samples.begin() + half, moved.samples.begin()));
  EXPECT_FALSE(std::equal(in.samples.begin() + half, in.samples.end(), moved.samples.begin() + half));
  WriteBytes(here / "bad.csv", "0,Wett,0\n");
  EXPECT_THAT(run("plate in.wav x.wav --automation bad.csv").err, HasSubstr("line 1: There is no parameter"));
}

TEST(Log, GoesToStandardErrorOrAFileAndNeverIntoTheAudio) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 4800));
  const Outcome run = here.Prismel("info --json --log debug");
  EXPECT_TRUE(nlohmann::json::accept(run.out)) << run.out;
  EXPECT_THAT(run.err, HasSubstr("description"));
  EXPECT_EQ(here.Prismel("info --json --log error,description=assert").err, "");
  ASSERT_EQ(here.Prismel("info --log debug --log-file log.txt").status, 0);
  EXPECT_THAT(ReadBytes(here / "log.txt"), HasSubstr("description"));
  WriteBytes(here / "log.conf", "LogInRelease 1\nLogOutputColors 0\ndescription debug\n");
  EXPECT_THAT(here.Prismel("info --log-config log.conf").err, HasSubstr("description"));
  // Nothing in colours where nobody sees them, and nothing red on a good run.
  for (const char* command :
       {"render in.wav out.wav -qy --log debug", "reverb in.wav out.wav -qy -i in.wav --log debug"}) {
    const Outcome good = here.Prismel(command);
    EXPECT_THAT(good.err, HasSubstr("in.wav: 48000 Hz")) << command;
    EXPECT_THAT(good.err, Not(HasSubstr("\x1b"))) << command;
    EXPECT_THAT(good.err, Not(HasSubstr("error"))) << command;
  }
  EXPECT_EQ(here.Prismel("info --log loud").status, 2);
  EXPECT_EQ(here.Prismel("info --log-config missing.conf").status, 1);
  EXPECT_EQ(here.Prismel("info --log debug --log-file nowhere/log.txt").status, 1);
}

TEST(Readme, ItsCommandsRunAsPrinted) {
  const Workspace here;
  std::istringstream readme(ReadBytes(PRISMEL_SOURCE_DIR "/README.md"));
  std::string script = "set -eu -o pipefail\nexport PATH=\"$(dirname \"$PRISMEL\"):$PATH\"\n";
  bool inside = false;
  size_t commands = 0;
  for (std::string line; std::getline(readme, line);) {
    if (line.starts_with("```")) {
      inside = line == "```sh";
    } else if (inside && !line.starts_with("scripts/") && !line.starts_with("export PATH")) {
      script += line + "\n";
      ++commands;
    }
  }
  EXPECT_GE(commands, 10u);
  const Outcome run = here.Shell(script);
  EXPECT_EQ(run.status, 0) << run.err;
}

}  // namespace
}  // namespace Vantora::cli::tests
