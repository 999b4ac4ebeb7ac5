#include "tools/StringTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/CException.h"
#include "tools/NoteNames.h"

namespace Vantora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Split(std::string_view text, std::string_view separators, bool whole = false,
                               uint64_t limit = kNoTokenLimit) {
  std::vector<std::string> tokens;
  StringSplit(text, tokens, separators, whole, limit);
  return tokens;
}

std::string Replaced(std::string text, std::string_view from, std::string_view to, bool expectChanged) {
  std::string result = "left over";
  bool changed = !expectChanged;
  ReplaceAll(result, std::move(text), from, to, changed);
  EXPECT_EQ(changed, expectChanged);
  return result;
}

TEST(StringSplit, TakesRunsOfSeparatorCharactersAsOneAndDropsThemAtTheEnds) {
  EXPECT_THAT(Split("\t\tx y", "\t "), ElementsAre("x", "y"));
  EXPECT_THAT(Split("x \t y\t \t", "\t "), ElementsAre("x", "y"));
  EXPECT_THAT(Split(" \t ", "\t "), IsEmpty());
  EXPECT_THAT(Split("", "\t "), IsEmpty());
  EXPECT_THAT(Split("a b", ""), ElementsAre("a b"));
  EXPECT_THAT(Split(std::string_view("a\0b", 3), std::string_view("\0", 1)), ElementsAre("a", "b"));
}

TEST(StringSplit, KeepsEmptyTokensAroundAWholeSeparator) {
  EXPECT_THAT(Split("a::b", "::", true), ElementsAre("a", "b"));
  EXPECT_THAT(Split("::a::::b::", "::", true), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(Split(":::", "::", true), ElementsAre("", ":"));
  EXPECT_THAT(Split("a:b", "::", true), ElementsAre("a:b"));
  EXPECT_THAT(Split("ab", "", true), ElementsAre("ab"));
  EXPECT_THAT(Split("", "::", true), IsEmpty());
}

TEST(StringSplit, StopsAtTheLimitAndAppends) {
  EXPECT_THAT(Split("a b c", " ", false, 2), ElementsAre("a", "b"));
  EXPECT_THAT(Split("a,b,c", ",", true, 2), ElementsAre("a", "b"));
  EXPECT_THAT(Split("a b", " ", false, 0), IsEmpty());
  EXPECT_THAT(Split("a b", " ", true, 0), IsEmpty());
  std::vector<std::string> tokens = {"first"};
  StringSplit("a b", tokens, " ");
  EXPECT_THAT(tokens, ElementsAre("first", "a", "b"));
}

TEST(ReplaceAll, GoesOnBehindEachReplacement) {
  EXPECT_EQ(Replaced("/a/././b", "/./", "/", true), "/a/./b");
  EXPECT_EQ(Replaced("aaa", "a", "aa", true), "aaaaaa");
  EXPECT_EQ(Replaced("xax", "x", "", true), "a");
  EXPECT_EQ(Replaced("abc", "", "-", false), "abc");
  EXPECT_EQ(Replaced("abc", "d", "-", false), "abc");
  EXPECT_EQ(Replaced("", "d", "-", false), "");
}

TEST(ReplaceAll, MayReadFromTheStringItWrites) {
  std::string text = "a-b-c";
  bool changed = false;
  ReplaceAll(text, text, std::string_view(text).substr(1, 1), std::string_view(text).substr(0, 1), changed);
  EXPECT_EQ(text, "aabac");
}

TEST(Substring, RefusesABeginBeyondTheText) {
  EXPECT_EQ(Substring("abc", 1, 1), "b");
  EXPECT_EQ(Substring("abc", 3), "");
  try {
    Substring("abc", 4);
    FAIL();
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "string_view::substr");
  }
}

TEST(WithoutTrailingSeparators, CutsBothKindsAtTheEndOnly) {
  EXPECT_EQ(WithoutTrailingSeparators("/a\\b/\\/"), "/a\\b");
  EXPECT_EQ(WithoutTrailingSeparators("/\\/"), "");
  EXPECT_EQ(WithoutTrailingSeparators(""), "");
}

TEST(CException, NamesFileAndLineAndSurvivesItsOriginal) {
  static_assert(std::is_nothrow_copy_constructible_v<CException>);
  static_assert(std::is_nothrow_copy_assignable_v<CException>);
  CException copy("", "", 0);
  {
    CException original("Potard Mapping not found.", "basictools/math/mapping/PotardMappingUtils", 10);
    copy = original;
    const CException moved = std::move(original);
    EXPECT_STREQ(original.what(), moved.what());  // NOLINT(bugprone-use-after-move): that is the point
  }
  EXPECT_STREQ(copy.what(), "Potard Mapping not found.(basictools/math/mapping/PotardMappingUtils:10)");
  EXPECT_STREQ(CException("x", nullptr, ~uint64_t{0}).what(), "x(:18446744073709551615)");
}

TEST(NoteNames, CountSemitonesFromOctaveMinusTwo) {
  const std::string semitones[] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
  for (int note = 0; note < 128; ++note) {
    EXPECT_EQ(NoteName(static_cast<uint32_t>(note)), semitones[note % 12] + std::to_string(note / 12 - 2));
  }
  EXPECT_EQ(kNoteNames[127], "G8");
  EXPECT_EQ(NoteName(128), "");
}

}  // namespace
}  // namespace Vantora
