#include "dsp/effects/FilterCompensation.h"

#include <array>

#include "basictools/math/Decibels.h"

namespace Vantora::dsp {
namespace {

using Row = std::array<float, 6>;  // dB at each of kQ

constexpr Row kQ = {0.5f, 1.25f, 2.5f, 5.0f, 10.0f, 15.0f};

// By number of sections.
constexpr std::array<Row, 3> kPass = {{
    {0.0f, -1.0f, -2.0f, -3.0f, -5.0f, -6.0f},
    {0.0f, -1.5f, -3.0f, -11.0f, -22.0f, -28.0f},
    {0.0f, -3.0f, -10.0f, -22.0f, -36.0f, -48.0f},
}};
constexpr std::array<Row, 3> kBand = {{
    {6.0f, 4.0f, 2.0f, -2.0f, -6.0f, -8.0f},
    {12.0f, 6.0f, 0.0f, -12.0f, -22.0f, -24.0f},
    {20.0f, 10.0f, -3.0f, -18.0f, -36.0f, -48.0f},
}};

}  // namespace

float ResonanceCompensation(const FilterMode& mode, float q) noexcept {
  if (mode.topology != FilterTopology::StateVariable || mode.use == FilterUse::Notch ||
      mode.use == FilterUse::Bell) {
    return 1.0f;
  }
  const Row& row = (mode.use == FilterUse::BandPass ? kBand : kPass)[mode.order - 1u];
  uint32_t high = 1;
  while (high < 5 && kQ[high] < q) ++high;
  const uint32_t low = high - 1;
  return DbToGain(row[low] + (row[high] - row[low]) * ((q - kQ[low]) / (kQ[high] - kQ[low])));
}

float CombCompensation(float feedback) noexcept {
  const float square = feedback * feedback;
  return (square * -1.560468f - 0.5438554f) * feedback + (square * 1.296221f + 1.00086f);
}

}  // namespace Vantora::dsp
