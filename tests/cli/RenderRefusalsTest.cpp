// What can't be rendered is refused in one sentence, with a status, and leaves nothing behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/cli/CommandRunner.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::AnyOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

void ExpectRefused(const Workspace& here, const std::string& arguments, int status,
                   const std::string& reason) {
  SCOPED_TRACE(arguments);
  const auto before = here.Files();
  const Outcome run = here.Prismel(arguments);
  EXPECT_EQ(run.status, status) << run.err;
  EXPECT_THAT(run.err, HasSubstr(reason));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_THAT(run.err, StartsWith("prismel: "));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(here.Files(), before);
}

TEST(RenderRefusals, InputsThatHoldNoUsableAudio) {
  const Workspace here;
  const Audio tone = MakeTone(2, 48000);
  WriteAudio(here / "good.wav", tone);
  WriteBytes(here / "empty.wav", "");
  WriteBytes(here / "text.wav", std::string(5000, 'x'));
  Audio flac = tone;
  flac.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
  WriteAudio(here / "whole.flac", flac);
  std::string bytes = ReadBytes(here / "whole.flac");
  WriteBytes(here / "cut.flac", bytes.substr(0, bytes.size() / 2));
  Audio none = tone;
  none.samples.clear();
  WriteAudio(here / "silent.wav", none);
  WriteAudio(here / "three.wav", MakeTone(3, 480));
  std::string zeroRate = ReadBytes(here / "good.wav");
  zeroRate.replace(24, 4, std::string(4, '\0'));
  WriteBytes(here / "zero.wav", zeroRate);
  std::string slow = ReadBytes(here / "good.wav");
  slow.replace(24, 4, std::string("\x01\0\0\0", 4));
  WriteBytes(here / "slow.wav", slow);
  std::filesystem::create_directory(here / "folder.wav");

  ExpectRefused(here, "render missing.wav out.wav", 1, "missing.wav: No such file");
  ExpectRefused(here, "render empty.wav out.wav", 1, "empty");
  ExpectRefused(here, "render text.wav out.wav", 1, "not an audio file");
  ExpectRefused(here, "render cut.flac out.wav", 1, "damaged");
  ExpectRefused(here, "render silent.wav out.wav", 1, "no audio");
  ExpectRefused(here, "render three.wav out.wav", 1, "3 channels");
  ExpectRefused(here, "render zero.wav out.wav", 1, "zero.wav");
  ExpectRefused(here, "render slow.wav out.wav", 1, "rate of 1 Hz");
  ExpectRefused(here, "render folder.wav good.wav", 2, "folder");
  ExpectRefused(here, "render good.wav out.wav --start 2", 1, "behind its end");
  ExpectRefused(here, "render - out.wav", 1, "standard input");
}

TEST(RenderRefusals, OutputsThatCannotBe) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 48000));
  WriteBytes(here / "there.wav", "precious");
  std::filesystem::create_symlink("in.wav", here / "link.wav");
  ExpectRefused(here, "render in.wav nowhere/out.wav", 1, "folder nowhere doesn't exist");
  ExpectRefused(here, "render in.wav -o nowhere", 1, "nowhere");
  ExpectRefused(here, "render in.wav there.wav", 1, "-y overwrites");
  ExpectRefused(here, "render in.wav in.wav -y", 2, "same file");
  ExpectRefused(here, "render in.wav link.wav -y", 2, "same file");
  ExpectRefused(here, "render in.wav out.xyz", 2, "ending");
  ExpectRefused(here, "render in.wav out", 2, "ending");
  ExpectRefused(here, "render in.wav out.flac -f float", 2, "can't hold");
  ExpectRefused(here, "render in.wav out.opus --raw-input 44100,2,float", 1,
                "out.opus: can't write: Opus only supports");
  ExpectRefused(here, "render in.wav", 2, "output");
  ExpectRefused(here, "render in.wav in.wav out.wav", 2, "folder");
  EXPECT_EQ(ReadBytes(here / "there.wav"), "precious");
  // A full disk is noticed, at the latest when the file is ended.
  const Outcome full = here.Prismel("render in.wav /dev/full --type wav");
  EXPECT_EQ(full.status, 1);
  EXPECT_THAT(full.err, HasSubstr("No space left"));
}

TEST(RenderRefusals, SettingsThatMeanNothing) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 4800));
  ExpectRefused(here, "render in.wav out.wav -p Prismelon=0.5", 2, "Prismelion");
  ExpectRefused(here, "render in.wav out.wav -p Prismelion=7", 2, "Prismelion");
  ExpectRefused(here, "render in.wav out.wav -p Prismelion=much", 2, "much");
  ExpectRefused(here, "render in.wav out.wav -p HPFCutoff=3dB", 2, "HPFCutoff");
  ExpectRefused(here, "render in.wav out.wav -p Prismelion", 2, "NAME=VALUE");
  ExpectRefused(here, "render in.wav out.wav --tail long", 2, "--tail");
  ExpectRefused(here, "render in.wav out.wav --tail -1", 2, "--tail");
  ExpectRefused(here, "render in.wav out.wav --normalize 3dB", 2, "--normalize");
  ExpectRefused(here, "render in.wav out.wav --bpm 0", 2, "--bpm");
  ExpectRefused(here, "render in.wav out.wav --channels 0", 2, "--channels");
  ExpectRefused(here, "render in.wav out.wav --channels 1,2,3", 2, "--channels");
  ExpectRefused(here, "render in.wav out.wav --format 20", 2, "--format");
  ExpectRefused(here, "render in.wav out.wav --nonsense", 2, "--nonsense");
  ExpectRefused(here, "rnder in.wav out.wav", 2, "rnder");
  for (const char* option :
       {"-P", "-n", "--automation", "--tempo-map", "--channels", "--start", "-p", "--seed"}) {
    ExpectRefused(here, "render in.wav out.wav " + std::string(option) + " ''", 2, "empty");
  }
  for (const char* number : {"nan", "inf", "-inf", "1e400", "0x10"}) {
    ExpectRefused(here, "render in.wav out.wav --bpm " + std::string(number), 2, "--bpm");
    ExpectRefused(here, "render in.wav out.wav --tail " + std::string(number), 2, "--tail");
    ExpectRefused(here, "plot taps x.png --duration " + std::string(number), 2, "--duration");
    ExpectRefused(here, "noise x.wav --gain " + std::string(number), 2, "--gain");
  }
  ExpectRefused(here, "render in.wav out.wav -p InputPower=0", 2, "read-out");
  ExpectRefused(here, "render in.wav out.wav -p Panic=1", 2, "command");
  ExpectRefused(here, "preset save p.json -p Bypass=on", 2, "not part of a preset");
}

TEST(RenderRefusals, PipesAndDevicesWhereFilesBelong) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 4800));
  ASSERT_EQ(here.Shell("mkfifo pipe").status, 0);
  ExpectRefused(here, "--log info --log-file pipe render in.wav out.wav", 1, "is a pipe");
  ExpectRefused(here, "--log-config pipe render in.wav out.wav", 1, "is a pipe");
  ExpectRefused(here, "render in.wav out.wav -P ./pipe", 1, "is a pipe");
  ExpectRefused(here, "render in.wav out.wav -P pipe", 1, "is a pipe");
  ExpectRefused(here, "render in.wav out.wav --automation /dev/zero", 1, "line is far too long");
  // A script's automation needs no file, and a writer may be done before it is asked or take its time.
  EXPECT_EQ(here.Shell("$PRISMEL render -q in.wav out.wav --automation <(echo 0,Wet,1) "
                       "--tempo-map <(sleep 0.2; echo 0,100)")
                .status,
            0);
  EXPECT_EQ(here.Shell("$PRISMEL render -q in.wav straight.wav; cat in.wav >pipe & "
                       "$PRISMEL render -q pipe piped.wav --report r.json")
                .status,
            0);
  EXPECT_EQ(here.Shell("cmp piped.wav straight.wav").status, 0);
  EXPECT_EQ(here.Shell("(sleep 0.3; cat >back.raw <pipe) & $PRISMEL render -q in.wav pipe -t raw; wait; "
                       "$PRISMEL render -q in.wav straight.raw; cmp back.raw straight.raw")
                .status,
            0);
}

TEST(RenderRefusals, PipesWithoutAnOtherEndAreNotWaitedForForever) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 4800));
  ASSERT_EQ(here.Shell("mkfifo pipe").status, 0);
  const std::vector<std::string> commands{"render pipe out.wav",
                                          "render in.wav pipe -t wav",
                                          "render in.wav out.wav --automation pipe",
                                          "render in.wav out.wav --tempo-map pipe",
                                          "render --table pipe -o .",
                                          "plate pipe out.wav",
                                          "plate in.wav out.wav --automation pipe",
                                          "reverb -i in.wav pipe out.wav",
                                          "reverb -i pipe in.wav out.wav",
                                          "plot waveform pipe --csv"};
  std::string all;  // side by side, as each waits a while
  for (size_t i = 0; i < commands.size(); ++i) {
    const std::string n = std::to_string(i);
    all += "mkdir " + n + "; mkfifo " + n + "/pipe; ln in.wav " + n + "; (cd " + n +
           "; timeout 600 $PRISMEL " + commands[i] + " 2>err; echo $? >status) & ";
  }
  here.Shell(all + "wait");
  for (size_t i = 0; i < commands.size(); ++i) {
    const auto folder = here / std::to_string(i);
    EXPECT_EQ(ReadBytes(folder / "status"), "1\n") << commands[i];
    EXPECT_THAT(ReadBytes(folder / "err"), AnyOf(HasSubstr("is a pipe"), HasSubstr("not a regular file")))
        << commands[i];
    // What is at fault is named, not the file that was under way.
    EXPECT_THAT(ReadBytes(folder / "err"), Not(HasSubstr("in.wav"))) << commands[i];
    EXPECT_FALSE(std::filesystem::exists(folder / "out.wav")) << commands[i];
  }
}

TEST(RenderRefusals, LibrariesThatAreNone) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 4800));
  WriteBytes(here / "text.so", "no library");
  ExpectRefused(here, "render in.wav out.wav --library missing.so", 1, "missing.so");
  ExpectRefused(here, "render in.wav out.wav --library text.so", 1, "text.so");
  ExpectRefused(here, "--library libm.so.6 render in.wav out.wav", 1, "libm.so.6");
}

TEST(RenderRefusals, OneBadFileDoesNotStopTheOthersAndIsNamedAtTheEnd) {
  const Workspace here;
  std::filesystem::create_directories(here / "in" / "sub");
  std::filesystem::create_directory(here / "out");
  WriteAudio(here / "in" / "a.wav", MakeTone(2, 4800));
  WriteBytes(here / "in" / "b.wav", "broken");
  WriteAudio(here / "in" / "sub" / "c.wav", MakeTone(1, 4800));
  WriteBytes(here / "in" / "notes.txt", "not audio, not touched");
  const Outcome run = here.Prismel("render in -o out --jobs 2");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("2 of 3 files"));
  EXPECT_THAT(run.err, HasSubstr("failed: in/b.wav\n"));
  EXPECT_EQ(ReadAudio(here / "out" / "a.wav").channels, 2);
  EXPECT_EQ(ReadAudio(here / "out" / "sub" / "c.wav").channels, 1);
  EXPECT_FALSE(std::filesystem::exists(here / "out" / "b.wav"));
  EXPECT_FALSE(std::filesystem::exists(here / "out" / "notes.txt"));
  EXPECT_EQ(here.Prismel("render in/a.wav in/sub/../a.wav -o out").status, 2);
}

TEST(RenderRefusals, AnInterruptedRenderLeavesNothing) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 48000 * 20));
  for (const char* signal : {"INT", "TERM", "HUP", "KILL"}) {
    // An endless tail: the render is under way when the signal comes.
    const Outcome run = here.Shell(
        "set -m; $PRISMEL render -q in.wav out.wav --tail 50000 & pid=$!; "
        "part() { ls .prismel-*.part >/dev/null 2>&1; }; "
        "while ! part; do sleep 0.05; done; sleep 0.1; kill -" +
        std::string(signal) +
        " $pid; wait $pid; status=$?; "
        // The worker of a command that was killed tidies up as soon as it has its turn.
        "while part && [ $((n += 1)) -lt 3000 ]; do sleep 0.02; done; exit $status");
    EXPECT_GT(run.status, 128) << signal;
    EXPECT_THAT(here.Files(), testing::ElementsAre("in.wav")) << signal;
  }
}

}  // namespace
}  // namespace Vantora::cli::tests
