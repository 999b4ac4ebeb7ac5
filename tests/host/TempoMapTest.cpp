#include "host/TempoMap.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/HostError.h"
#include "host/files/TempoMapFile.h"

namespace Vantora::host {
namespace {

TempoMap Read(const std::string& text) {
  std::istringstream stream(text);
  return ReadTempoMap(stream, "map.csv");
}

TEST(TempoMap, BeatsAndSecondsAreEachOthersInverseAcrossTempoChanges) {
  const std::vector<TempoMap::Step> steps = {{0.0, 120.0}, {4.0, 60.0, true}, {10.0, 240.0}};
  for (const TempoMap& map :
       {Read("seconds,bpm\n0,120\n2,60\n10,240\n"), Read("beats,bpm\n0,120\n4,60\n12,240\n"),
        Read("0,120\n2,60\n10,240"), TempoMap(steps)}) {
    EXPECT_DOUBLE_EQ(map.BeatsAt(1.0), 2.0);
    EXPECT_DOUBLE_EQ(map.BeatsAt(2.0), 4.0);
    EXPECT_DOUBLE_EQ(map.BeatsAt(10.0), 12.0);
    EXPECT_DOUBLE_EQ(map.BeatsAt(11.0), 16.0);
    EXPECT_EQ(map.BpmAt(1.999), 120.0);
    EXPECT_EQ(map.BpmAt(2.0), 60.0);
    for (double seconds = -1.0; seconds < 15.0; seconds += 0.37) {
      EXPECT_NEAR(map.SecondsAt(map.BeatsAt(seconds)), seconds, 1e-12);
    }
  }
}

TEST(TempoMap, TheFirstTempoHoldsFromTheBeginning) {
  const TempoMap map = Read("# slow start\n5,60\n10,120\n");
  EXPECT_EQ(map.BpmAt(0.0), 60.0);
  EXPECT_DOUBLE_EQ(map.BeatsAt(10.0), 10.0);
  EXPECT_DOUBLE_EQ(map.BeatsAt(11.0), 12.0);
}

TEST(TempoMap, RefusesWhatIsNoMap) {
  for (const char* text : {"", "seconds,bpm\n", "0\n", "0,1,2\n", "bars,bpm\n0,120\n", "0,fast\n", "x,120\n",
                           "0,0\n", "0,-5\n", "0,100000\n", "0,nan\n", "2,120\n1,60\n", "0,120\n1,60\n1,70\n",
                           "-1,120\n", "0,120\n0,130\n", "beats,bpm\n0,120\n0,130\n", "5,120\n5,130\n"}) {
    EXPECT_THROW(Read(text), HostError) << text;
  }
  try {
    Read("0,120\n0,130\n");
  } catch (const HostError& error) {
    EXPECT_STREQ(
        error.what(),
        "map.csv, line 2: The times of a tempo map must rise, and 0 s doesn't lie behind the time before.");
  }
  EXPECT_THROW(TempoMap(0.0), HostError);
  EXPECT_THROW(TempoMap(std::vector<TempoMap::Step>{}), HostError);
  EXPECT_THROW(ReadTempoMap(std::filesystem::path("/no/such/map.csv")), HostError);
}

}  // namespace
}  // namespace Vantora::host
