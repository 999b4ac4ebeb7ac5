// Renders of a set of scenarios against stored ones. A change of the sound is deliberate or a fault: after a
// deliberate one, scripts/golden writes the files anew, and their difference is part of the review.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/processor/Scenarios.h"

namespace Vantora::test {
namespace {

// The second quarter of the half second, every frame: what sounds after the start, in 16-bit-free floats.
std::vector<float> Kept(const std::vector<float>& whole) {
  return {whole.begin() + static_cast<long>(whole.size() / 4),
          whole.begin() + static_cast<long>(whole.size() / 3)};
}

std::string PathOf(const Scenario& scenario) {
  return std::string(PRISMEL_GOLDEN_FOLDER) + "/" + scenario.name + ".f32";
}

class Golden : public testing::TestWithParam<Scenario> {};

TEST_P(Golden, SoundsAsStoredToMinus120Decibels) {
  // Each case is a process of its own under CTest: the scenario gets the first processor's seeds.
  const auto rendered = Kept(Render(GetParam()));
  if (std::getenv("PRISMEL_WRITE_GOLDEN") != nullptr) {
    std::ofstream file(PathOf(GetParam()), std::ios::binary);
    file.write(reinterpret_cast<const char*>(rendered.data()),
               static_cast<std::streamsize>(rendered.size() * sizeof(float)));
    ASSERT_TRUE(file.good());
    GTEST_SKIP() << "written";
  }
  std::vector<float> stored(rendered.size());
  std::ifstream file(PathOf(GetParam()), std::ios::binary);
  file.read(reinterpret_cast<char*>(stored.data()),
            static_cast<std::streamsize>(stored.size() * sizeof(float)));
  ASSERT_TRUE(file.good()) << PathOf(GetParam());
  double difference = 0.0;
  double signal = 0.0;
  for (size_t i = 0; i < stored.size(); ++i) {
    const double d = static_cast<double>(rendered[i]) - static_cast<double>(stored[i]);
    difference += d * d;
    signal += static_cast<double>(stored[i]) * static_cast<double>(stored[i]);
  }
  ASSERT_GT(signal, 1e-4) << "a stored silence proves nothing";
  EXPECT_LT(10.0 * std::log10(difference / signal + 1e-30), -120.0);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, Golden, testing::ValuesIn(Scenarios()),
                         [](const auto& scenario) { return scenario.param.name; });

}  // namespace
}  // namespace Vantora::test
