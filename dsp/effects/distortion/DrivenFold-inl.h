// The wavefolder's block while its drive is on its way, from decibels to the output in one go, with the bits
// of FoldGains and FoldThrough. Compiled anew for each instruction set, as LaneNumber-inl.h is.
#include <algorithm>
#include <cstdint>

#include "basictools/BitCast.h"
#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/distortion/DistortionKernels.h"

#if defined(PRISMEL_DRIVEN_FOLD_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_DRIVEN_FOLD_INL
#undef PRISMEL_DRIVEN_FOLD_INL
#else
#define PRISMEL_DRIVEN_FOLD_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

HWY_ALIGN constexpr float kFirstPlaces[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

#if HWY_TARGET != HWY_EMU128  // whose lanes are no gain

constexpr float kWholeBits = 12582912.0f;

// Exp and log follow one another here, each in a scale by a power of two that spares a step of the other:
// that moves exponents and no bit of a mantissa. Steps as in VectorExpLog.h.

constexpr float kLog2e = BitCast<float>(0x3FB8AA3Bu);
constexpr float kLn2 = BitCast<float>(0x3F317218u);  // 21 bits: up to 8 times it is exact
static_assert(kFoldDriveLimit * 0.1661 < 8.5);       // of the gain's exponent
constexpr float kNepersPerDecibel = 0.115129255f;    // ln(10) / 20

// a * b + c and c - a * b, fused where the machine does so: only for what is the same either way.
template <typename D>
HWY_INLINE LaneNumber<D> FreelyAdd(LaneNumber<D> a, LaneNumber<D> b, LaneNumber<D> c) {
  return {hn::MulAdd(a.v, b.v, c.v)};
}
template <typename D>
HWY_INLINE LaneNumber<D> FreelySubtract(LaneNumber<D> a, LaneNumber<D> b, LaneNumber<D> c) {
  return {hn::NegMulAdd(a.v, b.v, c.v)};
}
template <typename N>
HWY_INLINE NumberPair<N> FreelyAdd(NumberPair<N> a, NumberPair<N> b, NumberPair<N> c) {
  return {FreelyAdd(a.low, b.low, c.low), FreelyAdd(a.high, b.high, c.high)};
}
template <typename N>
HWY_INLINE NumberPair<N> FreelySubtract(NumberPair<N> a, NumberPair<N> b, NumberPair<N> c) {
  return {FreelySubtract(a.low, b.low, c.low), FreelySubtract(a.high, b.high, c.high)};
}

// The whole number nearest to x * scale, in the last bits of a sum whose last place counts ones. ExpFloat4
// takes the one below the rounded product + 0.5: the same, but next to the middle between two, which the
// limits below keep away. SineFloat4, which cuts off behind 0.5 more, has the like below.
template <typename T>
HWY_INLINE T NearestIn(T x, float scale, float offset) {
  return FreelyAdd(x, Number<T>(scale), Number<T>(offset));
}
template <typename T>
HWY_INLINE T WholeOf(T sum, float offset) {
  return sum - Number<T>(offset);
}
// 2 to the power of it: twice that with the first of these offsets, half of it with the second.
constexpr float kTwicePower = kExponentBits + 1.0f;
constexpr float kHalfPower = kExponentBits - 1.0f;
template <typename D>
HWY_INLINE LaneNumber<D> PowerOf(LaneNumber<D> sum) {
  const hn::RebindToUnsigned<D> du;
  return {hn::BitCast(D(), hn::ShiftLeft<23>(hn::BitCast(du, sum.v)))};
}
template <typename N>
HWY_INLINE NumberPair<N> PowerOf(NumberPair<N> sum) {
  return {PowerOf(sum.low), PowerOf(sum.high)};
}

// What ExpFloat4 adds to 1, times the scale, of its r times the scale: half of it, or twice.
template <bool kIsHalf, typename T>
HWY_INLINE T ScaledExpRest(T r, T r2) {
  constexpr auto scaled = [](float number, int32_t power) {
    const float size = static_cast<float>(1 << power);
    return kIsHalf ? number * size : number / size;
  };
  constexpr float c[] = {scaled(0.000198756912f, 6), scaled(0.00139819994f, 5), scaled(0.00833345205f, 4),
                         scaled(0.0416657962f, 3),   scaled(0.166666657f, 2),   scaled(0.5f, 1)};
  T y = r * Number<T>(c[0]) + Number<T>(c[1]);
  y = y * r + Number<T>(c[2]);
  y = y * r + Number<T>(c[3]);
  y = y * r + Number<T>(c[4]);
  y = y * r + Number<T>(c[5]);
  return y * r2 + r;
}

// Half of what LogFloat4 finds for a mantissa z + 1, in front of the exponent's part; of half the z.
template <typename T>
HWY_INLINE T HalfLogOfMantissa(T z) {
  constexpr auto scaled = [](uint32_t bits, int32_t power) {
    return BitCast<float>(bits) * static_cast<float>(1 << power);
  };
  constexpr float c[] = {0.0703768358f * 1024.0f, scaled(0xBDEBD1B8u, 9), scaled(0x3DEF251Au, 8),
                         scaled(0xBDFE5D4Fu, 7),  scaled(0x3E11E9BFu, 6), scaled(0xBE2AAE50u, 5),
                         scaled(0x3E4CCEACu, 4),  scaled(0xBE7FFFFCu, 3), scaled(0x3EAAAAAAu, 2)};
  const T z2 = z * z;
  T y = z * Number<T>(c[0]) + Number<T>(c[1]);
  y = y * z + Number<T>(c[2]);
  y = y * z + Number<T>(c[3]);
  y = y * z + Number<T>(c[4]);
  y = y * z + Number<T>(c[5]);
  y = y * z + Number<T>(c[6]);
  y = y * z + Number<T>(c[7]);
  y = y * z + Number<T>(c[8]);
  return z + (y * z * z2 - z2);
}

using FoldNumber = LaneNumber<ManyLanes>;
using FoldTwins = NumberPair<FoldNumber>;

// The larger of two that aren't negative, and what isn't a number where one of them isn't: its bits are
// larger.
HWY_INLINE FoldNumber LargerBits(FoldNumber a, FoldNumber b) {
  const hn::RebindToUnsigned<ManyLanes> du;
  return {hn::BitCast(ManyLanes(), hn::Max(hn::BitCast(du, a.v), hn::BitCast(du, b.v)))};
}

// Added to a number, it leaves the nearest whole number of twos in the last bits, above kMostTurns.
constexpr uint32_t kMostTurns = 128;
constexpr float kTurnBits = 25165824.0f + 2.0f * static_cast<float>(kMostTurns);

// What was found of the inputs of some folds.
struct FoldFindings {
  FoldNumber turn;   // the largest square of what is left of half turns
  FoldNumber turns;  // all bits of their numbers
};

// sin(x pi / 2), as SineFloat4 has it.
HWY_INLINE FoldNumber SineFoldOf(FoldNumber x, FoldFindings& found) {
  using T = FoldNumber;
  const ManyLanes d;
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  const T sum = x + c(kTurnBits);
  const T twice = sum - c(kTurnBits);
  found.turns.v = hn::Or(sum.v, found.turns.v);
  // The products with the first two pieces of pi are exact, and so is the first difference: where a machine
  // fuses, the two are one, which has 23 bits.
  constexpr float kHigh = 0.5f * 3.140625f;
  constexpr float kMiddle = 0.5f * 9.67502593994140625e-4f;
  T rest = x * c(1.5707964f);
#if HWY_CAP_GE256
  rest = FreelySubtract(twice, c(kHigh + kMiddle), rest);
#else
  rest = rest - twice * c(kHigh) - twice * c(kMiddle);
#endif
  rest = rest - twice * c(0.5f * 1.509957990978376432e-7f);
  const T z = rest * rest;
  found.turn = LargerBits(z, found.turn);
  T y = z * c(2.59990315e-06f) + c(-0.000198065478f);
  y = y * z + c(0.00833301619f);
  y = y * z + c(-0.166666567f);
  const T sine = rest + rest * z * y;
  const hn::RebindToUnsigned<ManyLanes> du;
  const auto isOdd = hn::BitCast(d, hn::ShiftLeft<31>(hn::BitCast(du, sum.v)));
  return {hn::Xor(sine.v, isOdd)};
}

// Up to there, squared, the r of the gain's exponential, times 1/2, leaves a mantissa between the roots of
// 1/2 and of 2, the one that the logarithm would find; and that of the root's, times 2, is as far from the
// middle between two powers: by more than what rounding makes of kFoldDriveLimit. The last is the same for
// half turns, up to kMostTurns of them.
constexpr float kEvenMantissas = 0.173282f * 0.173282f;
constexpr float kEvenRoots = 0.69314f * 0.69314f;
constexpr float kEvenTurns = 1.5707f * 1.5707f;

constexpr uint32_t kFoldChunk = 64;  // samples
constexpr uint32_t kFoldPairs = 2;   // of blocks at a time
constexpr uint32_t kFoldStep = LanesOf<FoldNumber>::kCount;

// Two blocks, a vector of either in turn.
struct FoldRows {
  HWY_ALIGN float gain[2 * kFoldChunk];
  HWY_ALIGN float root[2 * kFoldChunk];     // half the logarithm first
  HWY_ALIGN float wetGain[2 * kFoldChunk];  // the gain's exponent first
};
struct FoldPair {
  DrivenFold* low;
  DrivenFold* high;
  FoldTwins largest;      // r squared, of the gain
  FoldTwins largestRoot;  // of the root
  FoldFindings foundLow;
  FoldFindings foundHigh;
};

HWY_INLINE void DriveGains(FoldPair& pair, FoldRows& rows, uint32_t start, uint32_t count) {
  using T = FoldTwins;
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  const float* low = pair.low->dB + start;
  const float* high = pair.high->dB + start;
  T largest = pair.largest;
  for (uint32_t i = 0; i < count; i += kFoldStep) {
    const T dB = {LoadAll<FoldNumber>(low + i), LoadAll<FoldNumber>(high + i)};
    const T sum = NearestIn(dB, kNepersPerDecibel * kLog2e, kTwicePower);
    const T whole = WholeOf(sum, kTwicePower);
    const T r = FreelySubtract(whole, c(0.5f * kLn2), dB * c(0.5f * kNepersPerDecibel));
    const T r2 = r * r;
    largest = Greater(r2, largest);
    const T mantissa = ScaledExpRest<true>(r, r2) + c(0.5f);
    StoreAll(mantissa * PowerOf(sum), rows.gain + 2 * i);
    StoreAll(mantissa, rows.root + 2 * i);
    StoreAll(whole, rows.wetGain + 2 * i);
  }
  pair.largest = largest;
}

HWY_INLINE void HalfLogs(FoldRows& rows, uint32_t count) {
  using T = FoldTwins;
  for (uint32_t i = 0; i < 2 * count; i += 2 * kFoldStep) {
    const T z = LoadAll<T>(rows.root + i) - Number<T>(0.5f);
    const T whole = LoadAll<T>(rows.wetGain + i);
    StoreAll(FreelyAdd(whole, Number<T>(0.5f * kLn2), HalfLogOfMantissa(z)), rows.root + i);
  }
}

HWY_INLINE void RootsAndWetGains(FoldPair& pair, const float* places, FoldRows& rows, uint32_t count) {
  using T = FoldTwins;
  const auto c = [](float number) HWY_ATTR { return Number<T>(number); };
  const CompensationLine low = pair.low->compensation;
  const CompensationLine high = pair.high->compensation;
  const T from = {Number<FoldNumber>(low.from), Number<FoldNumber>(high.from)};
  const T step = {Number<FoldNumber>(low.step), Number<FoldNumber>(high.step)};
  T largest = pair.largestRoot;
  for (uint32_t i = 0; i < count; i += kFoldStep) {
    const T x = LoadAll<T>(rows.root + 2 * i);
    const T sum = NearestIn(x, 0.5f * kLog2e, kHalfPower);
    const T r = FreelySubtract(WholeOf(sum, kHalfPower), c(2.0f * kLn2), x);
    const T r2 = r * r;
    largest = Greater(r2, largest);
    const T root = (ScaledExpRest<false>(r, r2) + c(2.0f)) * PowerOf(sum);
    StoreAll(root, rows.root + 2 * i);
    const FoldNumber place = LoadAll<FoldNumber>(places + i);
    StoreAll(c(1.0f) / root * (from + step * T{place, place}), rows.wetGain + 2 * i);
  }
  pair.largestRoot = largest;
}

HWY_INLINE void FoldDriven(FoldPair& pair, const FoldRows& rows, uint32_t start, uint32_t count) {
  using T = FoldTwins;
  DrivenFold& low = *pair.low;
  DrivenFold& high = *pair.high;
  FoldFindings foundLow = pair.foundLow;
  FoldFindings foundHigh = pair.foundHigh;
  for (uint32_t i = 0; i < count; i += kFoldStep) {
    const uint32_t lanes = kFoldStep == 4 ? 4 : std::min(kFoldStep, count - i);  // blocks are of whole fours
    const T x = {LoadNumber<FoldNumber>(low.in + start + i, lanes),
                 LoadNumber<FoldNumber>(high.in + start + i, lanes)};
    const T driven = x * LoadAll<T>(rows.gain + 2 * i) * LoadAll<T>(rows.root + 2 * i);
    const T folded = {SineFoldOf(driven.low, foundLow), SineFoldOf(driven.high, foundHigh)};
    // The input's share is +0.
    const T y = Number<T>(0.0f) + LoadAll<T>(rows.wetGain + 2 * i) * folded;
    StoreNumber(y.low, low.out + start + i, lanes);
    StoreNumber(y.high, high.out + start + i, lanes);
  }
  pair.foundLow = foundLow;
  pair.foundHigh = foundHigh;
  const uint32_t last = count - 1;
  const uint32_t place = 2 * last - last % kFoldStep;
  low.last = low.in[start + last] * rows.gain[place] * rows.root[place];
  high.last = high.in[start + last] * rows.gain[place + kFoldStep] * rows.root[place + kFoldStep];
}

// Step by step over a few blocks: each step of a sample waits for the one before, and a processor looks ahead
// by a few vectors only.
HWY_INLINE void RunFoldGroup(DrivenFold* blocks, uint32_t blockCount, uint32_t count) {
  const ManyLanes d;
  FoldRows rows[kFoldPairs];
  FoldPair pairs[kFoldPairs];
  HWY_ALIGN float places[kFoldChunk];
  const uint32_t pairCount = (blockCount + 1) / 2;
  const auto none = Number<FoldTwins>(0.0f);
  const FoldFindings nothing = {none.low, Number<FoldNumber>(kTurnBits)};
  const auto at = [&](uint32_t b) {
    return blocks + std::min(b, blockCount - 1);
  };  // a last one is its own twin
  for (uint32_t p = 0; p < kFoldPairs; ++p)
    pairs[p] = {at(2 * p), at(2 * p + 1), none, none, nothing, nothing};
  for (uint32_t start = 0; start < count; start += kFoldChunk) {
    const uint32_t chunk = std::min(kFoldChunk, count - start);
    for (uint32_t i = 0; i < chunk; i += kFoldStep) {
      const auto before = Number<FoldNumber>(static_cast<float>(static_cast<int32_t>(start + i)));
      StoreAll(before + LoadAll<FoldNumber>(kFirstPlaces), places + i);
    }
    for (uint32_t p = 0; p < pairCount; ++p) DriveGains(pairs[p], rows[p], start, chunk);
    for (uint32_t p = 0; p < pairCount; ++p) HalfLogs(rows[p], chunk);
    for (uint32_t p = 0; p < pairCount; ++p) RootsAndWetGains(pairs[p], places, rows[p], chunk);
    for (uint32_t p = 0; p < pairCount; ++p) FoldDriven(pairs[p], rows[p], start, chunk);
  }
  const auto finish = [&](DrivenFold& block, FoldNumber drive, FoldNumber root,
                          const FoldFindings& found) HWY_ATTR {
    const hn::RebindToUnsigned<ManyLanes> du;
    const auto isAtMost = [&](FoldNumber x, float limit) HWY_ATTR { return hn::Le(x.v, hn::Set(d, limit)); };
    // Of a turn either way bits differ; of too many, or of what isn't a number, bits that count none.
    const auto differing = hn::Xor(hn::BitCast(du, found.turns.v), hn::Set(du, BitCast<uint32_t>(kTurnBits)));
    const auto noBits = hn::Zero(du);
    block.isOver = !hn::AllTrue(du, hn::Eq(differing, noBits));
    block.isExact =
        hn::AllTrue(du, hn::Eq(hn::AndNot(hn::Set(du, 2 * kMostTurns - 1), differing), noBits)) &&
        hn::AllTrue(d, hn::And(hn::And(isAtMost(drive, kEvenMantissas), isAtMost(root, kEvenRoots)),
                               isAtMost(found.turn, kEvenTurns)));
  };
  for (uint32_t p = 0; p < pairCount; ++p) {
    const FoldPair& pair = pairs[p];
    finish(*pair.low, pair.largest.low, pair.largestRoot.low, pair.foundLow);
    finish(*pair.high, pair.largest.high, pair.largestRoot.high, pair.foundHigh);
  }
}

void RunDrivenFolds(DrivenFold* blocks, uint32_t blockCount, uint32_t count) {
  constexpr uint32_t kGroup = 2 * kFoldPairs;
  for (uint32_t b = 0; b < blockCount; b += kGroup)
    RunFoldGroup(blocks + b, std::min(kGroup, blockCount - b), count);
}

#else
constexpr void (*RunDrivenFolds)(DrivenFold*, uint32_t, uint32_t) = nullptr;
#endif

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
