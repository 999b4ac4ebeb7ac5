#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/standalone/Instrument.h"
#include "tests/support/RealTimeGuard.h"
#include "tests/support/Signals.h"

namespace Vantora::plugin {
namespace {

using ::testing::HasSubstr;

constexpr double kRate = 48000.0;

/// A folder of its own for each test, gone with it.
class StandaloneTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = std::filesystem::temp_directory_path() /
             ("prismel-standalone-" + std::to_string(getpid()) + "-" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder);
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  /// A sine of 440 Hz.
  std::string WriteSine(const char* name, int rate, int channels, int frames) {
    const std::string path = (folder / name).string();
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> samples;
    for (int i = 0; i < frames; ++i) {
      for (int c = 0; c < channels; ++c) {
        samples.push_back(0.5f * static_cast<float>(std::sin(2.0 * M_PI * 440.0 * i / rate + c)));
      }
    }
    sf_writef_float(file, samples.data(), frames);
    sf_close(file);
    return path;
  }

  std::filesystem::path folder;
};

/// A driver in the test's hand.
class HandDriver final : public AudioDriver {
 public:
  std::string Name() const override { return "hand"; }
  double SampleRate() const override { return kRate; }
  uint32_t BufferSize() const override { return 256; }
  void Start(Callback theCallback, uint32_t) override { callback = std::move(theCallback); }

  void Run(uint32_t frames, const std::vector<float>& input, std::vector<ControllerEvent> controllers = {}) {
    left.assign(frames, 0.0f);
    right.assign(frames, 0.0f);
    const std::array<const float*, 2> inputs{input.data(), input.data()};
    const std::array<float*, 2> outputs{left.data(), right.data()};
    callback({inputs.data(), outputs.data(), frames, HostTime{}, controllers});
  }

  Callback callback;
  std::vector<float> left, right;
};

using FileSourceTest = StandaloneTest;

TEST_F(FileSourceTest, LoopsExactlyAndTurnsMonoIntoBothSides) {
  const auto source = FileSource::Read(WriteSine("a.wav", 48000, 1, 1000), kRate);
  std::vector<float> left(2500), right(2500);
  for (uint32_t done = 0; done < 2500; done += 250)
    source->Fill(left.data() + done, right.data() + done, 250);
  for (size_t i = 0; i < 2500; ++i) {
    ASSERT_EQ(left[i], right[i]);
    ASSERT_EQ(left[i], left[i % 1000]);
  }
  EXPECT_NEAR(left[27], 0.5 * std::sin(2.0 * M_PI * 440.0 * 27 / kRate), 1e-6);
  source->SetPlaying(false);
  source->Fill(left.data(), right.data(), 250);
  EXPECT_EQ(std::count(left.begin(), left.begin() + 250, 0.0f), 250);
}

TEST_F(FileSourceTest, ComesAtTheStreamsRate) {
  const auto source = FileSource::Read(WriteSine("a.wav", 44100, 2, 44100), kRate);
  EXPECT_NEAR(source->Seconds(), 1.0, 0.001);
  std::vector<float> left(40000), right(40000);
  source->Fill(left.data(), right.data(), 40000);
  double worst = 0.0;
  for (size_t i = 2000; i < 38000; ++i) {
    const double phase = 2.0 * M_PI * 440.0 * static_cast<double>(i) / kRate;
    worst = std::max(
        {worst, std::abs(left[i] - 0.5 * std::sin(phase)), std::abs(right[i] - 0.5 * std::sin(phase + 1.0))});
  }
  EXPECT_LT(worst, 0.002);
}

TEST_F(FileSourceTest, SaysWhatIsWrong) {
  std::ofstream(folder / "text.wav") << "no sound in here";
  for (const char* name : {"text.wav", "missing.wav"}) {
    try {
      FileSource::Read(folder / name, kRate);
      FAIL() << name;
    } catch (const host::HostError& error) {
      EXPECT_THAT(error.what(), HasSubstr(name));
    }
  }
  EXPECT_THROW(FileSource::Read(WriteSine("empty.wav", 48000, 2, 0), kRate), host::HostError);
}

TEST_F(StandaloneTest, SoundsAsTheCoreDoesForInputAndFile) {
  auto owned = std::make_unique<HandDriver>();
  HandDriver& driver = *owned;
  Instrument instrument(std::move(owned), folder / "midi.json");
  ShellCore alone;
  instrument.Run();
  alone.Activate(kRate);
  const std::string path = WriteSine("a.wav", 48000, 2, 5000);
  const std::vector<float> noise = test::Noise(3000, 1, 0.5f);
  std::vector<float> left(3000), right(3000);
  for (const uint32_t frames : {256u, 1u, 3000u, 0u, 777u, 64u}) {
    for (const bool isFile : {false, true}) {
      if (isFile) {
        ASSERT_EQ(instrument.OpenFile(path), "");
        EXPECT_EQ(instrument.FileName(), "a.wav");
        FileSource::Read(path, kRate)->Fill(left.data(), right.data(), frames);  // it begins anew each time
      } else {
        instrument.UseInput();
        left = right = noise;
      }
      const std::array<float*, 2> both{left.data(), right.data()};
      alone.SetTime({});
      alone.Process(both.data(), both.data(), frames);
      driver.Run(frames, noise);
      ASSERT_TRUE(std::equal(driver.left.begin(), driver.left.end(), left.begin())) << frames << isFile;
      ASSERT_TRUE(std::equal(driver.right.begin(), driver.right.end(), right.begin())) << frames << isFile;
      instrument.Tick();
    }
  }
  EXPECT_THAT(instrument.OpenFile("/nowhere.wav"), HasSubstr("can't be read"));
  EXPECT_EQ(instrument.FileName(), "a.wav");  // and what plays goes on
}

TEST_F(StandaloneTest, ABlockIsRealTime) {
  auto owned = std::make_unique<HandDriver>();
  HandDriver& driver = *owned;
  Instrument instrument(std::move(owned), folder / "midi.json");
  instrument.Run();
  const std::vector<float> input(512, 0.1f);
  std::vector<float> left(512), right(512);
  const std::array<const float*, 2> inputs{input.data(), input.data()};
  const std::array<float*, 2> outputs{left.data(), right.data()};
  const ControllerEvent event{5, 0, 21, 64};
  ASSERT_EQ(instrument.OpenFile(WriteSine("a.wav", 48000, 2, 5000)), "");
  instrument.Learn(host::ParameterTable::Get().At("Prismel_Wet").Index());
  driver.Run(512, input);
  const test::RealTimeViolations violations = test::Watch([&] {
    for (int i = 0; i < 50; ++i)
      driver.callback({inputs.data(), outputs.data(), 512, HostTime{120.0, true, 1.0}, {&event, 1}});
  });
  EXPECT_TRUE(violations.None()) << violations.Text();
}

TEST_F(StandaloneTest, ControllersAreLearntMoveTheKnobAndAreKept) {
  const uint32_t wet = host::ParameterTable::Get().At("Prismel_Wet").Index();
  const std::vector<float> input(256, 0.0f);
  {
    auto owned = std::make_unique<HandDriver>();
    HandDriver& driver = *owned;
    Instrument instrument(std::move(owned), folder / "config" / "midi.json");
    instrument.Run();
    instrument.Learn(wet);
    EXPECT_TRUE(instrument.IsLearning(wet));
    driver.Run(256, input, {{0, 2, 74, 10}});
    EXPECT_EQ(instrument.Tick(), "");
    EXPECT_FALSE(instrument.IsLearning(wet));
    EXPECT_EQ(instrument.ControllerOf(wet), "CC 74 on channel 3");
    driver.Run(256, input, {{10, 2, 74, 127}, {20, 2, 75, 0}, {30, 1, 74, 0}});
    driver.Run(256, input);
    EXPECT_EQ(instrument.Core().Value(wet), 1.0f);
  }
  auto owned = std::make_unique<HandDriver>();
  HandDriver& driver = *owned;
  Instrument again(std::move(owned), folder / "config" / "midi.json");
  again.Run();
  EXPECT_EQ(again.ControllerOf(wet), "CC 74 on channel 3");
  driver.Run(256, input, {{0, 2, 74, 0}});
  driver.Run(256, input);
  EXPECT_EQ(again.Core().Value(wet), 0.0f);
  again.Forget(wet);
  EXPECT_EQ(again.ControllerOf(wet), "");
  MidiMap kept(folder / "config" / "midi.json");
  EXPECT_EQ(kept.ControllerOf(wet), "");
}

TEST_F(StandaloneTest, AListOfControllersThatIsntOneIsSaidAndLeftAlone) {
  const std::filesystem::path path = folder / "midi.json";
  std::ofstream(path) << R"({"controllers": [{"channel": "x"}, 7,
    {"channel": 1, "controller": 21, "parameter": "Prismel_Wet"}]})";
  EXPECT_EQ(MidiMap(path).ControllerOf(host::ParameterTable::Get().At("Prismel_Wet").Index()), "CC 21");
  std::ofstream(path) << "{\"controllers\": 3}";
  MidiMap map(path);
  EXPECT_THAT(map.TakeProblem(), HasSubstr("midi.json"));
  std::ifstream file(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "{\"controllers\": 3}");
}

}  // namespace
}  // namespace Vantora::plugin
