// The command on a machine that fails: each call to the disk, each allocation, one after another; and a batch
// that is killed at any moment. What was there before stays or the whole new file is there, nothing half is
// left behind, one sentence tells what happened, and the next run works.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "tests/cli/CommandRunner.h"
#include "tests/support/Sanitized.h"

extern char** environ;

namespace Vantora::cli::tests {
namespace {

using ::testing::HasSubstr;

bool HasTheNight() { return std::getenv("PRISMEL_LONG_TESTS") != nullptr; }

struct Fault {
  const char* kind;
  const char* error;
};

/// One command and the file that it writes.
struct Work {
  const char* name;
  const char* arguments;
  const char* output;
  long mostTries;  // of each kind, evenly over its calls; the night tries 1000
};

std::vector<std::string> Hidden(const Workspace& here) {
  std::vector<std::string> names = here.Files();
  std::erase_if(names, [](const std::string& name) { return !name.starts_with("."); });
  return names;
}

/// A report says what failed, too: a whole one, then.
bool IsWholeJson(const std::string& text) { return text.ends_with("}\n") && nlohmann::json::accept(text); }

/// Runs `work` with call after call of `fault` failing.
void FailEachCall(const Workspace& here, const Work& work, const Fault& fault, long& runs, long& refused) {
  const std::string old = "what stood here before";
  const std::string place = std::string(work.name) + ", " + fault.kind + " " + fault.error + " ";
  const std::string preload = "LD_PRELOAD=" PRISMEL_FAILING_CALLS " PRISMEL_FAULT_MARK=mark PRISMEL_FAULT=";
  const auto run = [&](long which) {
    std::filesystem::remove(here / "mark");
    WriteBytes(here / work.output, old);
    return here.Shell(preload + fault.kind + ":" + std::to_string(which) + ":" + fault.error + " $PRISMEL " +
                      work.arguments);
  };
  WriteBytes(here / work.output, old);
  const Outcome clean = here.Prismel(work.arguments);
  ASSERT_EQ(clean.status, 0) << place << clean.err;
  const std::string whole = ReadBytes(here / work.output);
  ASSERT_NE(whole, old);

  // How many calls there are: the first one that nothing reaches, by doubling and halving.
  const auto isReached = [&](long which) {
    static_cast<void>(run(which));
    return std::filesystem::exists(here / "mark");
  };
  long least = 0, most = 1;
  while (isReached(most)) least = std::exchange(most, 2 * most);
  while (most - least > 1) (isReached((least + most) / 2) ? least : most) = (least + most) / 2;
  constexpr long kNight = 1000;
  const long step = least / (HasTheNight() ? kNight : work.mostTries) + 1;
  for (long which = 1; which <= least; which += step) {
    const Outcome outcome = run(which);
    ++runs;
    const std::string now = ReadBytes(here / work.output);
    ASSERT_LT(outcome.status, 126) << place << which << ": " << outcome.err;
    if (outcome.status == 0) {
      ASSERT_STRNE(fault.kind, "sync") << place << which << ": a disk that can't write was believed";
      ASSERT_TRUE(now == whole) << place << which << ": well done, and the file is wrong";
    } else {
      ++refused;
      ASSERT_TRUE(now == old || now == whole || IsWholeJson(now))
          << place << which << ": half a file of " << now.size();
      // Where the calls that write messages fail, there is none.
      const bool isMute = std::string(fault.kind) == "buffer" || std::string(fault.kind) == "write";
      ASSERT_TRUE(isMute || outcome.err.find("prismel: ") != std::string::npos)
          << place << which << outcome.err;
    }
    ASSERT_THAT(Hidden(here), testing::IsEmpty()) << place << which;
  }
  ASSERT_EQ(here.Prismel(work.arguments).status, 0);
  ASSERT_TRUE(ReadBytes(here / work.output) == whole) << place << "the next run";
}

class FailingMachine : public testing::Test {
 protected:
  void SetUp() override {
#if defined(PRISMEL_SANITIZED)
    GTEST_SKIP() << "a sanitizer wants to be the first library";
#endif
    WriteAudio(here / "in.wav", MakeTone(2, 2400));
  }
  void Try(const Work& work, const std::vector<Fault>& faults) {
    long runs = 0, refused = 0;
    for (const Fault& fault : faults) {
      FailEachCall(here, work, fault, runs, refused);
      if (HasFatalFailure()) return;
    }
    std::printf("%s: %ld failing calls, %ld refused\n", work.name, runs, refused);
    EXPECT_GT(refused, 0);
  }
  const Workspace here;
};

const std::vector<Fault> kDisk{
    {"open", "EIO"},     {"open", "EMFILE"}, {"read", "EIO"},     {"read", "EINTR"}, {"read", "short"},
    {"write", "ENOSPC"}, {"write", "EINTR"}, {"write", "short"},  {"sync", "EIO"},   {"rename", "EIO"},
    {"truncate", "EIO"}, {"lock", "EINTR"},  {"buffer", "ENOSPC"}};

TEST_F(FailingMachine, ARenderIsWholeOrTheOldFileStays) {
  Try({"render", "render -qy --tail 0 in.wav out.wav", "out.wav", 12}, kDisk);
}

TEST_F(FailingMachine, AnEncodedNormalizedRenderIsWholeOrTheOldFileStays) {
  Try({"render, normalized", "render -qy --tail 0 -n -1dB in.wav out.ogg", "out.ogg", 6},
      {{"read", "EIO"}, {"write", "ENOSPC"}, {"write", "short"}, {"open", "EIO"}, {"buffer", "EIO"}});
}

TEST_F(FailingMachine, AReportIsWholeOrTheOldOneStays) {
  Try({"report", "render -qy --tail 0 in.wav new.wav --report report.json", "report.json", 6},
      {{"open", "EIO"},
       {"read", "EIO"},
       {"write", "ENOSPC"},
       {"sync", "EIO"},
       {"rename", "EIO"},
       {"buffer", "EIO"}});
}

TEST_F(FailingMachine, APresetIsWholeOrTheOldOneStays) {
  Try({"preset", "preset save p.json -y --set Wet=0.4 --set FXType=comb", "p.json", 10}, kDisk);
}

TEST_F(FailingMachine, APictureIsWholeOrTheOldOneStays) {
  if (here.Shell("command -v gnuplot").status != 0) GTEST_SKIP() << "gnuplot isn't installed";
  // The program that draws fails with the same library as ours.
  Try({"picture", "plot lfo -y -o out.svg", "out.svg", 3}, {{"write", "ENOSPC"}, {"rename", "EIO"}});
}

TEST_F(FailingMachine, ARenderWithoutMemoryIsWholeOrTheOldFileStays) {
  Try({"render", "render -qy --tail 0 in.wav out.wav", "out.wav", 40}, {{"memory", "ENOMEM"}});
  Try({"render", "render -qy --tail 0 in.wav out.wav", "out.wav", 20}, {{"memory", "ENOMEM:on"}});
  Try({"report", "render -qy --tail 0 in.wav new.wav --report report.json", "report.json", 20},
      {{"memory", "ENOMEM"}});
  Try({"preset", "preset save p.json -y --set Wet=0.4", "p.json", 20}, {{"memory", "ENOMEM"}});
}

/// The command as a process of its own group, its output thrown away.
pid_t Start(const Workspace& here, std::vector<std::string> words) {
  words.insert(words.begin(), PRISMEL_COMMAND);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  setpgid(0, 0);
  const int nothing = open("/dev/null", O_RDWR);
  for (const int file : {0, 1, 2}) dup2(nothing, file);
  if (chdir(here.Folder().c_str()) != 0) _exit(127);
  execv(PRISMEL_COMMAND, arguments.data());
  _exit(127);
}

TEST_F(FailingMachine, ABatchThatIsKilledLosesNoFileAndTheNextRunTidiesUp) {
  constexpr int kFiles = 6;
  std::filesystem::create_directory(here / "in");
  std::filesystem::create_directory(here / "out");
  std::vector<std::string> whole, names;
  for (int i = 0; i < kFiles; ++i) {
    names.push_back(std::to_string(i) + ".wav");
    WriteAudio(here / ("in/" + names.back()), MakeTone(2, static_cast<size_t>(12000 + 3000 * i)));
  }
  const std::vector<std::string> batch{"render", "-qy", "--jobs", "2", "in", "-o", "out"};
  const auto began = std::chrono::steady_clock::now();
  ASSERT_EQ(here.Prismel("render -qy --jobs 2 in -o out").status, 0);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  for (const std::string& name : names) whole.push_back(ReadBytes(here / ("out/" + name)));

  std::mt19937 random(7);
  int kills = 0, leftovers = 0, changed = 0;
  for (int i = 0, most = HasTheNight() ? 100 : 10; i < most; ++i) {
    for (const std::string& name : names) WriteBytes(here / ("out/" + name), "old");
    const pid_t command = Start(here, batch);
    ASSERT_GT(command, 0);
    const double wait = seconds * static_cast<double>(random() % 1000) / 1000.0;
    const timespec pause{static_cast<time_t>(wait), static_cast<long>((wait - std::floor(wait)) * 1e9)};
    nanosleep(&pause, nullptr);
    // The command alone, whose workers then end by themselves; or all of them at once.
    kills += kill(i % 2 == 0 ? command : -command, SIGKILL) == 0 ? 1 : 0;
    waitpid(command, nullptr, 0);
    for (int tries = 0; kill(-command, 0) == 0 && tries < 500; ++tries) {
      const timespec little{0, 10'000'000};
      nanosleep(&little, nullptr);
    }
    for (int k = 0; k < kFiles; ++k) {
      const std::string now = ReadBytes(here / ("out/" + names[static_cast<size_t>(k)]));
      ASSERT_TRUE(now == "old" || now == whole[static_cast<size_t>(k)])
          << "kill " << i << ", file " << k << ": " << now.size() << " bytes";
      changed += now != "old" ? 1 : 0;
    }
    for (const auto& entry : std::filesystem::directory_iterator(here / "out")) {
      leftovers += entry.path().filename().string().starts_with(".") ? 1 : 0;
    }
  }
  std::printf("%d kills, %d of %d files finished before, %d leftovers of killed workers\n", kills, changed,
              kFiles * kills, leftovers);
  ASSERT_EQ(here.Prismel("render -qy --jobs 2 in -o out").status, 0);
  for (size_t k = 0; k < names.size(); ++k)
    EXPECT_TRUE(ReadBytes(here / ("out/" + names[k])) == whole[k]) << k;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(here / "out"), {}), kFiles);
}

}  // namespace
}  // namespace Vantora::cli::tests
