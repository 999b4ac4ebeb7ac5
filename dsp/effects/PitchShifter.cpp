#include "dsp/effects/PitchShifter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/WholeQuads.h"
#include "basictools/math/Xorshift.h"
#include "basictools/math/XorshiftJump.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

constexpr float kGlideRoom = 1.125f;  // of the longest pre-delay: a glide in short blocks runs past its aim
constexpr uint32_t kDefaultSeed = 2023;

enum Port : uint32_t { kPreDelayPort = 2, kPitchShiftPort = 3, kSprayPort = 4 };

/// Linear read `place` samples behind where the write position will be `ahead` writes from now.
float ReadLinear(const DelayLine& line, float place, uint32_t ahead) {
  const auto whole = static_cast<uint32_t>(place);
  const float frac = place - static_cast<float>(whole);
  const float x = line.ReadAhead(whole, ahead);
  return x + (line.ReadAhead(whole + 1, ahead) - x) * frac;
}

}  // namespace

PitchShifter::PitchShifter(std::string text, uint32_t newSeed, uint32_t newChannelCount)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(PitchShifterKnobs::kRows)),
      channelCount(newChannelCount),
      seed(newSeed != 0 ? newSeed : kDefaultSeed) {
  heads.random = seed;
}

void PitchShifter::Configure(uint32_t maxBlockSize, float newSampleRate) {
  sampleRate = newSampleRate;
  rampLength = static_cast<float>(maxBlockSize);
  // As far back as the knobs can ask.
  const auto wayOf = [&](float interval) { return GrainShape::ForInterval(interval, sampleRate).length; };
  const float longestWay =
      std::max(wayOf(Param(kPitchShift).GetMinimum()), wayOf(Param(kPitchShift).GetMaximum()));
  const float samplesPerMs = sampleRate * 0.001f;
  const auto preDelayLength =
      static_cast<uint32_t>(kGlideRoom * Param(kPreDelay).GetMaximum() * samplesPerMs) + maxBlockSize +
      kShifterChunk;
  const auto grainLength = static_cast<uint32_t>(longestWay + Param(kSpray).GetMaximum() * samplesPerMs) +
                           maxBlockSize + 2 * kShifterChunk;
  // Shifters side by side don't reach their lines' ends in one block, from where each goes to far memory.
  // Long blocks reach far anyway, and would make the lines many times as long.
  constexpr uint32_t kLongestApart = 1024;
  const uint32_t apart = maxBlockSize <= kLongestApart ? seed % 32 * maxBlockSize : 0;
  for (uint32_t c = 0; c < channelCount; ++c) {
    channels[c].preDelay.Resize(InWholeBlocks(preDelayLength, maxBlockSize) + apart);
    channels[c].grain.Resize(InWholeBlocks(grainLength, maxBlockSize) + apart);
  }
  for (std::vector<float>* buffer : {&semitones, &lengthAims, &widthAims, &widths, &rates, &phases,
                                     &preDelays, &placesA, &placesB, &delayed}) {
    buffer->assign(maxBlockSize, 0.0f);
  }
  delaysA.assign(maxBlockSize, 1.0f);
  delaysB.assign(maxBlockSize, 0.5f);
  gainsA.assign(maxBlockSize, 1.0f);
  gainsB.assign(maxBlockSize, 1.0f);
  heads.delaysA = delaysA.data();
  heads.delaysB = delaysB.data();
  heads.gainsA = gainsA.data();
  heads.gainsB = gainsB.data();
  heads.way = {};
  levelSemitones = levelPreDelays = stillCount = 0;
  pitchSmoother.Setup(1, sampleRate);
  widthSmoother.Setup(1, sampleRate);
  lengthSmoother.Setup(1, sampleRate);
  preDelaySmoother.Setup(1, maxBlockSize, sampleRate);
}

void PitchShifter::DoReset(bool) {
  for (Lines& lines : channels) {
    lines.preDelay.Clear();
    lines.grain.Clear();
  }
  heads.phase = 0.0f;
  heads.previousDelayA = 0.0f;
  heads.sprayA = heads.sprayB = 0.0f;
}

// Parameters ------------------------------------------------------------------------------------------------

bool PitchShifter::UpdateParams(ProcessContext& context) {
  if (context.sampleCount == 0) return false;  // flags and marks wait for the next block
  stillIsNow = StandsStill(context);
  if (stillIsNow) return true;
  TakeWrites();
  const float pitchAim = Param(kPitchShift).ReadValueModulated(context, kPitchShiftPort);
  const float preDelayAim =
      Param(kPreDelay).ReadValueModulated(context, kPreDelayPort) * (sampleRate * 0.001f);
  if (changed != 0) {
    preDelaySmoother.SetValue(preDelayAim);
    SnapInterval(pitchAim);
  }
  if (IsDirty(kStereo)) stereo = Normalized(kStereo) > 0.5f;
  pitchSmoother.SetTarget(pitchAim);
  spraySize = sampleRate * 0.001f * Param(kSpray).ReadValueModulated(context, kSprayPort);
  preDelaySmoother.SetTarget(preDelayAim);
  preDelayMoves = Normalized(kModDelayConnected) > 0.5f || !preDelaySmoother.IsSettled();
  if (!preDelaySmoother.IsSettled()) {
    levelPreDelays = 0;
    preDelaySmoother.Render(preDelays.data(), context.sampleCount);
  } else if (levelPreDelays < context.sampleCount ||
             preDelays[0] != static_cast<float>(preDelaySmoother.Target())) {
    preDelaySmoother.Render(preDelays.data(), context.sampleCount);
    levelPreDelays = WholeQuads(context.sampleCount);
  }
  return true;
}

bool PitchShifter::IsStereo(const ProcessContext& context) const {
  return stereo && channelCount > 1 && context.Input(1) != nullptr && context.Output(1) != nullptr;
}

bool PitchShifter::StandsStill(const ProcessContext& context) const {
  return stillCount == context.sampleCount && changed == 0 && !IsAnyDirty() && !IsWritten() &&
         !IsModulated(context) && !IsStereo(context) && context.Input(0) != nullptr &&
         context.Output(0) != nullptr;
}

bool PitchShifter::IsModulated(const ProcessContext& context) {
  return context.LiveControl(kPreDelayPort) != nullptr || context.LiveControl(kPitchShiftPort) != nullptr ||
         context.LiveControl(kSprayPort) != nullptr;
}

void PitchShifter::SnapInterval(float semitonesNow) {
  pitchSmoother.SetValue(semitonesNow);
  levelSemitones = static_cast<uint32_t>(semitones.size());
  std::fill(semitones.begin(), semitones.end(), semitonesNow);
  grain = GrainShape::ForInterval(semitonesNow, sampleRate);
  grainSemitones = semitonesNow;
  widthSmoother.SetValue(grain.width);
  lengthSmoother.SetValue(grain.length);
  rampWritten = true;
}

// Signal ----------------------------------------------------------------------------------------------------

uint32_t PitchShifter::DoProcess(ProcessContext& context) {
  const uint32_t count = context.sampleCount;
  if (stillIsNow) {
    RunSettled(context);
    return 1;
  }
  RenderPitch(count);
  UpdateGrain(count);
  stillCount = 0;
  if (RunsSettled(context)) {
    still = {.heads = &heads,
             .preDelay = &channels[0].preDelay,
             .grain = &channels[0].grain,
             .in = nullptr,
             .out = nullptr,
             .step = grain.rate / sampleRate,
             .width = grain.width,
             .length = grain.length,
             .semitones = semitones[0],
             .spraySize = spraySize,
             .preDelayed = static_cast<uint32_t>(std::max(preDelays[0], 0.0f))};
    stillCount = IsModulated(context) ? 0 : count;  // a port that goes dead moves what no knob has moved
    RunSettled(context);
    return 1;
  }
  ShowWay();
  AdvancePhase(count);
  ComputeHeads(count);
  PlaceHeads(count);
  for (uint32_t c = 0; c < (stereo ? channelCount : 1u); ++c) {
    if (context.Input(c) == nullptr || context.Output(c) == nullptr) continue;
    RunChannel(channels[c], context.Input(c), context.Output(c), count);
  }
  return 1;
}

void PitchShifter::RenderPitch(uint32_t count) {
  if (!pitchSmoother.IsSettled()) {
    levelSemitones = 0;
  } else if (levelSemitones >= count && semitones[0] == static_cast<float>(pitchSmoother.Target())) {
    return;
  } else {
    levelSemitones = WholeQuads(count);
  }
  pitchSmoother.Render(semitones.data(), count);
}

// Interval, crossfade and length stand still, the pre-delay too, and all that a block can reach lies within
// the lines.
bool PitchShifter::RunsSettled(const ProcessContext& context) const {
  const uint32_t count = context.sampleCount;
  if (count % 4 != 0 || levelSemitones < count || rampWritten) return false;
  const auto stands = [](const SmootherLPF& smoother, float value) {
    return smoother.IsSettled() && smoother.Target() == static_cast<double>(value);
  };
  if (!stands(widthSmoother, grain.width) || !stands(lengthSmoother, grain.length)) return false;
  if (preDelayMoves || levelPreDelays < count) return false;
  const Lines& lines = channels[0];
  const float furthest = grain.length + std::max({heads.sprayA, heads.sprayB, spraySize}) +
                         static_cast<float>(kShifterChunk + 3);
  if (furthest >= static_cast<float>(lines.grain.Size()) ||
      preDelays[0] + static_cast<float>(kShifterChunk + 1) >= static_cast<float>(lines.preDelay.Size())) {
    return false;
  }
  return !IsStereo(context) && context.Input(0) != nullptr && context.Output(0) != nullptr;
}

void PitchShifter::RunSettled(ProcessContext& context) {
  const LaneBank::Loop<ShifterBlock> loop = ShifterKernels().run;
  ShifterBlock own;
  ShifterBlock* shared = bank != nullptr ? bank->Add(loop) : nullptr;
  ShifterBlock& block = shared != nullptr ? *shared : own;
  block = still;
  block.in = context.Input(0);
  block.out = context.Output(0);
  // What a shorter block doesn't overwrite must be there.
  if (context.sampleCount < heads.way.count) ShowWay();
  if (shared == nullptr) loop(&own, 1, context.sampleCount);
}

void PitchShifter::UpdateGrain(uint32_t count) {
  const float interval = semitones[count - 1];
  if (interval == grainSemitones && !rampWritten) return;
  const GrainShape before = grain;
  if (interval != grainSemitones) {
    grain = GrainShape::ForInterval(interval, sampleRate);
    grainSemitones = interval;
    rampWritten = true;
  } else {
    rampWritten = false;  // the shape has arrived: level from here on
  }
  if (count < 4 || !rampWritten) {
    // The whole buffer: a later, longer block may find it still level.
    std::fill(widthAims.begin(), widthAims.end(), grain.width);
    std::fill(lengthAims.begin(), lengthAims.end(), grain.length);
    std::fill(rates.begin(), rates.end(), grain.rate);
  } else {
    RampGrain(before, grain, count);
  }
}

void PitchShifter::RampGrain(const GrainShape& from, const GrainShape& to, uint32_t count) {
  const float widthStep = (to.width - from.width) / rampLength;
  const float lengthStep = (to.length - from.length) / rampLength;
  const float rateStep = (to.rate - from.rate) / rampLength;
  for (int32_t i = 0, end = static_cast<int32_t>(WholeQuads(count)); i < end; ++i) {
    const auto k = static_cast<float>(i + 1);
    widthAims[i] = from.width + k * widthStep;
    lengthAims[i] = from.length + k * lengthStep;
    rates[i] = from.rate + k * rateStep;
  }
}

// The loops of settled blocks leave this to the few that look at where the heads were.
void PitchShifter::ShowWay() {
  const ShifterWay way = std::exchange(heads.way, {});
  float p = way.phase;
  for (uint32_t i = 0; i < way.count; ++i) {
    p += way.step;
    if (!(std::fabs(p) < 1.0f)) p = Fraction(p);
    phases[i] = p;
    widths[i] = way.width;
  }
  ComputeHeads(way.count);
}

void PitchShifter::AdvancePhase(uint32_t count) {
  float p = heads.phase;
  for (uint32_t i = 0; i < count; ++i) {
    p += rates[i] / sampleRate;
    // A wrap is rare: the branch keeps the truncation out of the chain from sample to sample.
    if (p >= 1.0f || p <= -1.0f) p = Fraction(p);
    phases[i] = p;
  }
  heads.phase = p;
  if (!rampWritten && widthSmoother.Target() == static_cast<double>(grain.width) &&
      widthSmoother.IsSettled()) {
    std::fill_n(widths.data(), count, grain.width);
    return;
  }
  for (uint32_t i = 0; i < count; ++i) {
    widthSmoother.SetTarget(widthAims[i]);
    widths[i] = widthSmoother.Tick();
  }
}

void PitchShifter::ComputeHeads(uint32_t count) {
  for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
    const float a = HeadA(phases[i]);
    const float b = HeadB(phases[i]);
    gainsA[i] = HeadGain(a, widths[i]);
    gainsB[i] = HeadGain(b, widths[i]);
    delaysA[i] = HeadDelay(a);
    delaysB[i] = HeadDelay(b);
  }
}

void PitchShifter::PlaceHeads(uint32_t count) {
  const bool lengthMoves = rampWritten || lengthSmoother.Target() != static_cast<double>(grain.length) ||
                           !lengthSmoother.IsSettled();
  uint32_t x = XorshiftJump::Apply(heads.random, std::exchange(heads.drawn, 0u));
  float before = heads.previousDelayA;
  float offsetA = heads.sprayA;
  float offsetB = heads.sprayB;
  float nearest = 1e9f;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t drawA = XorshiftStep(x);
    const uint32_t drawB = XorshiftStep(drawA);
    x = drawB;
    // A head restarts where its delay jumps back; head B where A's passes the middle of its way.
    const float s = semitones[i];
    const float a = delaysA[i];
    const bool rising = s >= 0.0f;
    const bool restartA = rising ? a > before : a < before;
    const bool restartB = rising ? before > 0.5f && a <= 0.5f : before <= 0.5f && a > 0.5f;
    if (restartA || restartB) {
      const float size = std::fabs(s);
      const uint32_t draw = restartA ? drawA : drawB;
      const float offset = size * 2.3283064e-10f * static_cast<float>(draw) * spraySize / (size + 0.01f);
      (restartA ? offsetA : offsetB) = offset;
    }
    before = a;
    float length = grain.length;
    if (lengthMoves) {
      lengthSmoother.SetTarget(lengthAims[i]);
      length = lengthSmoother.Tick();
    }
    placesA[i] = a * length + 1.0f + offsetA;
    placesB[i] = delaysB[i] * length + 1.0f + offsetB;
    nearest = std::min(nearest, std::min(placesA[i], placesB[i]));
  }
  nearestPlace = nearest;
  heads.random = x;
  heads.previousDelayA = before;
  heads.sprayA = offsetA;
  heads.sprayB = offsetB;
}

void PitchShifter::RunChannel(Lines& lines, const float* in, float* out, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    // The input goes in first, so that a pre-delay of 0 is the sample of this moment.
    lines.preDelay.Write(in[i]);
    // A glide in short blocks runs past its aim, which may be 0.
    const float delay = std::max(preDelays[i], 0.0f);
    const auto whole = static_cast<uint32_t>(delay);
    if (!preDelayMoves) {
      delayed[i] = lines.preDelay.Read(whole + 1);
    } else {
      // The fifth-order read needs one sample newer than the place
      // it reads, which below one sample of delay doesn't exist yet.
      const uint32_t mode = whole == 0 ? kInterpolationLinear : kInterpolationFifthOrder;
      delayed[i] = lines.preDelay.ReadInterpolated(whole + 1, mode, delay - static_cast<float>(whole));
    }
  }
  if (nearestPlace > static_cast<float>(count)) {
    // Both heads stay behind what this block writes: read all of it, then write all of it.
    for (uint32_t i = 0; i < count; ++i) {
      const float a = ReadLinear(lines.grain, placesA[i], i);
      const float b = ReadLinear(lines.grain, placesB[i], i);
      out[i] = gainsA[i] * a + gainsB[i] * b;
    }
    for (uint32_t i = 0; i < count; ++i) lines.grain.Write(delayed[i]);
    return;
  }
  for (uint32_t i = 0; i < count; ++i) {
    const float a = ReadLinear(lines.grain, placesA[i], 0);
    const float b = ReadLinear(lines.grain, placesB[i], 0);
    lines.grain.Write(delayed[i]);
    out[i] = gainsA[i] * a + gainsB[i] * b;
  }
}

}  // namespace Vantora::dsp
