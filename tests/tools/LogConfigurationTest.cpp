#include "tools/LogConfiguration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ios>
#include <sstream>
#include <string>

namespace Vantora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char kNotWellFormed[] = "## WARNING : this line is ignored as not well-formed ";

struct Outcome {
  LogConfiguration configuration;
  std::string echo;
};

Outcome Read(const std::string& text, bool verbose = false) {
  std::istringstream in(text);
  std::ostringstream echo;
  echo << std::left;
  Outcome outcome;
  outcome.configuration = ReadLogConfiguration(in, echo, verbose);
  outcome.echo = echo.str();
  return outcome;
}

TEST(LogConfiguration, TakesKeysAndEchoesThemAsWritten) {
  const Outcome o =
      Read("OutputFile a/b.txt\nExtendedFilename 0\nLogInRelease 2\nLogOutputColors abc\nDebugAllFlag x\n");
  EXPECT_EQ(o.configuration.outputFile, "a/b.txt");
  EXPECT_FALSE(o.configuration.extendedFilename);
  EXPECT_TRUE(o.configuration.logInRelease);
  EXPECT_FALSE(o.configuration.logOutputColors);
  EXPECT_EQ(
      o.echo,
      "## OutputFile : a/b.txt\n## ExtendedFilename : 0\n## LogInRelease : 2\n## LogOutputColors : abc\n"
      "## DebugAllFlag : x\n");
  EXPECT_FALSE(Read("LogInRelease -1").configuration.logInRelease);
  EXPECT_TRUE(Read("LogInRelease 99999999999999999999").configuration.logInRelease);
}

TEST(LogConfiguration, ComparesKeysAndLevelsExactly) {
  const Outcome o = Read("outputfile debug\naudio_engine Error\nx assert");
  EXPECT_THAT(o.configuration.categories, ElementsAre(Pair("audio_engine", kLogError),
                                                      Pair("outputfile", kLogDebug), Pair("x", kLogAssert)));
  EXPECT_EQ(o.echo, "Log level Error not existing.\n");
}

TEST(LogConfiguration, KnowsCommentsInColumnOneOnly) {
  const Outcome o = Read("// a\n# b\n//c d\n  // word\n \t \n\n # x");
  EXPECT_THAT(o.configuration.categories, ElementsAre(Pair("#", kLogError), Pair("//", kLogError)));
  EXPECT_EQ(o.echo, "Log level word not existing.\nLog level x not existing.\n");
}

TEST(LogConfiguration, DebugAllActsOnTheLinesBelowAndTheFirstLineOfACategoryWins) {
  const Outcome o = Read(
      "before error\nDebugAllFlag 1\nafter nonsense\nbefore info\nDebugAllFlag 0\nlast notice\nlast error\n");
  EXPECT_THAT(o.configuration.categories,
              ElementsAre(Pair("after", kLogDebug), Pair("before", kLogError), Pair("last", kLogNotice)));
  EXPECT_EQ(o.echo, "## DebugAllFlag : 1\n## DebugAllFlag : 0\n");
}

TEST(LogConfiguration, WarnsOfEveryLineThatIsNeitherAPairNorPerformance) {
  EXPECT_EQ(Read("PERF_X 1 2 3\nPERF_Y 1\nPERF_\nX 1 2\nalone\n").echo,
            std::string(kNotWellFormed) + "X 1 2\n" + kNotWellFormed + "alone\n");
}

TEST(LogConfiguration, TellsCategoriesWhenVerbose) {
  EXPECT_EQ(Read("audio error\na_rather_long_one x\n", true).echo,
            "## Category : audio        level : error\n## Category : a_rather_long_one level : x\n"
            "Log level x not existing.\n");
}

TEST(LogConfiguration, ReadsLinesWithCarriageReturnsAndWithoutAnEnd) {
  const Outcome o = Read("a in\rfo\r\n\r\nb\t \twarning\r");
  EXPECT_THAT(o.configuration.categories, ElementsAre(Pair("a", kLogInfo), Pair("b", kLogWarning)));
  EXPECT_THAT(Read("").configuration.categories, IsEmpty());
}

TEST(LogConfiguration, ReportsOverLongLinesAndGoesOn) {
  const std::string fits = std::string(250, 'c') + " info";  // 255 characters
  EXPECT_THAT(Read(fits + "\nb info").configuration.categories,
              ElementsAre(Pair("b", kLogInfo), Pair(std::string(250, 'c'), kLogInfo)));
  EXPECT_EQ(Read(fits).configuration.categories.size(), 1u);

  const Outcome longer = Read(fits + "x\nb info");
  EXPECT_THAT(longer.configuration.categories, ElementsAre(Pair("b", kLogInfo)));
  EXPECT_EQ(longer.echo, kNotWellFormed + fits + "\n");

  const Outcome endless = Read(std::string(100000, 'x'));
  EXPECT_EQ(endless.echo, kNotWellFormed + std::string(255, 'x') + "\n");
}

TEST(LogConfiguration, EndsOnBinaryContentAndOnAStreamThatFails) {
  std::string bytes;
  for (int i = 0; i < 4096; ++i) bytes += static_cast<char>(i * 7);
  Read(bytes);
  EXPECT_THAT(Read(std::string("a info\0b error", 14)).configuration.categories,
              ElementsAre(Pair("a", kLogInfo)));

  std::istringstream failing("a info\nb info\n");
  failing.setstate(std::ios::badbit);
  std::ostringstream echo;
  EXPECT_THAT(ReadLogConfiguration(failing, echo, false).categories, IsEmpty());
}

}  // namespace
}  // namespace Vantora
