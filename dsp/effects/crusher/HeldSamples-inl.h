// Held samples by fours: where each one stands for at least six, no four neighbours have more than two
// values, those at their ends, and only these need to be worked out. Compiled anew for each instruction set,
// as bank/LaneNumber-inl.h is.
#include <algorithm>

#include "dsp/effects/bank/LaneNumber-inl.h"

#if defined(PRISMEL_HELD_SAMPLES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_HELD_SAMPLES_INL
#undef PRISMEL_HELD_SAMPLES_INL
#else
#define PRISMEL_HELD_SAMPLES_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

// Where vectors of sixteen work out four ends, they work out all samples as soon.
#if HWY_TARGET != HWY_EMU128 && !HWY_CAP_GE512

// By the period and what has passed of it before a block. More than a period behind, samples are taken one
// right after the other.
HWY_INLINE bool HoldsLong(float period, float phase) { return period >= 6.0f && phase <= period; }

using QuadNumber = LaneNumber<FewLanes>;
using SixteenNumbers = NumberPair<NumberPair<QuadNumber>>;

HWY_INLINE QuadNumber LoadQuad(const float* from) { return {hn::LoadU(FewLanes(), from)}; }

// The last of each of four quads.
HWY_INLINE QuadNumber LastsOf(QuadNumber a, QuadNumber b, QuadNumber c, QuadNumber e) {
  const FewLanes d;
  return {hn::ConcatUpperUpper(d, hn::InterleaveUpper(d, c.v, e.v), hn::InterleaveUpper(d, a.v, b.v))};
}

// All of four quads through `work`, a function of numbers of any width.
template <typename Work>
HWY_INLINE void WorkOut(Work work, QuadNumber (&quads)[4]) {
#if HWY_CAP_GE256
  const ManyLanes d;
  const FewLanes quad;
  using Wide = LaneNumber<ManyLanes>;
  const NumberPair<Wide> y = work(
      NumberPair<Wide>{{hn::Combine(d, quads[1].v, quads[0].v)}, {hn::Combine(d, quads[3].v, quads[2].v)}});
  quads[0].v = hn::LowerHalf(quad, y.low.v);
  quads[1].v = hn::UpperHalf(quad, y.low.v);
  quads[2].v = hn::LowerHalf(quad, y.high.v);
  quads[3].v = hn::UpperHalf(quad, y.high.v);
#else
  for (uint32_t pair = 0; pair < 4; pair += 2) {
    const NumberPair<QuadNumber> y = work(NumberPair<QuadNumber>{quads[pair], quads[pair + 1]});
    quads[pair] = y.low;
    quads[pair + 1] = y.high;
  }
#endif
}

// Up to twelve quads from `held` on: kCount of them, or `count`.
template <uint32_t kCount, typename Work, typename Write>
HWY_INLINE void RunHeldQuads(const float* held, uint32_t first, uint32_t count, Work work, Write write) {
  const float* from = held + first;
  const auto load = [&](uint32_t k)
                        HWY_ATTR { return LoadQuad(from + 4 * (kCount != 0 ? k : std::min(k, count - 1))); };
  // The first quad whole, of the others the ends.
  QuadNumber ends[4] = {load(0)};
  for (uint32_t e = 0; e < 3; ++e)
    ends[e + 1] = LastsOf(load(4 * e), load(4 * e + 1), load(4 * e + 2), load(4 * e + 3));
  WorkOut(work, ends);
  write(ends[0], first, 4);
  QuadNumber before{hn::Broadcast<0>(ends[1].v)};
  const auto run = [&]<int kLane>(uint32_t k) HWY_ATTR {
    if (kCount == 0 && k >= count) return;
    const QuadNumber x = load(k);
    const QuadNumber last{hn::Broadcast<kLane>(ends[1 + k / 4].v)};
    write(Select(x == QuadNumber{hn::Broadcast<3>(x.v)}, last, before), first + 4 * k, 4);
    before = last;
  };
  for (uint32_t k = 0; k < 12; k += 4) {
    if (k != 0) run.template operator()<0>(k);
    run.template operator()<1>(k + 1);
    run.template operator()<2>(k + 2);
    run.template operator()<3>(k + 3);
  }
}

// Calls `write` with what `work` makes of each quad of `held`, where it stands and 4; `count` is of whole
// quads.
template <typename Work, typename Write>
HWY_INLINE void ForEachHeldQuad(const float* held, uint32_t count, Work work, Write write) {
  uint32_t i = 0;
  for (; i + 48 <= count; i += 48) RunHeldQuads<12>(held, i, 12, work, write);
  if (i < count) RunHeldQuads<0>(held, i, (count - i) / 4, work, write);
}

#else

HWY_INLINE bool HoldsLong(float, float) { return false; }

template <typename Work, typename Write>
HWY_INLINE void ForEachHeldQuad(const float*, uint32_t, Work, Write) {}

#endif

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
