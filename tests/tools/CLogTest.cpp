#include "tools/CLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <locale>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TempFolder.h"
#include "tests/tools/CapturedOutput.h"

namespace Vantora {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testsupport::CapturedOutput;
using testsupport::TempFolder;

struct Lines : LogListener {
  void OnLogLine(const std::string& line) override { heard += line; }
  std::string heard;
};

class CLogTest : public testing::Test {
 protected:
  /// Loads a configuration of these lines, beside an output file's name where there is one.
  void Configure(const std::string& text, bool verbose = false) {
    log->LoadConfiguration(folder.Write("log.conf", text), verbose, true);
  }

  TempFolder folder;
  CapturedOutput output;
  std::optional<CLog> log{std::in_place};
};

TEST_F(CLogTest, IsSilentUntilConfiguredButForTheListener) {
  Lines lines;
  log->SetListener(&lines);
  EXPECT_FALSE(log->IsEnabled("audio_engine", kLogAssert));
  log->Log("audio_engine", kLogError, "dropped");
  EXPECT_EQ(lines.heard, "");
  log->Write("audio_engine", kLogError, "written");
  EXPECT_THAT(lines.heard, EndsWith("| error   | written\n"));
  EXPECT_EQ(output.Take(), "");
}

TEST_F(CLogTest, FormatsColumnsWhateverTheHostDoesToItsStreams) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
  };
  Lines lines;
  log->SetListener(&lines);
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  std::cout << std::hex << std::right;
  std::ostringstream message;
  message << "value " << 7;
  log->Write("audio_engine", kLogNotice, message);
  log->Write("a_long_category", 9, "no such level");
  log->Write("c", kLogDebug, "");
  std::locale::global(before);
  EXPECT_THAT(lines.heard,
              MatchesRegex("\\| [0-9]+ *\\| T[0-9]+ *\\| audio_engine \\| notice  \\| value 7\n"
                           "\\| .{9} \\| T.{5,} \\| a_long_category \\|         \\| no such level\n"
                           "\\| .{9} \\| T.{5,} \\| c           \\| debug   \\| \n"));
  EXPECT_THAT(lines.heard, HasSubstr("T" + std::to_string(::gettid()) + " "));
}

TEST_F(CLogTest, WritesFromTheThresholdOfTheCategoryUp) {
  Configure("LogInRelease 1\nloud debug\nquiet except\n");
  EXPECT_TRUE(log->IsEnabled("loud", kLogDebug));
  EXPECT_FALSE(log->IsEnabled("quiet", kLogError));
  EXPECT_TRUE(log->IsEnabled("quiet", kLogExcept));
  for (int round = 0; round < 2; ++round) {  // unknown, then entered
    EXPECT_FALSE(log->IsEnabled("new", kLogNotice));
    EXPECT_TRUE(log->IsEnabled("new", kLogWarning));
  }
  LogConfiguration chatty;
  chatty.logInRelease = true;
  chatty.defaultLevel = kLogInfo;
  chatty.categories["quiet"] = kLogError;
  log->ApplyConfiguration(chatty);
  EXPECT_TRUE(log->IsEnabled("new", kLogInfo));
  EXPECT_FALSE(log->IsEnabled("new", kLogDebug));
  EXPECT_FALSE(log->IsEnabled("quiet", kLogWarning));
}

TEST_F(CLogTest, ColorsWarningsAndErrorsAndEndsTheColorBehindTheLine) {
  Configure("LogInRelease 1\n");
  output.Take();
  log->Log("c", kLogWarning, "w");
  EXPECT_THAT(output.Take(), MatchesRegex("\x1b\\[1;33m\\|.*\\| w\n\x1b\\[0m"));
  log->Log("c", kLogError, "e");
  EXPECT_THAT(output.Take(), MatchesRegex("\x1b\\[1;31m\\|.*\\| e\n\x1b\\[0m"));
  log->Log("c", kLogAssert, "a");
  EXPECT_THAT(output.Take(), MatchesRegex("\\|.*\\| a\n\x1b\\[0m"));
  Configure("LogInRelease 1\nLogOutputColors 0\n");
  output.Take();
  log->Log("c", kLogError, "e");
  EXPECT_THAT(output.Take(), MatchesRegex("\\|.*\\| e\n"));
}

TEST_F(CLogTest, SendsStandardOutputToTheFileAndBackWithoutOne) {
  const std::string file = folder / "out.txt";
  folder.Write("out.txt", "old content");
  Configure("OutputFile " + file + "\nExtendedFilename 0\n", true);
  EXPECT_FALSE(output.IsInPlace());
  EXPECT_THAT(output.Take(), EndsWith("###################### \n## Final Output File : " + file + "\n"));
  log->Log("c", kLogWarning, "into the file");
  std::cout << "and this" << std::endl;
  EXPECT_THAT(TempFolder::Read(file),
              MatchesRegex("#### Stdout redirected to file .*/out.txt\n\\|.*\\| into the file\nand this\n"));

  log->LoadConfiguration("", false, false);  // the file stays, and what it stands in for is still known
  Configure("c info\n");                     // takes the place of all of it
  EXPECT_TRUE(output.IsInPlace());
  EXPECT_FALSE(log->IsEnabled("c", kLogAssert));
  std::cout << "here again";
  EXPECT_EQ(output.Take(), "here again");
  EXPECT_THAT(TempFolder::Read(file), Not(HasSubstr("here again")));
}

TEST_F(CLogTest, LeavesStandardOutputUsableWhenItGoesWithAFileOpen) {
  Configure("OutputFile " + (folder / "out.txt") + "\nExtendedFilename 0\n");
  log->Log("c", kLogError, "last");
  log.reset();
  std::cout << "nobody reads this" << std::endl;  // no crash, and nothing in the closed file
  EXPECT_THAT(TempFolder::Read(folder / "out.txt"), EndsWith("| last\n"));
}

TEST_F(CLogTest, PutsAPlainNameOnTheDesktopWithTheTimeOfTheStart) {
  const char* const home = std::getenv("HOME");
  const std::string before = home ? home : "";
  ::setenv("HOME", folder.Path().c_str(), 1);
  std::filesystem::create_directory(folder / "Desktop");
  Configure("OutputFile log.txt\n", true);
  home ? ::setenv("HOME", before.c_str(), 1) : ::unsetenv("HOME");

  EXPECT_THAT(output.Take(), HasSubstr("## Final Output File : " + (folder / "Desktop//log.txt_")));
  const auto entry = *std::filesystem::directory_iterator(folder / "Desktop");
  EXPECT_THAT(entry.path().filename().string(),
              MatchesRegex("log.txt_[0-9]{4}_[A-Z][a-z]{2}_[0-9_][0-9]_[0-9]{2}-[0-9]{2}-[0-9]{2}"));
  EXPECT_EQ(LogTimeStamp("Thu Nov 12 21:30:56 2026\n"), "_2026_Nov_12_21-30-56");
  EXPECT_EQ(LogTimeStamp("Sat Nov  7 01:02:03 2026\n"), "_2026_Nov__7_01-02-03");
  EXPECT_EQ(LogTimeStamp(""), "_");
}

TEST_F(CLogTest, KeepsItsConfigurationWhereThereIsNoFileToRead) {
  Configure("LogInRelease 1\nLogOutputColors 0\nc debug\n");
  output.Take();
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const std::string& name : {folder / "missing", folder.Path(), folder / "fifo"}) {
    log->LoadConfiguration(name, false, true);
    EXPECT_EQ(output.Take(), "Conf file " + name + " not found.\n");
    log->LoadConfiguration(name, false, false);
    EXPECT_EQ(output.Take(), "");
  }
  log->LoadConfiguration("", false, false);
  EXPECT_EQ(output.Take(), "#### Log conf file empty.\n");
  EXPECT_TRUE(log->IsEnabled("c", kLogDebug));

  log->ParseConfiguration("", folder / "override", false, false);  // with the stamp, as the default has it
  EXPECT_FALSE(output.IsInPlace());
}

TEST_F(CLogTest, NeedsPermissionToRead) {
  if (::geteuid() == 0) GTEST_SKIP() << "root may read everything";
  const std::string file = folder.Write("locked", "LogInRelease 1\n");
  ::chmod(file.c_str(), 0);
  log->LoadConfiguration(file, false, true);
  EXPECT_EQ(output.Take(), "Conf file " + file + " not found.\n");
  EXPECT_FALSE(log->IsEnabled("c", kLogAssert));
}

TEST_F(CLogTest, GoesOnWithoutAnOutputFileThatCantBe) {
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  std::filesystem::create_directory(folder / "sub");
  for (const std::string& name : {folder / "fifo", folder / "sub", folder / "no/such/folder/x"}) {
    Configure("OutputFile " + name + "\nExtendedFilename 0\nLogInRelease 1\n", true);
    EXPECT_THAT(output.Take(), EndsWith("#### Output file not open (" + name + ")\n"));
    EXPECT_TRUE(output.IsInPlace());
    log->Log("c", kLogError, "still there");
    EXPECT_THAT(output.Take(), HasSubstr("still there"));
  }
}

TEST_F(CLogTest, ThrowsNothingWhenTheHostsOutputDoes) {
  Configure("LogInRelease 1\n");
  std::cout.setstate(std::ios::failbit);
  EXPECT_ANY_THROW(std::cout.exceptions(std::ios::failbit));
  EXPECT_NO_THROW(log->Log("c", kLogError, "x"));
  EXPECT_NO_THROW(log->LoadConfiguration("", true, true));
}

TEST_F(CLogTest, StandsWritersOnSeveralThreadsBesideAConfiguration) {
  const std::string file = folder / "out.txt";
  const std::string conf = folder.Write("log.conf", "OutputFile " + file + "\nExtendedFilename 0\n");
  log->LoadConfiguration(conf, false, true);
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([this, t] {
      for (int i = 0; i < 200; ++i) log->Log("c" + std::to_string(t * 200 + i), kLogError, "line");
    });
  }
  for (int i = 0; i < 20; ++i) log->LoadConfiguration("", false, false);
  for (std::thread& writer : writers) writer.join();
  std::istringstream lines(TempFolder::Read(file));
  int whole = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("| ") && line.ends_with("| error   | line")) ++whole;
  }
  EXPECT_EQ(whole, 800);
}

TEST(LogHelpers, WriteToTheLibrarysLogAtTheirLevels) {
  CapturedOutput output;
  Lines lines;
  CLog& log = CLog::Instance();
  log.SetListener(&lines);
  LogConfiguration everything;
  everything.logInRelease = true;
  everything.defaultLevel = kLogDebug;
  log.ApplyConfiguration(everything);
  LogInfo("c", "1");
  LogNotice("c", "2");
  LogWarning("c", "3");
  LogError("c", "4");
  log.ApplyConfiguration({});
  log.SetListener(nullptr);
  EXPECT_THAT(lines.heard, MatchesRegex(".*info    . 1\n.*notice  . 2\n.*warning . 3\n.*error   . 4\n"));
}

TEST(CSingleton, IsBuiltOnceUnderContentionAndTriesAgainAfterAThrow) {
  static std::atomic<int> built{0};
  struct Fragile : CSingleton<Fragile> {
    Fragile() {
      if (built.fetch_add(1) == 0) throw 1;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  };
  EXPECT_THROW(Fragile::Instance(), int);
  std::vector<std::thread> threads;
  std::vector<Fragile*> seen(8);
  for (Fragile*& one : seen) threads.emplace_back([&one] { one = &Fragile::Instance(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(built, 2);
  EXPECT_THAT(seen, testing::Each(&Fragile::Instance()));
}

}  // namespace
}  // namespace Vantora
