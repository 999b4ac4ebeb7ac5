#include "host/ParameterTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iomanip>
#include <random>
#include <set>
#include <sstream>

#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "tests/host/FakeLibrary.h"

namespace Vantora::host {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const ParameterTable& Table() { return ParameterTable::Get(); }

float Value(const char* name, const char* text) {
  const Parameter& parameter = Table().At(name);
  return parameter.ToValue(parameter.Parse(text));
}

std::string Refusal(const char* name, const char* text) {
  try {
    Table().At(name).Parse(text);
  } catch (const HostError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(ParameterTable, EveryParameterIsFoundByIndexUniqueNameAndId) {
  ASSERT_EQ(Table().Size(), 228u);
  std::set<uint32_t> ids;
  std::set<std::string> names;
  for (uint32_t index = 0; index < Table().Size(); ++index) {
    const Parameter& parameter = Table()[index];
    EXPECT_EQ(parameter.Index(), index);
    EXPECT_TRUE(ids.insert(parameter.Id()).second) << parameter.UniqueName();
    EXPECT_TRUE(names.insert(parameter.UniqueName()).second) << parameter.UniqueName();
    EXPECT_EQ(Table().Find(parameter.UniqueName()), &parameter);
    EXPECT_EQ(Table().Find(std::to_string(index)), &parameter);
    EXPECT_EQ(Table().FindById(parameter.Id()), &parameter);
  }
}

// Ids live in other people's songs, symbols in their programs, and songs automate positions: neither these
// nor the value at a position (here 0, 1/2, 1 and where it starts) may ever change.
TEST(ParameterTable, KeepsItsPlacesItsIdsItsSymbolsAndItsRanges) {
  std::ifstream stored(std::string(PRISMEL_SOURCE_DIR) + "/tests/host/ParameterIds.txt");
  std::string line;
  uint32_t count = 0;
  while (std::getline(stored, line)) {
    ASSERT_LT(count, Table().Size());
    const Parameter& parameter = Table()[count++];
    std::ostringstream expected;
    expected << parameter.Index() << ' ' << std::hex << std::setfill('0') << std::setw(8) << parameter.Id()
             << ' ' << parameter.Symbol() << ' ' << parameter.UniqueName() << std::setprecision(5);
    for (const float position : {0.0f, 0.5f, 1.0f, parameter.StartNormalized()})
      expected << ' ' << parameter.ToValue(position);
    EXPECT_EQ(line, expected.str());
    EXPECT_LT(parameter.Id(), 0x80000000u);
  }
  EXPECT_EQ(count, 228u);
}

TEST(ParameterTable, EveryParameterHasAShortTitleAndASymbolOfItsOwn) {
  std::set<std::string> titles, symbols;
  for (const Parameter& parameter : Table()) {
    EXPECT_LE(parameter.Title().size(), 24u) << parameter.Title();
    EXPECT_TRUE(titles.insert(parameter.Title()).second) << parameter.Title();
    EXPECT_THAT(parameter.Symbol(), testing::MatchesRegex("[a-z][a-z0-9_]*"));
    EXPECT_TRUE(symbols.insert(parameter.Symbol()).second) << parameter.Symbol();
    EXPECT_EQ(Table().Find(parameter.Symbol()), &parameter);
  }
  EXPECT_EQ(Table().At("output_gain").UniqueName(), "OutputGain");
  EXPECT_EQ(Table().At("wet_gain").UniqueName(), "Prismel_OutputGain");
  EXPECT_EQ(Table().At("comb_cutoff").Title(), "Comb pitch");
  EXPECT_EQ(Table().At("right_crusher_jitter_rate").Title(), "Crusher jitter rate R");
}

TEST(ParameterTable, AreInTheOrderOfAPersonsHands) {
  std::vector<const Parameter*> ordered(Table().Size(), nullptr);
  for (const Parameter& parameter : Table()) {
    ASSERT_LT(parameter.Order(), Table().Size());
    ASSERT_EQ(ordered[parameter.Order()], nullptr) << parameter.UniqueName();
    ordered[parameter.Order()] = &parameter;
  }
  for (uint32_t i = 0; i < Table().Size(); ++i) {
    const Role wanted = i < 30 ? Role::kMain : Role::kAdvanced;
    EXPECT_EQ(ordered[i]->GetRole() == wanted, i < 70) << ordered[i]->UniqueName();
  }
  EXPECT_EQ(ordered[0]->Symbol(), "fx_type");
  EXPECT_EQ(ordered[1]->Symbol(), "prismelion");
  EXPECT_EQ(ordered[29]->Symbol(), "bypass");
}

TEST(ParameterTable, TwinsAreTheSameKnobOnTheOtherSide) {
  for (const Parameter& parameter : Table()) {
    ASSERT_EQ(parameter.Twin().has_value(), parameter.Index() < 152) << parameter.UniqueName();
    if (!parameter.Twin()) continue;
    const Parameter& twin = Table()[*parameter.Twin()];
    EXPECT_EQ(twin.Twin(), parameter.Index());
    std::string name = parameter.UniqueName();
    name[name.find("_FX") + 3] = parameter.Index() < 76 ? 'R' : 'L';
    EXPECT_EQ(twin.UniqueName(), name);
    if (parameter.IsOffered() && parameter.Index() < 76) {
      EXPECT_EQ(twin.Order(), parameter.Order() + 1);
    }
  }
}

TEST(ParameterTable, NamesAreUnderstoodGenerouslyButNeverGuessed) {
  EXPECT_EQ(Table().At("HPFCutoff").Index(), 156u);
  EXPECT_EQ(Table().At("hpfcutoff").Index(), 156u);
  EXPECT_EQ(Table().At("#156").Index(), 156u);
  EXPECT_EQ(Table().At("OutputGain").Index(), 219u) << "a full name beats a shortened one";
  EXPECT_EQ(Table().At("Prismel_OutputGain").Index(), 171u);
  EXPECT_EQ(Table().At("Swing").Index(), 188u);
  EXPECT_EQ(Table().At("Prismel_FXL_FX_Stereo#1").Index(), 1u);
  EXPECT_EQ(Table().At("Prismel_FXL_FX_Stereo#2").Index(), 11u);
  EXPECT_EQ(Table().At("Prismel_FXR_FX_Freq#2").Index(), 76u + 13u);
  EXPECT_EQ(Table().Find("Prismel_FXL_FX_Stereo"), nullptr);
  EXPECT_EQ(Table().Find("228"), nullptr);
  EXPECT_EQ(Table().Find(""), nullptr);

  const auto error = [](const char* name) {
    try {
      Table().At(name);
    } catch (const HostError& reason) {
      return std::string(reason.what());
    }
    return std::string("found");
  };
  EXPECT_THAT(error("Prismelio"), HasSubstr("did you mean Prismel_Prismelion?"));
  EXPECT_THAT(error("LPFCutof"), HasSubstr("Prismel_LPFCutoff"));
  EXPECT_THAT(error("Chord"), HasSubstr("Prismel_HarmonizerChord"));
  EXPECT_THAT(error("Prismel_FXL_FX_Stereo"), HasSubstr("Stereo#1 or Prismel_FXL_FX_Stereo#2"));
  EXPECT_EQ(error("qqqqqqqqqq"), "There is no parameter \"qqqqqqqqqq\".");
}

TEST(ParameterTable, OffersNothingInternal) {
  for (const Parameter& parameter : Table()) {
    if (!parameter.IsOffered()) continue;
    const std::string& name = parameter.UniqueName();
    for (const char* part : {"Conf", "Analyzer", "ToolTip", "Panic", "PresetLoading", "GUI", "Feedback",
                             "ModuleType", "Power", "Overload", "#", "FX_Bypass", "Disto_Drive", "Spray\0"}) {
      if (name == "Prismel_FeedbackDelayTime" || name == "Prismel_HarmonizerSpray") continue;
      EXPECT_EQ(name.find(part), std::string::npos) << name;
    }
    EXPECT_FALSE(parameter.Note().empty()) << name;
  }
}

TEST(ParameterTable, WhatIsPrintedForFilesReadsBackAsTheVerySamePosition) {
  std::minstd_rand random(7);
  for (const Parameter& parameter : Table()) {
    if (parameter.GetRole() == Role::kCommand) continue;
    for (int i = 0; i <= 300; ++i) {
      const float position =
          i <= 200 ? static_cast<float>(i) / 200.0f : static_cast<float>(random()) / 2147483648.0f;
      const std::string exact = parameter.ExactText(position);
      ASSERT_EQ(parameter.Parse(exact), position) << parameter.UniqueName() << ": " << exact;
    }
    for (const float position : {parameter.StartNormalized(), parameter.PreferredNormalized()}) {
      EXPECT_THAT(parameter.ExactText(position), testing::Not(HasSubstr("norm"))) << parameter.UniqueName();
    }
  }
  EXPECT_EQ(Table().At("HPFCutoff").ExactText(Table().At("HPFCutoff").Parse("250 Hz")), "250 Hz");
  EXPECT_EQ(Table().At("FXType").ExactText(0.3f), "norm:0.3") << "between two steps";
}

TEST(ParameterTable, WhatIsPrintedForPeopleIsTheValueToFourDigits) {
  for (const Parameter& parameter : Table()) {
    if (parameter.GetRole() == Role::kCommand) continue;
    for (int i = 0; i <= 200; ++i) {
      float position = static_cast<float>(i) / 200.0f;
      if (parameter.IsStepped()) position = parameter.Parse(parameter.Text(position));
      const std::string shown = parameter.Text(position);
      const float read = parameter.ToValue(parameter.Parse(shown)), value = parameter.ToValue(position);
      ASSERT_NEAR(read, value, 6e-4f * std::abs(value) + 1e-6f) << parameter.UniqueName() << ": " << shown;
    }
  }
}

TEST(ParameterTable, FrequenciesTakeNamesOfNotes) {
  const Parameter& comb = Table().At("CombCutoff");
  for (const auto& [text, hertz] : {std::pair{"A4", 440.0},
                                    {"a3", 220.0},
                                    {"C4", 261.6256},
                                    {"C#4", 277.1826},
                                    {"Db4", 277.1826},
                                    {"B3", 246.9417},
                                    {"Cb4", 246.9417},
                                    {"E1", 41.2034}}) {
    EXPECT_NEAR(comb.ToValue(comb.Parse(text)), hertz, 1e-3 * hertz) << text;
  }
  for (const char* text : {"A", "H4", "A44", "C-1", "A4Hz", "##4"}) {
    EXPECT_THROW(comb.Parse(text), HostError) << text;
  }
  EXPECT_THROW(Table().At("Wet").Parse("A4"), HostError);
}

TEST(ParameterTable, AValueReadsBackAsItWasWritten) {
  const auto back = [](const char* name, double value) {
    const Parameter& parameter = Table().At(name);
    return parameter.ExactValue(parameter.ParseValue(value));
  };
  EXPECT_EQ(back("CombCutoff", 440.0), 440.0);
  EXPECT_NE(Table().At("CombCutoff").ToValue(Table().At("CombCutoff").Parse("440")), 440.0f)
      << "why it is needed";
  EXPECT_EQ(back("HPFCutoff", 1234.5), 1234.5);
  EXPECT_EQ(back("OutputGain", -3.1), -3.1);
  EXPECT_EQ(back("Prismelion", 0.7), 0.7);
  EXPECT_EQ(back("LFOPrismelAmount", -0.3), -0.3);
  EXPECT_EQ(back("Voices", 7.0), 7.0);
  EXPECT_EQ(back("BandpassResonance", 0.71), 0.71);
  EXPECT_EQ(Table().At("Prismelion").ExactValue(1.0f / 3.0f), 0.33333334);
}

TEST(ParameterTable, StepsHaveANameEachOrNone) {
  for (const Parameter& parameter : Table()) {
    if (parameter.Labels().empty()) continue;
    ASSERT_EQ(parameter.Labels().size(), parameter.StepCount()) << parameter.UniqueName();
    for (uint32_t step = 0; step < parameter.StepCount(); ++step) {
      const float position = parameter.Parse(parameter.Labels()[step]);
      EXPECT_EQ(parameter.ToValue(position), parameter.Minimum() + static_cast<float>(step))
          << parameter.Labels()[step];
      EXPECT_EQ(parameter.Text(position), parameter.Labels()[step]);
    }
  }
  // Two values behind a position: on above a half, or from there.
  const Parameter& shape = Table().At("left_fold_type");
  const Parameter& unipolar = Table().At("lfo_unipolar");
  EXPECT_THAT(shape.Labels(), ElementsAre("sine", "triangle"));
  EXPECT_TRUE(shape.IsSwitch() && unipolar.IsSwitch());
  EXPECT_EQ(shape.Text(0.49f) + ' ' + shape.Text(0.5f), "sine triangle");
  EXPECT_EQ(unipolar.Text(0.5f) + ' ' + unipolar.Text(0.51f), "off on");
  EXPECT_EQ(shape.Parse("Triangle"), 1.0f);
  EXPECT_EQ(shape.Parse("0.3"), 0.3f) << "the position itself, as ever";

  const auto& rates = Table().At("LFO_AllRateSynced").Labels();
  EXPECT_EQ(rates.front(), "16/1 dotted");
  EXPECT_THAT(std::vector(rates.begin() + 17, rates.begin() + 23),
              ElementsAre("1/4 dotted", "1/2 triplet", "1/4", "1/8 dotted", "1/4 triplet", "1/8"));
  EXPECT_EQ(rates.back(), "1/32 triplet");
}

TEST(ParameterTable, ReadsValuesAsMusiciansWriteThem) {
  EXPECT_FLOAT_EQ(Value("HPFCutoff", "250Hz"), 250.0f);
  EXPECT_FLOAT_EQ(Value("HPFCutoff", " 1.2 kHz "), 1200.0f);
  EXPECT_FLOAT_EQ(Value("HPFCutoff", "2k"), 2000.0f);
  EXPECT_FLOAT_EQ(Value("HPFCutoff", "3e2"), 300.0f);
  EXPECT_FLOAT_EQ(Value("OutputGain", "-3dB"), -3.0f);
  EXPECT_FLOAT_EQ(Value("OutputGain", "+3 db"), 3.0f);
  EXPECT_FLOAT_EQ(Value("FeedbackDelayTime", "120ms"), 120.0f);
  EXPECT_FLOAT_EQ(Value("FeedbackDelayTime", "0.12s"), 120.0f);
  EXPECT_FLOAT_EQ(Value("Prismelion", "70%"), 0.7f);
  EXPECT_FLOAT_EQ(Value("LFOPrismelAmount", "-30%"), -0.3f);
  EXPECT_FLOAT_EQ(Value("BitCrusherDownsample", "8x"), 8.0f);
  EXPECT_FLOAT_EQ(Value("BandpassResonance", "0.71"), 0.71f);
  EXPECT_FLOAT_EQ(Value("PhaseInit", "90\u00b0"), 90.0f);
  EXPECT_EQ(Table().At("HPFCutoff").Parse("norm:0.5"), 0.5f);
  EXPECT_EQ(Value("FXType", "Band Pass"), 1.0f);
  EXPECT_EQ(Value("FXType", "harmonizer"), 5.0f);
  EXPECT_EQ(Value("FXType", "3"), 3.0f);
  EXPECT_EQ(Value("Voices", "8"), 8.0f);
  EXPECT_EQ(Value("Bypass", "ON"), 1.0f);
  EXPECT_EQ(Value("HarmonizerChord", "major 6/9"), 9.0f);
  EXPECT_EQ(Value("LFO_AllRateSynced", "1/4T"), Value("LFO_AllRateSynced", "1/4 triplet"));
  EXPECT_EQ(Value("LFO_AllRateSynced", "1/8."), Value("LFO_AllRateSynced", "1/8 dotted"));
  EXPECT_EQ(Value("LFO_RateSynced", "4 bars"), Value("LFO_RateSynced", "4/1"));
}

TEST(ParameterTable, RefusesWhatIsNoValueAndSaysWhatIs) {
  EXPECT_EQ(Refusal("HPFCutoff", "5Hz"), "Prismel_HPFCutoff takes 20 Hz to 20 kHz; \"5Hz\" is outside.");
  EXPECT_THAT(Refusal("HPFCutoff", "3dB"), HasSubstr("is not in Hz"));
  EXPECT_THAT(Refusal("HPFCutoff", "loud"), HasSubstr("is not a number"));
  EXPECT_THAT(Refusal("FXType", "7"), HasSubstr("is outside"));
  EXPECT_THAT(Refusal("FXType", "combo"), HasSubstr("off, band-pass, comb"));
  EXPECT_THAT(Refusal("Voices", "2.5"), HasSubstr("is not a whole number"));
  for (const char* text : {"", " ", "nan", "inf", "-inf", "1e999", "0.5.5", "0x10", "norm:", "norm:1.01",
                           "norm:-0.1", "norm:nan", "1,5", "1.1", "-0.1", "--0.5", "+-0.5"}) {
    EXPECT_NE(Refusal("Prismelion", text), "accepted") << text;
  }
}

TEST(ParameterTable, TellsAnotherLibraryByItsNames) {
  const FakeLibrary fake;
  const HostedProcessor processor(fake.library);
  try {
    Table().Check(processor);
    FAIL();
  } catch (const HostError& error) {
    EXPECT_STREQ(error.what(),
                 "Parameter 0 of the processor library is called \"Fake_0\" where "
                 "\"Prismel_FXL_FX_BypassUselessParam\" is known.");
  }
}

}  // namespace
}  // namespace Vantora::host
