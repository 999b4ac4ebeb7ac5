// Renders of a set of scenarios against stored ones. A change of the sound is deliberate or a fault: after a
// deliberate one, scripts/golden writes the files anew, and their difference is part of the review. So most
// are stored as levels, which a reader can compare; three are stored sample by sample, which moves for less.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <sstream>

#include "tests/processor/Scenarios.h"

namespace Vantora::test {
namespace {

bool IsWriting() { return std::getenv("PRISMEL_WRITE_GOLDEN") != nullptr; }

std::string PathOf(const Scenario& scenario, const char* ending) {
  return std::string(PRISMEL_GOLDEN_FOLDER) + "/" + scenario.name + ending;
}

std::string NameOf(const testing::TestParamInfo<Scenario>& scenario) { return scenario.param.name; }

// A delay that is taken up anew, a read between samples, grains and their random offsets.
bool IsExact(const Scenario& scenario) {
  const std::string name = scenario.name;
  return name == "cascade" || name == "comb" || name == "harmonizer";
}

std::vector<Scenario> Chosen(bool exact) {
  std::vector<Scenario> chosen = Scenarios();
  std::erase_if(chosen, [exact](const Scenario& scenario) { return IsExact(scenario) != exact; });
  return chosen;
}

// ---- Levels ----------------------------------------------------------------------------------------------

constexpr size_t kWindows = 8, kBands = 5;
constexpr std::array<double, kBands - 1> kSplits = {125.0, 500.0, 2000.0, 8000.0};  // Hz
constexpr double kFloorDb = -120.0, kToleranceDb = 0.02;

/// Levels in dB of one side, by window and band. The bands are differences of one-pole low-passes.
std::vector<std::array<double, kBands>> Levels(const std::vector<float>& both, size_t side, double rate) {
  std::array<double, kBands - 1> low{};
  std::vector<std::array<double, kBands>> rows(kWindows);
  const size_t length = both.size() / 2 / kWindows;
  for (auto& row : rows) {
    const size_t begin = static_cast<size_t>(&row - rows.data()) * length;
    std::array<double, kBands> power{};
    for (size_t i = begin; i < begin + length; ++i) {
      const double x = double{both[2 * i + side]};
      double below = 0.0;
      for (size_t band = 0; band < kBands; ++band) {
        double upTo = x;
        if (band < kSplits.size()) {
          low[band] += (1.0 - std::exp(-2.0 * std::numbers::pi * kSplits[band] / rate)) * (x - low[band]);
          upTo = low[band];
        }
        power[band] += (upTo - below) * (upTo - below);
        below = upTo;
      }
    }
    for (size_t band = 0; band < kBands; ++band) {
      row[band] = std::max(kFloorDb, 10.0 * std::log10(power[band] / static_cast<double>(length) + 1e-30));
    }
  }
  return rows;
}

class GoldenLevels : public testing::TestWithParam<Scenario> {};

TEST_P(GoldenLevels, AreAsStoredInEveryWindowAndBand) {
  // Each case is a process of its own under CTest: the scenario gets the first processor's seeds.
  const Scenario& scenario = GetParam();
  const auto both = Render(scenario);
  std::string text =
      "# dB of left, then right: a row for each 62.5 ms; below 125 Hz, 500 Hz, 2 kHz, 8 kHz, above\n";
  std::vector<double> levels;
  const auto rate = static_cast<double>(scenario.sampleRate);
  const auto left = Levels(both, 0, rate), right = Levels(both, 1, rate);
  for (size_t window = 0; window < kWindows; ++window) {
    for (const auto* side : {&left, &right}) {
      for (const double level : (*side)[window]) {
        std::array<char, 32> field{};
        std::snprintf(field.data(), field.size(), "%8.2f", level);
        text += field.data();
        levels.push_back(level);
      }
    }
    text += '\n';
  }
  if (IsWriting()) {
    ASSERT_TRUE(std::ofstream(PathOf(scenario, ".txt")) << text);
    GTEST_SKIP() << "written";
  }
  std::ifstream file(PathOf(scenario, ".txt"));
  std::string heading;
  ASSERT_TRUE(std::getline(file, heading)) << PathOf(scenario, ".txt");
  EXPECT_GT(*std::max_element(levels.begin(), levels.end()), -40.0) << "a stored silence proves nothing";
  for (size_t i = 0; i < levels.size(); ++i) {
    double stored = 0.0;
    ASSERT_TRUE(file >> stored) << "value " << i;
    EXPECT_NEAR(levels[i], stored, kToleranceDb)
        << "window " << i / (2 * kBands) << (i / kBands % 2 == 0 ? ", left" : ", right") << ", band "
        << i % kBands;
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenLevels, testing::ValuesIn(Chosen(false)), NameOf);

// ---- Samples ---------------------------------------------------------------------------------------------

class GoldenSamples : public testing::TestWithParam<Scenario> {};

TEST_P(GoldenSamples, AreAsStoredToMinus120Decibels) {
  const auto whole = Render(GetParam());
  // The second quarter's beginning: what sounds after the start.
  const std::vector<float> rendered(whole.begin() + static_cast<long>(whole.size() / 4),
                                    whole.begin() + static_cast<long>(whole.size() / 3));
  const std::string path = PathOf(GetParam(), ".f32");
  const auto size = static_cast<std::streamsize>(rendered.size() * sizeof(float));
  if (IsWriting()) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(rendered.data()), size);
    ASSERT_TRUE(file.good());
    GTEST_SKIP() << "written";
  }
  std::vector<float> stored(rendered.size());
  std::ifstream file(path, std::ios::binary);
  file.read(reinterpret_cast<char*>(stored.data()), size);
  ASSERT_TRUE(file.good()) << path;
  double difference = 0.0, signal = 0.0;
  for (size_t i = 0; i < stored.size(); ++i) {
    const double d = double{rendered[i]} - double{stored[i]};
    difference += d * d;
    signal += double{stored[i]} * double{stored[i]};
  }
  ASSERT_GT(signal, 1e-4) << "a stored silence proves nothing";
  EXPECT_LT(10.0 * std::log10(difference / signal + 1e-30), -120.0);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, GoldenSamples, testing::ValuesIn(Chosen(true)), NameOf);

}  // namespace
}  // namespace Vantora::test
