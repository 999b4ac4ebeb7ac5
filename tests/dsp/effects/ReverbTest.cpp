#include "dsp/effects/Reverb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

using Core = DattorroCore;

struct Stereo {
  std::vector<float> left, right;
};

/// `seconds` of a rig's outputs after an impulse of 1 on the left.
template <typename Rig>
Stereo ImpulseResponse(Rig& rig, uint32_t count) {
  Stereo response;
  rig.inputs[0][0] = 1.0f;
  while (response.left.size() < count) {
    rig.Process();
    rig.inputs[0][0] = 0.0f;
    response.left.insert(response.left.end(), rig.outputs[0], rig.outputs[0] + rig.block);
    response.right.insert(response.right.end(), rig.outputs[1], rig.outputs[1] + rig.block);
  }
  return response;
}

class Tank : public test::EffectRig<DattorroCore> {
 public:
  explicit Tank(float rate = 48000.0f, uint32_t blockSize = 48) : EffectRig(blockSize, rate) {}
};

class Plate : public test::EffectRig<Reverb> {
 public:
  explicit Plate(float rate = 48000.0f, uint32_t blockSize = 48) : EffectRig(blockSize, rate) {}
  void SetOwn(Reverb::OwnIndex own, float value) { Set(Reverb::kOwnBase + own, value); }
};

TEST(DattorroCore, FirstReachesTheLeftAfterItsFirstTapWithTheSignsOfTheDiffusers) {
  for (const float rate : {29761.0f, 44100.0f, 48000.0f, 96000.0f}) {
    Tank tank(rate);
    tank.Set(Core::kExcursion, 0.0f);
    const Stereo out = ImpulseResponse(tank, 4800);
    const auto tap = static_cast<uint32_t>(266.0f * (rate * 3.360101982e-05f));
    if (rate == 29761.0f) {
      EXPECT_EQ(tap, 265u);  // the scale is a little low
    }
    for (uint32_t i = 0; i < tap; ++i) ASSERT_EQ(out.left[i], 0.0f) << i;
    EXPECT_NEAR(out.left[tap], 0.6 * 0.5 * 0.75 * 0.75 * 0.625 * 0.625 * -0.7, 1e-8);
    EXPECT_NEAR(out.left[tap], -0.0461426, 1e-7);
    const auto rightTap = static_cast<uint32_t>(121.0f * (rate * 3.360101982e-05f));
    for (uint32_t i = 0; i < rightTap; ++i) ASSERT_EQ(out.right[i], 0.0f) << i;
  }
}

TEST(DattorroCore, EachDiffuserEchoesAfterItsLength) {
  Tank tank(29761.0f);
  tank.Set(Core::kExcursion, 0.0f);
  const Stereo out = ImpulseResponse(tank, 4800);
  const auto direct = static_cast<double>(out.left[265]);
  const struct {
    uint32_t length;
    double gain;
  } diffusers[] = {{142, 0.75}, {277, 0.625}, {379, 0.625}, {407, 0.75}};
  for (const auto& [length, gain] : diffusers) {  // an all-pass: gain at once, 1 - gain^2 after its length
    const uint32_t at = 265 + length - 1;         // the scale is a little low
    EXPECT_NEAR(static_cast<double>(out.left[at]), direct * (1.0 - gain * gain) / gain, 1e-6) << length;
    EXPECT_NEAR(out.left[at - 5], 0.0, 1e-6) << length;
  }
  EXPECT_NEAR(out.left[265 + 106], 0.0, 1e-6);
}

// Without diffusion the all-passes are delays, and the response is the taps alone until the loops come round.
TEST(DattorroCore, EveryTapLooksIntoItsLineAtThePapersPlace) {
  Tank tank(29761.0f);
  for (const uint32_t knob : {Core::kExcursion, Core::kInputDiffusion1, Core::kInputDiffusion2,
                              Core::kDecayDiffusion1, Core::kDecayDiffusion2, Core::kDamping}) {
    tank.Set(knob, 0.0f);
  }
  tank.Set(Core::kDecay, 0.5f);
  const Stereo out = ImpulseResponse(tank, 11040);
  const auto scaled = [](float length) {
    return static_cast<uint32_t>(length * (29761.0f * 3.360101982e-05f));
  };
  const uint32_t diffused = scaled(142.0f) + scaled(407.0f) + scaled(379.0f) + scaled(277.0f);
  const uint32_t first[] = {scaled(908.0f), scaled(672.0f)}, middle[] = {4217, 4453},
                 second[] = {scaled(2656.0f), scaled(1800.0f)};  // by half
  enum Line { kLong, kSecond, kEnd };
  const struct {
    Line line;
    uint32_t half;
    float tap, sign;
  } taps[2][7] = {{{kLong, 0, 266.0f, 1.0f},
                   {kLong, 0, 2974.0f, 1.0f},
                   {kSecond, 0, 1913.0f, -1.0f},
                   {kEnd, 0, 1996.0f, 1.0f},
                   {kLong, 1, 1990.0f, -1.0f},
                   {kSecond, 1, 187.0f, -1.0f},
                   {kEnd, 1, 1066.0f, -1.0f}},
                  {{kLong, 1, 353.0f, 1.0f},
                   {kLong, 1, 3627.0f, 1.0f},
                   {kSecond, 1, 1228.0f, -1.0f},
                   {kEnd, 1, 2673.0f, 1.0f},
                   {kLong, 0, 2111.0f, -1.0f},
                   {kSecond, 0, 335.0f, -1.0f},
                   {kEnd, 0, 121.0f, -1.0f}}};
  for (uint32_t side = 0; side < 2; ++side) {
    std::vector<float> expected(11040);
    for (const auto& [line, half, tap, sign] : taps[side]) {
      const uint32_t behind = line == kLong ? 0 : middle[half] + (line == kEnd ? second[half] : 0);
      expected[diffused + first[half] + behind + scaled(tap)] += sign * (line == kLong ? 0.3f : 0.15f);
    }
    const std::vector<float>& heard = side == 0 ? out.left : out.right;
    for (uint32_t i = 0; i < expected.size(); ++i)
      ASSERT_NEAR(heard[i], expected[i], 1e-6) << side << ' ' << i;
  }
}

TEST(DattorroCore, PredelayMovesEverythingByItsTime) {
  Tank now, later;
  later.Set(Core::kPredelay, 10.0f);  // 480 samples
  for (Tank* tank : {&now, &later}) tank->Set(Core::kExcursion, 0.0f);
  const Stereo a = ImpulseResponse(now, 9600), b = ImpulseResponse(later, 9600);
  for (uint32_t i = 0; i < 9000; ++i) {
    ASSERT_NEAR(b.left[i + 480], a.left[i], 5e-6)
        << i;  // 10 ms are not quite 480 samples in single precision
    ASSERT_NEAR(b.right[i + 480], a.right[i], 5e-6) << i;
  }
  for (uint32_t i = 0; i < 480; ++i) ASSERT_EQ(b.left[i], 0.0f);
}

TEST(DattorroCore, TakesOneInputAsItIsAndTwoByTheirMean) {
  Tank both, one;
  const Stereo halved = ImpulseResponse(both, 4800);
  one.inputs[1] = nullptr;
  const Stereo full = ImpulseResponse(one, 4800);
  for (uint32_t i = 0; i < 4800; ++i) ASSERT_NEAR(full.left[i], 2.0f * halved.left[i], 1e-7);
}

TEST(DattorroCore, EarlyTapsTurnTheirSignAndMoveTogether) {
  Tank plain, turned, near;
  turned.Set(Core::kInvertEarly, 1.0f);
  near.Set(Core::kEarlySize, 0.5f);
  for (Tank* tank : {&plain, &turned, &near}) tank->Set(Core::kExcursion, 0.0f);
  const Stereo a = ImpulseResponse(plain, 4800), b = ImpulseResponse(turned, 4800),
               c = ImpulseResponse(near, 4800);
  const uint32_t tap = 429;  // 266 at 48 kHz
  EXPECT_EQ(b.left[tap], -a.left[tap]);
  EXPECT_EQ(c.left[214], a.left[tap]);
}

TEST(DattorroCore, SoundsTheSameHoweverTheStreamIsCutIntoBlocks) {
  Tank whole, cut;
  const auto noise = [](uint32_t i) {
    return static_cast<float>((i * 2654435761u) >> 8) / 8388608.0f - 1.0f;
  };
  const auto expected = whole.Run(9600, noise);
  std::vector<float> pieces;
  for (uint32_t n = 1; pieces.size() < 9600; n = n % 43 + 3) {
    for (uint32_t i = 0; i < n; ++i) cut.inputs[0][i] = noise(static_cast<uint32_t>(pieces.size()) + i);
    cut.Process(n);
    pieces.insert(pieces.end(), cut.outputs[0], cut.outputs[0] + n);
  }
  for (uint32_t i = 0; i < 9600; ++i) ASSERT_NEAR(pieces[i], expected[i], 1e-6) << i;
}

/// Seconds for the energy that is left (Schroeder's integral) to fall from -5 to -35 dB, doubled to 60 dB.
double DecayTime(const Stereo& response, double rate) {
  std::vector<double> left(response.left.size() + 1, 0.0);
  for (std::size_t i = response.left.size(); i-- > 0;) {
    left[i] = left[i + 1] + static_cast<double>(response.left[i]) * response.left[i] +
              static_cast<double>(response.right[i]) * response.right[i];
  }
  std::size_t from = 0, to = 0;
  while (from < left.size() && left[from] > left[0] * std::pow(10.0, -0.5)) ++from;
  while (to < left.size() && left[to] > left[0] * std::pow(10.0, -3.5)) ++to;
  return 2.0 * static_cast<double>(to - from) / rate;
}

TEST(DattorroCore, DecayTimeFollowsTheLoopGain) {
  // Once around both halves is 4217 + 2656 + 3163 + 908 + 4453 + 1800 + 3720 + 672 samples at 29761 Hz and
  // takes Decay to the fourth, so the time to -60 dB is that loop times 3 / (-4 log10(Decay)). The all-passes
  // hold energy back, which makes short tails longer than the loop says.
  constexpr double kLoopSeconds = 21589.0 / 29761.0;
  double before = 0.0;
  for (const float decay : {0.2f, 0.35f, 0.5f, 0.65f, 0.8f, 0.9f}) {
    Tank tank(48000.0f, 480);
    tank.Set(Core::kDecay, decay);
    tank.Set(Core::kDamping, 0.0f);
    const double predicted = kLoopSeconds * 3.0 / (-4.0 * std::log10(decay));
    const double measured = DecayTime(
        ImpulseResponse(tank, static_cast<uint32_t>(48000 * std::max(3.0, 2.0 * predicted))), 48000.0);
    std::printf("decay %.2f: %.2f s to -60 dB, loop alone %.2f s\n", static_cast<double>(decay), measured,
                predicted);
    EXPECT_GT(measured, before);
    EXPECT_NEAR(measured / predicted, 1.0, 0.3);
    before = measured;
  }
}

TEST(DattorroCore, DampingShortensTheHighsOnly) {
  const auto tailDb = [](float damping, double hz) {
    Tank tank(48000.0f, 480);
    tank.Set(Core::kDamping, damping);
    tank.Set(Core::kDecay, 0.8f);
    Stereo out = ImpulseResponse(tank, 48000);
    std::vector<float> tail(out.left.begin() + 38400, out.left.end());  // 9600 samples: bins of 5 Hz
    for (uint32_t i = 0; i < 9600; ++i)
      tail[i] *= static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / 9600));
    double power = 0.0;
    for (uint32_t k = 0; k < 40; ++k) power += test::PowerAt(tail, static_cast<uint32_t>(hz / 5.0) + k);
    return 10.0 * std::log10(power);
  };
  EXPECT_NEAR(tailDb(0.5f, 100.0), tailDb(0.0f, 100.0), 3.0);
  EXPECT_LT(tailDb(0.5f, 8000.0), tailDb(0.0f, 8000.0) - 8.0);
}

TEST(DattorroCore, FillsUpWithEchoesAndKeepsTheSidesApart) {
  Tank tank(48000.0f, 480);
  tank.Set(Core::kDecay, 0.7f);
  const Stereo out = ImpulseResponse(tank, 48000);
  // Echo density (Abel, Huang, 2006): the share of samples beyond
  // one deviation, 1 when the tail is as dense as Gaussian noise.
  const auto density = [&](uint32_t from) {
    const std::vector<float> part(out.left.begin() + from, out.left.begin() + from + 2400);
    const double deviation = std::sqrt(test::MeanSquare(part));
    uint32_t beyond = 0;
    for (const float x : part) beyond += std::fabs(x) > deviation ? 1u : 0u;
    return beyond / 2400.0 / std::erfc(1.0 / std::sqrt(2.0));
  };
  double dot = 0.0, ll = 0.0, rr = 0.0;
  for (uint32_t i = 0; i < 48000; ++i) {
    dot += static_cast<double>(out.left[i]) * out.right[i];
    ll += static_cast<double>(out.left[i]) * out.left[i];
    rr += static_cast<double>(out.right[i]) * out.right[i];
  }
  const double correlation = dot / std::sqrt(ll * rr);
  std::printf(
      "echo density at 0.1, 0.2, 0.5 s: %.2f %.2f %.2f; left against right: correlation %.3f, level %.2f "
      "dB\n",
      density(4800), density(9600), density(24000), correlation, 10.0 * std::log10(ll / rr));
  EXPECT_GT(density(9600), 0.6);
  EXPECT_GT(density(24000), 0.85);
  EXPECT_LT(std::fabs(correlation), 0.15);
  EXPECT_NEAR(10.0 * std::log10(ll / rr), 0.0, 1.5);
}

// Two settings that ran away before the modulated reads were made to keep their energy.
TEST(DattorroCore, IsStableWhereTheLoopKeepsStepWithTheModulator) {
  struct Setting {
    float diffusion1, diffusion2, excursion, rate, spread, size;
  };
  for (const Setting& s :
       {Setting{0.95f, 0.95f, 4.07f, 9.07f, 0.56f, 0.1f}, Setting{0.34f, 0.12f, 2.49f, 7.94f, 0.0f, 0.19f}}) {
    Tank tank(44100.0f, 512);
    tank.Set(Core::kDecay, 0.99f);
    tank.Set(Core::kDamping, 0.0f);
    tank.Set(Core::kDecayDiffusion1, s.diffusion1);
    tank.Set(Core::kDecayDiffusion2, s.diffusion2);
    tank.Set(Core::kExcursion, s.excursion);
    tank.Set(Core::kRate, s.rate);
    tank.Set(Core::kSpread, s.spread);
    tank.Set(Core::kSize, s.size);
    const auto out = tank.Run(512 * 86 * 60, [](uint32_t i) {
      return i < 441000 ? static_cast<float>((i * 2654435761u) >> 8) / 8388608.0f - 1.0f : 0.0f;
    });
    const auto powerAt = [&](double second) {
      const auto from = out.begin() + static_cast<std::ptrdiff_t>(44100 * second);
      return test::MeanSquare({from, from + 44100});
    };
    EXPECT_LT(powerAt(58.0), 1e-3 * powerAt(11.0));
  }
}

// Noise into every corner of the settings, then silence: a minute of audio.
TEST(DattorroCore, IsStableInEveryCorner) {
  constexpr float kRates[] = {8000.0f, 44100.0f, 192000.0f};
  std::mt19937 random(3);
  double loudest = 0.0;
  for (uint32_t corner = 0; corner < 48; ++corner) {
    const float rate = kRates[corner % 3];
    Tank tank(rate, 512);
    for (uint32_t p = 0; p < Core::kParamCount; ++p) {
      if (p != Core::kPredelay) tank.effect.SetParam(p, corner < 3 || (random() & 1) != 0 ? 1.0f : 0.0f);
    }
    tank.Set(Core::kDecay, 0.99f);
    tank.Set(Core::kDamping, corner % 2 == 0 ? 0.0f : 0.0005f);
    SCOPED_TRACE("corner " + std::to_string(corner));
    std::uniform_real_distribution<float> white(-1.0f, 1.0f);
    const auto blocks = static_cast<uint32_t>((corner < 6 ? 60.0f : 6.0f) * rate / 512.0f);
    double early = 0.0, late = 0.0;
    for (uint32_t b = 0; b < blocks; ++b) {
      for (uint32_t i = 0; i < 512; ++i) tank.inputs[0][i] = b < blocks / 4 ? white(random) : 0.0f;
      tank.Process();
      double power = 0.0;
      for (uint32_t i = 0; i < 512; ++i)
        power += static_cast<double>(tank.outputs[0][i]) * tank.outputs[0][i];
      ASSERT_TRUE(std::isfinite(power)) << b;
      if (b >= blocks / 4 && b < blocks / 2) early += power;
      if (b >= 3 * (blocks / 4)) late += power;
      loudest = std::max(loudest, power / 512.0);
    }
    EXPECT_LE(late, early);
  }
  std::printf("loudest block of white noise at full scale: %.1f dB\n", 10.0 * std::log10(loudest));
}

TEST(DattorroCore, RecoversFromNaNWithinOneReset) {
  Tank tank, fresh;
  tank.inputs[0][3] = NAN;
  for (int block = 0; block < 300; ++block) tank.Process();
  std::fill_n(tank.inputs[0], 48, 0.0f);
  tank.effect.ResetState(false);
  const Stereo a = ImpulseResponse(tank, 9600), b = ImpulseResponse(fresh, 9600);
  for (uint32_t i = 0; i < 9600; ++i) ASSERT_EQ(a.left[i], b.left[i]) << i;
}

TEST(Reverb, DryIsTheInputBitForBit) {
  Plate plate;
  plate.SetOwn(Reverb::kWet, 0.0f);
  const auto source = [](uint32_t i) { return std::sin(0.1 * i); };
  const auto out = plate.Run(4800, source);
  for (uint32_t i = 0; i < 4800; ++i) ASSERT_EQ(out[i], static_cast<float>(source(i)));
}

TEST(Reverb, WetAloneIsTheTankTimesTheOutputGain) {
  Plate plate;
  Tank tank;
  plate.SetOwn(Reverb::kWet, 1.0f);
  plate.SetOwn(Reverb::kOutputGain, 6.0f);
  const Stereo a = ImpulseResponse(plate, 9600), b = ImpulseResponse(tank, 9600);
  const double gain = std::pow(2.0, 6.0 * 0.1660964);
  for (uint32_t i = 0; i < 9600; ++i) {
    ASSERT_NEAR(a.left[i], gain * b.left[i], 1e-6) << i;
    ASSERT_NEAR(a.right[i], gain * b.right[i], 1e-6) << i;
  }
}

TEST(Reverb, MidSideMixGoesFromMonoToSidesOnly) {
  for (const float mix : {0.0f, 1.0f}) {
    Plate plate;
    plate.SetOwn(Reverb::kWet, 1.0f);
    plate.SetOwn(Reverb::kMidSideMix, mix);
    const Stereo out = ImpulseResponse(plate, 4800);
    for (uint32_t i = 48; i < 4800; ++i)
      ASSERT_NEAR(out.left[i], mix == 0.0f ? out.right[i] : -out.right[i], 1e-7);
    EXPECT_GT(test::MeanSquare(out.left), 1e-6);
  }
}

TEST(Reverb, BandLimitsKeepOutWhatLiesBeyondThem) {
  const auto levelDb = [](double hz, float lowPassHz, float highPassHz) {
    Plate plate;
    plate.SetOwn(Reverb::kWet, 1.0f);
    if (lowPassHz < 20000.0f) plate.SetOwn(Reverb::kLowPass, lowPassHz);
    if (highPassHz > 30.0f) plate.SetOwn(Reverb::kHighPass, highPassHz);
    auto out =
        plate.Run(48000, [&](uint32_t i) { return std::sin(2.0 * std::numbers::pi * hz * i / 48000.0); });
    out.erase(out.begin(), out.begin() + 24000);
    return 10.0 * std::log10(test::MeanSquare(out));
  };
  const double open = levelDb(4000.0, 20000.0f, 30.0f);
  EXPECT_NEAR(levelDb(4000.0, 1000.0f, 30.0f) - open, -24.1, 1.0);
  EXPECT_NEAR(levelDb(250.0, 20000.0f, 1000.0f) - levelDb(250.0, 20000.0f, 30.0f), -24.1, 1.0);
}

// A knob thrown from end to end under a steady tone must not click: no step between neighbouring samples
// beyond what the tone and its echoes make.
TEST(Reverb, NoKnobThatIsPlayedClicks) {
  const struct {
    uint32_t index;
    float from, to;  // positions
  } moves[] = {{Core::kPredelay, 0.0f, 0.2f},
               {Core::kDecay, 0.3f, 0.95f},
               {Core::kDamping, 0.0f, 0.6f},
               {Core::kInputDiffusion1, 0.1f, 0.9f},
               {Core::kDecayDiffusion1, 0.1f, 0.9f},
               {Core::kExcursion, 0.0f, 0.5f},
               {Reverb::kOwnBase + Reverb::kLowPass, 0.9f, 0.3f},
               {Reverb::kOwnBase + Reverb::kHighPass, 0.1f, 0.6f},
               {Reverb::kOwnBase + Reverb::kWet, 0.1f, 0.9f},
               {Reverb::kOwnBase + Reverb::kOutputGain, 0.3f, 0.6f},
               {Reverb::kOwnBase + Reverb::kMidSideMix, 0.1f, 0.9f}};
  for (const auto& [index, from, to] : moves) {
    Plate plate;
    plate.SetOwn(Reverb::kWet, 1.0f);
    plate.effect.SetParam(index, from);
    plate.effect.ResetState(true);
    uint32_t sample = 0;
    const auto tone = [&](uint32_t i) {
      return 0.5 * std::sin(2.0 * std::numbers::pi * 100.0 * (sample + i) / 48000.0);
    };
    // The size of the third difference: nearly nothing for a 100 Hz tone, large for a step.
    const auto roughness = [](const std::vector<float>& x) {
      float worst = 0.0f;
      for (std::size_t i = 3; i < x.size(); ++i) {
        worst = std::max(worst, std::fabs(x[i] - 3.0f * x[i - 1] + 3.0f * x[i - 2] - x[i - 3]));
      }
      return worst;
    };
    plate.Run(96000, tone);
    sample += 96000;
    plate.effect.SetParam(index, to);
    const float thrown = roughness(plate.Run(9600, tone));
    EXPECT_LT(thrown, 0.01f) << plate.effect.Param(index).GetName();
  }
}

TEST(Reverb, IsRealTimeAndRecoversWithinOneReset) {
  Plate plate;
  plate.SetOwn(Reverb::kLowPass, 5000.0f);
  plate.SetOwn(Reverb::kHighPass, 100.0f);
  plate.Process();
  plate.Set(Core::kDecay, 0.9f);
  plate.SetOwn(Reverb::kWet, 0.7f);
  EXPECT_REAL_TIME(plate.Process());
  std::fill_n(plate.inputs[0], 48, INFINITY);
  plate.Process();
  std::fill_n(plate.inputs[0], 48, 0.1f);
  plate.effect.ResetState(false);
  for (int block = 0; block < 200; ++block) {
    plate.Process();
    for (uint32_t i = 0; i < 48; ++i)
      ASSERT_TRUE(std::isfinite(plate.outputs[0][i]) && std::isfinite(plate.outputs[1][i]));
  }
  plate.outputs[1] = nullptr;
  plate.inputs[1] = nullptr;
  EXPECT_EQ(plate.Process(), 1u);
  EXPECT_EQ(plate.Process(0), 1u);
  EXPECT_EQ(plate.Process(7), 1u);
}

}  // namespace
}  // namespace Vantora::dsp
