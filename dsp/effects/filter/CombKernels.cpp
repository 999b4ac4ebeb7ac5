#include "dsp/effects/filter/CombKernels.h"

#include <algorithm>
#include <type_traits>

#include "basictools/math/WholeQuads.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/filter/CombKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/bank/LaneNumber-inl.h"
#include "dsp/effects/bank/LaneRuns-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

constexpr uint32_t kShortestRun = 8;  // below it samples one by one are as fast
constexpr uint32_t kLongestRun = 64;
constexpr uint32_t kRoom = kLongestRun + kVectorPadding;

// What Read(delays[i]) gives now and after each further write, all of it written already. In whole vectors:
// `delays` and `y` have room for them, and what is found for samples behind the last one is of no use.
#if HWY_TARGET != HWY_EMU128

using DI = hn::RebindToSigned<ManyLanes>;
using DU = hn::RebindToUnsigned<ManyLanes>;
constexpr uint32_t kLanes = LanesOf<LaneNumber<ManyLanes>>::kCount;
alignas(64) constexpr int32_t kPlaces[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

void ReadMoving(const DelayLine& line, const float* delays, float* y, uint32_t count) {
  const ManyLanes d;
  const DI di;
  const DU du;
  const DelayLine::Ring ring = line.GetRing();
  const auto size = hn::Set(du, static_cast<uint32_t>(ring.size));
  const auto last = hn::Set(du, static_cast<uint32_t>(ring.size - 1));
  const auto begin = hn::Set(di, ring.zeroBegin);
  const auto end = hn::Set(di, ring.zeroEnd);
  for (uint32_t i = 0; i < count; i += kLanes) {
    const auto delay = TruncateFitting(d, hn::LoadU(d, delays + i));
    const auto now = hn::Set(di, ring.writeIndex + static_cast<int32_t>(i));
    auto index = hn::BitCast(du, hn::Sub(hn::Add(now, hn::Load(di, kPlaces)), delay));
    // Below 0 and from the ring's size on the index wraps once; as numbers without a sign the wrong ones are
    // large.
    index = hn::Min(index, hn::Add(index, size));
    index = hn::Min(index, hn::Sub(index, size));
    const auto place = hn::BitCast(di, hn::Min(index, last));
    const auto isSilent = hn::AndNot(hn::Lt(place, begin), hn::Lt(place, end));
    const auto x = hn::GatherIndex(d, ring.data, place);
    hn::StoreU(hn::IfThenElse(hn::RebindMask(d, isSilent), hn::Zero(d), x), d, y + i);
  }
}

// The least of numbers above 0, or of some more behind them.
float Least(const float* x, uint32_t count) {
  const ManyLanes d;
  auto least = hn::LoadU(d, x);
  for (uint32_t i = kLanes; i < count; i += kLanes) least = hn::Min(least, hn::LoadU(d, x + i));
  return hn::GetLane(hn::MinOfLanes(d, least));
}

#else

constexpr uint32_t kLanes = 1;
float Least(const float* x, uint32_t count) { return *std::min_element(x, x + count); }

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

// `count` samples from `start` on, of which `past` holds what came a delay before; `next` gets what goes into
// the line.
template <bool kIsFedBack>
HWY_INLINE void RunSideBySide(const CombBlock& block, uint32_t start, const float* past, float* next,
                              uint32_t count) {
  const float* in = block.in + start;
  const float* gain = block.gain + start;
  float* out = block.out + start;
  const float feedback = block.feedback;
  ForEachPlace(count, [&]<typename T>(uint32_t i, uint32_t lanes) HWY_ATTR {
    const T x = LoadNumber<T>(in + i, lanes);
    const T sum = x + Number<T>(feedback) * LoadNumber<T>(past + i, lanes);
    StoreNumber(kIsFedBack ? sum : x, next + i, lanes);
    StoreNumber(kIsFedBack ? sum * LoadNumber<T>(gain + i, lanes) : sum, out + i, lanes);
  });
}

// Where the next `count` samples of a line are written: in place, if there is room.
class NextRun {
 public:
  HWY_INLINE NextRun(DelayLine& target, uint32_t samples)
      : line(target), count(samples), room(target.Room(samples)) {}
  HWY_INLINE float* Samples() { return room != nullptr ? room : elsewhere; }
  HWY_INLINE void Keep() {
    if (room != nullptr) {
      line.TakeRoom(count);
    } else {
      line.WriteBlock(elsewhere, count);
    }
  }

 private:
  DelayLine& line;
  uint32_t count;
  float* room;
  float elsewhere[kLongestRun];
};

// A run in which no sample is fed by another one.
HWY_INLINE void RunApart(const CombBlock& block, uint32_t start, const float* past, uint32_t count) {
  NextRun next(*block.line, count);
  if (block.isFedBack) {
    RunSideBySide<true>(block, start, past, next.Samples(), count);
  } else {
    RunSideBySide<false>(block, start, past, next.Samples(), count);
  }
  next.Keep();
}

#if HWY_TARGET != HWY_EMU128

using Widest = std::conditional_t<kLanes == 16, LaneNumber<ManyLanes>, NumberPair<LaneNumber<ManyLanes>>>;
constexpr uint32_t kWidest = LanesOf<Widest>::kCount;

// Samples that are fed by those before them: as many at a time as the delay is long, the first lanes of a
// vector. The others hold what nobody hears, and are written over by the next vector.
template <typename T>
HWY_INLINE void RunClose(const CombBlock& block, uint32_t start, uint32_t delay, uint32_t count) {
  constexpr uint32_t kLanesOfT = LanesOf<T>::kCount;
  const float* found = block.line->FindRun(delay, kLanesOfT);
  float y[kLanesOfT] = {};
  if (found == nullptr) block.line->CopyRun(y, delay, delay);
  T fed = LoadAll<T>(found != nullptr ? found : y);
  const float* in = block.in + start;
  const float* gain = block.gain + start;
  float* out = block.out + start;
  NextRun run(*block.line, count);
  float* next = run.Samples();
  const T feedback = Number<T>(block.feedback);
  uint32_t i = 0;
  for (; i + kLanesOfT <= count; i += delay) {
    fed = LoadAll<T>(in + i) + feedback * fed;
    StoreAll(fed, next + i);
    StoreAll(fed * LoadAll<T>(gain + i), out + i);
  }
  float rest[kLanesOfT];
  for (; i < count; i += delay) {
    const uint32_t left = std::min(delay, count - i);
    StoreAll(feedback * fed, rest);
    for (uint32_t k = 0; k < left; ++k) {
      const float sum = in[i + k] + rest[k];
      rest[k] = sum;
      next[i + k] = sum;
      out[i + k] = sum * gain[i + k];
    }
    fed = LoadAll<T>(rest);
  }
  run.Keep();
}

HWY_INLINE bool RanClose(const CombBlock& block, uint32_t start, uint32_t delay, uint32_t count) {
  if (delay > kWidest || count <= delay || !block.isFedBack || block.in == block.out) return false;
  if (delay <= 4) {
    RunClose<LaneNumber<FewLanes>>(block, start, delay, count);
  } else {
    RunClose<Widest>(block, start, delay, count);
  }
  return true;
}

#else

bool RanClose(const CombBlock&, uint32_t, uint32_t, uint32_t) { return false; }

#endif

// As many samples from `start` on as go together, while the delay moves. Returns their number.
uint32_t RunMoving(const CombBlock& block, uint32_t start, uint32_t count) {
  const float* delays = block.delays + start;
  const uint32_t moving = std::min(block.moving - start, count);
  const uint32_t wanted = std::min((moving + kLanes - 1) / kLanes * kLanes, count);
  const auto nearest = static_cast<uint32_t>(Least(delays, wanted));
  if (nearest < std::min(kShortestRun, wanted)) {
    RunOneByOne(block, start, moving);
    return moving;
  }
  float y[kRoom];
  const uint32_t run = std::min(wanted, nearest);
  ReadMoving(*block.line, delays, y, run);
  RunApart(block, start, y, run);
  return run;
}

uint32_t RunStanding(const CombBlock& block, uint32_t start, uint32_t count) {
  const auto delay = static_cast<uint32_t>(block.delays[start]);
  if (RanClose(block, start, delay, count)) return count;
  if (delay < std::min(kShortestRun, count)) {
    RunOneByOne(block, start, count);
    return count;
  }
  const uint32_t run = std::min(count, delay);
  float y[kLongestRun];
  const float* past = block.line->FindRun(delay, run);
  if (past == nullptr) {
    block.line->CopyRun(y, delay, run);
    past = y;
  }
  RunApart(block, start, past, run);
  return run;
}

void Run(const CombBlock& block, uint32_t count) {
  for (uint32_t start = 0; start < count;) {
    const uint32_t left = std::min(count - start, kLongestRun);
    start += start < block.moving ? RunMoving(block, start, left) : RunStanding(block, start, left);
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
