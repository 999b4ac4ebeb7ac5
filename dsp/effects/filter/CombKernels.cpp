#include "dsp/effects/filter/CombKernels.h"

#include <algorithm>

#include "basictools/BitCast.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/filter/CombKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr uint32_t kShortestRun = 8;  // below it samples one by one are as fast
constexpr uint32_t kLongestRun = 64;

// What Read(delays[i]) gives now and after each further write, all of it written already.
#if HWY_TARGET != HWY_EMU128

using D = hn::CappedTag<float, 16>;
using DI = hn::RebindToSigned<D>;
using DU = hn::RebindToUnsigned<D>;
constexpr uint32_t kLanes = static_cast<uint32_t>(hn::MaxLanes(D()));
alignas(64) constexpr int32_t kPlaces[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

void ReadMoving(const DelayLine& line, const float* delays, float* y, uint32_t count) {
  const D d;
  const DI di;
  const DU du;
  const DelayLine::Ring ring = line.GetRing();
  const auto size = hn::Set(du, static_cast<uint32_t>(ring.size));
  const auto begin = hn::Set(di, ring.zeroBegin);
  const auto end = hn::Set(di, ring.zeroEnd);
  uint32_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const auto delay = hn::ConvertTo(di, hn::LoadU(d, delays + i));
    const auto now = hn::Set(di, ring.writeIndex + static_cast<int32_t>(i));
    auto index = hn::BitCast(du, hn::Sub(hn::Add(now, hn::Load(di, kPlaces)), delay));
    // Below 0 and from the ring's size on the index wraps once; as numbers without a sign the wrong ones are
    // large.
    index = hn::Min(index, hn::Add(index, size));
    index = hn::Min(index, hn::Sub(index, size));
    const auto place = hn::BitCast(di, index);
    const auto isSilent = hn::AndNot(hn::Lt(place, begin), hn::Lt(place, end));
    const auto x = hn::GatherIndex(d, ring.data, place);
    hn::StoreU(hn::IfThenElse(hn::RebindMask(d, isSilent), hn::Zero(d), x), d, y + i);
  }
  for (; i < count; ++i) y[i] = line.ReadAhead(static_cast<uint32_t>(delays[i]), i);
}

#else

void ReadMoving(const DelayLine& line, const float* delays, float* y, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) y[i] = line.ReadAhead(static_cast<uint32_t>(delays[i]), i);
}

#endif

void RunOneByOne(const CombBlock& block, uint32_t start, uint32_t count) {
  for (uint32_t i = start; i < start + count; ++i) {
    const float x = block.in[i];
    const float y = block.line->Read(static_cast<uint32_t>(block.delays[i]));
    const float sum = x + block.feedback * y;
    block.line->Write(block.isFedBack ? sum : x);
    block.out[i] = block.isFedBack ? sum * block.gain[i] : sum;
  }
}

void Run(const CombBlock& block, uint32_t count) {
  float y[kLongestRun];
  for (uint32_t start = 0; start < count;) {
    const float* delays = block.delays + start;
    uint32_t run = std::min(count - start, kLongestRun);
    float nearest = delays[0];
    if (!block.delayStands) {
      // As bits: numbers above 0 are in the order of their bits, and whole numbers the compiler compares side
      // by side.
      int32_t least = BitCast<int32_t>(nearest);
      for (uint32_t i = 1; i < run; ++i) least = std::min(least, BitCast<int32_t>(delays[i]));
      nearest = BitCast<float>(least);
    }
    const auto delay = static_cast<uint32_t>(nearest);
    if (delay < kShortestRun) {
      RunOneByOne(block, start, run);
      start += run;
      continue;
    }
    run = std::min(run, delay);
    if (block.delayStands) {
      block.line->CopyRun(y, delay, run);
    } else {
      ReadMoving(*block.line, delays, y, run);
    }
    const float f = block.feedback;
    const float* in = block.in + start;
    float* out = block.out + start;
    if (block.isFedBack) {
      const float* gain = block.gain + start;
      for (uint32_t i = 0; i < run; ++i) y[i] = in[i] + f * y[i];
      block.line->WriteBlock(y, run);
      for (uint32_t i = 0; i < run; ++i) out[i] = y[i] * gain[i];
    } else {
      block.line->WriteBlock(in, run);
      for (uint32_t i = 0; i < run; ++i) out[i] = in[i] + f * y[i];
    }
    start += run;
  }
}

}  // namespace

constexpr CombKernelTable kCombKernels{.run = Run};

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const CombKernelTable& CombKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kCombKernels);
}

namespace {
const CombKernelTable& kBest = CombKernelsFor(BestSimdTarget());
}  // namespace

const CombKernelTable& CombKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
