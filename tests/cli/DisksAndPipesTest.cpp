// Disks that fill up, files that break off, streams that nobody reads: what was lost is said, the old file
// stays, and nothing is left lying about.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/cli/CommandRunner.h"
#include "tests/support/Signals.h"

namespace Vantora::cli::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kDry = "-q -p Bypass=on --tail 0 ";

TEST(DisksAndPipes, AFullDiskIsAFailureAtEveryLengthForEveryKindOfFileAndTheOldOneStays) {
  const Workspace here;
  Audio noise = MakeTone(2, 96000);
  noise.samples = test::Noise(noise.samples.size(), 1, 0.5f);
  WriteAudio(here / "in.wav", noise);
  for (const std::string kind : {"wav", "aiff", "flac", "ogg", "opus", "mp3", "caf", "w64", "rf64", "au"}) {
    ASSERT_EQ(here.Prismel("render " + std::string(kDry) + "in.wav whole." + kind).status, 0) << kind;
    const auto size = std::filesystem::file_size(here / ("whole." + kind));
    // `ulimit` counts in kilobytes. The last one is where only the closing header or frame finds no room.
    for (const auto kilobytes :
         {std::max<uintmax_t>(size / 50 / 1024, 1), size / 2 / 1024, (size - 1) / 1024}) {
      WriteBytes(here / ("out." + kind), "old");
      const Outcome run = here.Shell("trap '' XFSZ; ulimit -f " + std::to_string(kilobytes) +
                                     "; $PRISMEL render " + kDry + "-y in.wav out." + kind);
      EXPECT_EQ(run.status, 1) << kind << " within " << kilobytes << " KB of " << size << " bytes";
      EXPECT_THAT(run.err, HasSubstr("can't write")) << kind;
      EXPECT_EQ(ReadBytes(here / ("out." + kind)), "old") << kind;
    }
  }
  EXPECT_THAT(here.Files(), Not(Contains(StartsWith("."))));
  const Outcome stash = here.Shell("trap '' XFSZ; ulimit -f 100; $PRISMEL render -n -1dB in.wav n.mp3");
  EXPECT_EQ(stash.status, 1);
  EXPECT_THAT(stash.err, HasSubstr("temporary file"));
}

TEST(DisksAndPipes, AFileThatEndsBeforeItsTimeIsRefusedUnlessItIsWanted) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 48000));
  for (const std::string kind : {"wav", "aiff", "au", "w64", "rf64", "caf", "flac", "ogg", "opus", "mp3"}) {
    ASSERT_EQ(here.Prismel("render " + std::string(kDry) + "in.wav whole." + kind).status, 0);
    EXPECT_EQ(here.Prismel("render " + std::string(kDry) + "-y whole." + kind + " again.wav").status, 0)
        << kind;
    const std::string bytes = ReadBytes(here / ("whole." + kind));
    WriteBytes(here / ("cut." + kind), bytes.substr(0, bytes.size() / 2));
    const Outcome refused = here.Prismel("render cut." + kind + " out.wav");
    EXPECT_EQ(refused.status, 1) << kind;
    EXPECT_THAT(refused.err, HasSubstr("damaged")) << kind;
    EXPECT_THAT(refused.err, HasSubstr("--damaged")) << kind;
    const Outcome taken = here.Prismel("render -y --damaged --tail 0 cut." + kind + " out.wav");
    EXPECT_EQ(taken.status, 0) << kind << ": " << taken.err;
    EXPECT_NEAR(static_cast<double>(ReadAudio(here / "out.wav").Frames()), 24000.0, 10000.0) << kind;
    std::filesystem::remove(here / "out.wav");
  }
  EXPECT_THAT(here.Prismel("render - out.wav", ReadBytes(here / "cut.wav")).err, HasSubstr("damaged"));
  for (const std::string kind : {"wav", "aiff", "au", "w64", "ogg", "opus", "mp3"}) {
    const Outcome cut = here.Shell("cat cut." + kind + " | $PRISMEL render -y - out.wav");
    EXPECT_EQ(cut.status, 1) << kind;
    EXPECT_THAT(cut.err, HasSubstr("damaged")) << kind;
    const Outcome whole = here.Shell("cat whole." + kind + " | $PRISMEL render -y - out.wav");
    EXPECT_EQ(whole.status, 0) << kind << ": " << whole.err;
  }
  // Who wants a part of a stream doesn't wait for its end.
  const Outcome endless = here.Shell(
      "mkfifo f; (cat whole.au; exec sleep 600) >f & timeout 300 $PRISMEL render -y --duration 0.5 - out.wav "
      "<f; "
      "s=$?; kill $!; exit $s");
  EXPECT_EQ(endless.status, 0) << endless.err;
  // Headers that leave the length open are no damage.
  const Outcome open =
      here.Shell("$PRISMEL render -q in.wav - | cat >open.wav; $PRISMEL render -qy open.wav out.wav");
  EXPECT_EQ(open.status, 0) << open.err;
  // What can't be told from a pipe is refused without a length nobody has.
  ASSERT_EQ(here.Prismel("render -qy in.wav whole.caf").status, 0);
  const Outcome caf = here.Shell("cat whole.caf | $PRISMEL render - caf.wav");
  EXPECT_EQ(caf.status, 1);
  EXPECT_THAT(caf.err, HasSubstr("pipe"));
}

TEST(DisksAndPipes, StandardOutputThatIsARegularFileGetsItsLengths) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 12000));
  const Outcome run =
      here.Shell("{ printf 0123456789; $PRISMEL render " + std::string(kDry) +
                 "in.wav -; } >both; tail -c +11 both >out.wav; $PRISMEL render " + kDry +
                 "in.wav straight.wav; $PRISMEL render " + kDry + "in.wav - | cat >piped.wav");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(ReadBytes(here / "both").substr(0, 10), "0123456789");
  const std::string mended = ReadBytes(here / "out.wav"), piped = ReadBytes(here / "piped.wav");
  EXPECT_EQ(mended.substr(40, 4), std::string("\x00\x77\x01\x00", 4));  // 12000 frames of 8 bytes
  EXPECT_EQ(piped.substr(40, 4), "\xff\xff\xff\xff");
  EXPECT_EQ(mended.substr(44), piped.substr(44));
  EXPECT_EQ(ReadAudio(here / "out.wav").samples, ReadAudio(here / "straight.wav").samples);
}

TEST(DisksAndPipes, MessagesThatCannotBeWrittenCostNothingAndPrintedTextThatCannotIsAnError) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(2, 12000));
  ASSERT_EQ(here.Prismel("render in.wav good.wav").status, 0);
  for (const char* where : {"2>&-", "2>/dev/full"}) {
    EXPECT_EQ(here.Prismel(std::string("render -y in.wav out.wav ") + where).status, 0) << where;
    EXPECT_EQ(ReadBytes(here / "out.wav"), ReadBytes(here / "good.wav")) << where;
    EXPECT_EQ(here.Prismel(std::string("render missing.wav out.wav ") + where).status, 1) << where;
  }
  for (const char* command :
       {"info", "params", "preset list", "preset show 'Glass Choir'",
        "preset diff 'Glass Choir' 'Slow Prism'", "plate --params", "help", "--version"}) {
    for (const char* where : {">/dev/full", ">&-"}) {
      const Outcome run = here.Prismel(std::string(command) + " " + where);
      EXPECT_EQ(run.status, 1) << command << where;
      EXPECT_THAT(run.err, StartsWith("prismel: standard output: can't write: ")) << command << where;
    }
  }
}

TEST(DisksAndPipes, ARunRemovesWhatKilledOnesLeftButNothingThatGrows) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 4800));
  const Outcome run = here.Shell(
      "set -m; $PRISMEL render -q in.wav a.wav --tail 50000 & dead=$!\n"
      "while ! ls .prismel-*.part >/dev/null 2>&1; do sleep 0.02; done; kill -KILL -- -$dead\n"
      "wait $dead; while kill -0 -- -$dead 2>/dev/null && [ $((n += 1)) -lt 100 ]; do sleep 0.02; done\n"
      "left=$(ls .prismel-*.part); echo $left\n"
      "$PRISMEL render -q in.wav b.wav --tail 50000 & alive=$!\n"
      "while { [ -e $left ] || ! ls .prismel-*.part >/dev/null 2>&1; } && [ $((m += 1)) -lt 3000 ]; do\n"
      "  sleep 0.02\n"
      "done\n"
      "$PRISMEL render -q in.wav c.wav --tail 0; ls .prismel-*.part | wc -l; kill $alive; wait $alive; true");
  EXPECT_THAT(run.out, testing::MatchesRegex("\\.prismel-.*\\.part\n1\n"));
  EXPECT_THAT(here.Files(), ElementsAre("c.wav", "in.wav"));
}

TEST(DisksAndPipes, ALinkStaysALinkAndAFilesPermissionsStay) {
  const Workspace here;
  WriteAudio(here / "in.wav", MakeTone(1, 4800));
  std::filesystem::create_symlink("target.wav", here / "link.wav");
  ASSERT_EQ(here.Prismel("render -q in.wav link.wav").status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(here / "link.wav"));
  EXPECT_GT(std::filesystem::file_size(here / "target.wav"), 4800u);
  EXPECT_EQ(
      here.Shell("chmod 640 target.wav; $PRISMEL render -qy in.wav link.wav; stat -c %a target.wav").out,
      "640\n");
}

}  // namespace
}  // namespace Vantora::cli::tests
