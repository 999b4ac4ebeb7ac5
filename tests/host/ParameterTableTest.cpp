#include "host/ParameterTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <set>

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

TEST(ParameterTable, KeepsItsPlacesAndItsIds) {
  // Ids live in other people's sessions: they may never change. FNV-1a of "Prismel_Prismelion" and others.
  EXPECT_EQ(Table().At("Prismel_Prismelion").Index(), 168u);
  EXPECT_EQ(Table().At("Prismel_Prismelion").Id(), 0xe5a0bd36u);
  EXPECT_EQ(Table().At("Prismel_FXL_FX_ModuleType").Index(), 71u);
  EXPECT_EQ(Table().At("Prismel_FXR_FX_Harmonizer_Spray").Index(), 145u);
  EXPECT_EQ(Table().At("LFO_CurrentValueLFeedback").Index(), 200u);
  EXPECT_EQ(Table().At("OutputAnalyzer_Attack").Index(), 208u);
  EXPECT_EQ(Table().At("OutputPower").Index(), 225u);
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

TEST(ParameterTable, EveryPrintedValueReadsBackAsTheSamePosition) {
  for (const Parameter& parameter : Table()) {
    if (parameter.GetRole() == Role::kCommand) continue;
    for (int i = 0; i <= 200; ++i) {
      float position = static_cast<float>(i) / 200.0f;
      if (parameter.IsStepped()) position = parameter.ToNormalized(parameter.ToValue(position));
      const std::string exact = parameter.ExactText(position), shown = parameter.Text(position);
      const float again = parameter.Parse(exact);
      ASSERT_NEAR(again, position, 1e-6f) << parameter.UniqueName() << " at " << position << ": " << exact;
      // What people read has four digits; reading it back may move the knob by no more than they can see.
      const float read = parameter.ToValue(parameter.Parse(shown)), value = parameter.ToValue(position);
      ASSERT_NEAR(read, value, 6e-4f * std::abs(value) + 1e-6f) << parameter.UniqueName() << ": " << shown;
    }
    if (!parameter.IsOffered()) continue;
    for (const float position : {parameter.StartNormalized(), parameter.PreferredNormalized()}) {
      EXPECT_EQ(parameter.Parse(parameter.ExactText(position)), position) << parameter.UniqueName();
    }
  }
}

TEST(ParameterTable, StepsHaveANameEachOrNone) {
  for (const Parameter& parameter : Table()) {
    if (parameter.Labels().empty()) continue;
    ASSERT_EQ(parameter.Labels().size(), parameter.StepCount()) << parameter.UniqueName();
    for (uint32_t step = 0; step < parameter.StepCount(); ++step) {
      const float position = parameter.Parse(parameter.Labels()[step]);
      EXPECT_EQ(parameter.ToValue(position), static_cast<float>(step)) << parameter.Labels()[step];
      EXPECT_EQ(parameter.Text(position), parameter.Labels()[step]);
    }
  }
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
