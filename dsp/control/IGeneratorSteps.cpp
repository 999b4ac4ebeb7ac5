// The walk along the time line: transport and song position, the start of a cycle, and the steps of a block.

#include <algorithm>
#include <cmath>

#include "dsp/control/IGenerator.h"

namespace Vantora::dsp {
namespace {

constexpr double kBeatsPerWholeNote = 4.0;
constexpr double kNearlyWhole =
    1e-12;  // far above the rounding of a sum of phases, far below a sample's advance

/// Of one cycle, 0..1 also for positions before the origin.
double Fraction(double x) { return x - std::floor(x); }

bool IsOdd(double whole) { return whole - 2.0 * std::floor(whole * 0.5) != 0.0; }

}  // namespace

uint32_t IGenerator::DoProcess(ProcessContext& context) {
  const uint32_t n = context.sampleCount;
  if (n == 0) return 0;

  Block block{};
  block.samples = n;
  block.steps = controlRate ? 1 : n;
  block.samplesPerStep = static_cast<double>(n) / block.steps;
  block.playing = context.isPlaying != 0;

  std::fill_n(triggers, n, 0.0f);
  for (uint32_t port = 0; port < outputPortCount; ++port) {
    if (float* out = context.Output(port)) std::fill_n(out, block.steps, 0.0f);
  }
  block.transportChanged = FollowTransport(block.playing);
  RenderRate(context);
  FollowSongPosition(context, block);
  block.first = block.playing ? static_cast<double>(lastSongPosition)
                              : position + beatsPerSample * block.samplesPerStep;
  block.tracking = TrackingFactor(context);
  block.advance = block.tracking * block.samplesPerStep;
  if (needsStart) AlignStart(block);

  if (!synced) {
    RunFreeSteps(block);
  } else if (mode == kOneShot) {
    RunOneShotSteps(block);
  } else {
    RunSyncedSteps(block);
  }

  ProcessContext shapeContext = context;
  shapeContext.sampleCount = block.steps;
  RenderShape(shapeContext);
  return 1;
}

/// True when the transport has just started or stopped.
bool IGenerator::FollowTransport(bool playing) {
  if (playing == lastPlaying) return false;
  if (playing && mode == kSongLocked) Restart();
  lastPlaying = playing;
  return true;
}

void IGenerator::FollowSongPosition(const ProcessContext& context, const Block& block) {
  const bool started = block.transportChanged && block.playing;
  // Before the song's start time stands still: a pre-roll isn't a jump back in every block.
  const float song = context.songPosition > 0.0f ? context.songPosition : 0.0f;
  if (song != lastSongPosition) {
    if (!started && song < lastSongPosition && (mode != kSongLocked || block.playing)) {
      const double jump =
          beatsPerSample * block.samples + static_cast<double>(lastSongPosition) - static_cast<double>(song);
      position -= jump;
      if (mode != kSongLocked) syncOrigin -= jump;
    }
    lastSongPosition = song;
  }
  if (block.transportChanged && mode != kSongLocked) {
    const double step = beatsPerSample * block.samplesPerStep;
    const double here = static_cast<double>(lastSongPosition);
    if (started) syncOrigin += here - (position + step);
    position = here - step;
  }
}

/// Factor of the rate by key tracking: an octave of the tracked frequency about middle C doubles it at 100 %.
double IGenerator::TrackingFactor(const ProcessContext& context) {
  if (!(Normalized(kKbTracking) > 0.5f)) return 1.0;
  const float amount = amountInputMode == kInputPerBlock
                           ? Param(kKbTrackingAmount).ReadValueModulated(context, amountInput)
                           : Value(kKbTrackingAmount);
  float octaves = amount * 0.01f * std::log2(Value(kKbTrackingFreq) * 0.003822256f);  // 1 / 261.6256 Hz
  if (synced) octaves = std::round(octaves);  // synced rates move in octaves only
  return static_cast<double>(std::exp2(octaves));
}

/// Where a finished one shot rests: just before its start phase.
double IGenerator::ParkedPhase() const { return Fraction(phaseInitWide - 1e-6 + 1.0); }

/// Sets the phases so that the first step lands on the start phase.
void IGenerator::AlignStart(const Block& block) {
  const double rate = static_cast<double>(rates[0]);
  lastRate = rates[0];
  const double g = swingOn ? 0.5 / static_cast<double>(swing) : 1.0;
  const bool free = mode != kSongLocked || !block.playing;
  const bool parked = finished && mode == kOneShot;
  if (synced) {
    const double step = block.advance * g * beatsPerSample / (kBeatsPerWholeNote * rate);
    position = block.first - block.samplesPerStep * block.tracking * beatsPerSample;
    if (free) {
      syncOrigin = block.playing && hardFollow ? 0.0 : block.first;
      syncPhase = parked ? ParkedPhase() : phaseInitWide - step;
    } else {
      syncOrigin = 0.0;
      syncPhase = Fraction(block.first * block.tracking / (kBeatsPerWholeNote * rate) + phaseInitWide) - step;
    }
  } else if (free || block.transportChanged) {
    freePhase =
        parked ? ParkedPhase() : phaseInitWide - block.advance * rate * g / static_cast<double>(sampleRate);
  }
  needsStart = false;
}

/// One step of `d` cycles. `u` is the old phase measured from the start phase, plus one; `moved` the new
/// phase before it is brought into 0..1. A sum that is whole but for rounding counts as whole: else one start
/// in thirty loses its first trigger, and others fire twice.
IGenerator::Advance IGenerator::AdvanceBy(double d, double u, double moved) const {
  const double sum = u + d;
  const double whole = std::round(sum);
  if (std::fabs(sum - whole) <= kNearlyWhole) return {phaseInitWide, std::trunc(u) != whole};
  return {Fraction(moved), std::trunc(u) != std::trunc(sum)};
}

void IGenerator::RunOneShotSteps(const Block& block) {
  double p = block.first;
  for (uint32_t i = 0; i < block.steps; ++i, p += beatsPerSample) {
    position = p;
    if (finished) {
      phases[i] = static_cast<float>(syncPhase);
      cycles[i] = 0.0f;
      continue;
    }
    const double d = beatsPerSample * (block.advance / (kBeatsPerWholeNote * static_cast<double>(rates[i])));
    const Advance next = AdvanceBy(d, syncPhase - phaseInitWide + 1.0, syncPhase + d);
    syncPhase = next.phase;
    if (next.cycleEnded) {
      triggers[i] = 1.0f;
      cycle += 1.0;
    }
    cycles[i] = static_cast<float>(cycle);
    if (next.cycleEnded && cycle > 0.0) {
      finished = true;
      syncPhase = ParkedPhase();
      triggers[i] = 0.0f;
      cycles[i] = 0.0f;
    }
    phases[i] = static_cast<float>(syncPhase);
  }
}

/// Lengthens the first of each two cycles and shortens the second. `c` counts cycles.
double IGenerator::WarpBySwing(double c) const {
  const double h = 2.0 * static_cast<double>(swing);
  const double v = 2.0 * Fraction(c * 0.5);  // place in the pair
  return v < h ? c - v + v / h : c - v + (v - h) / (2.0 - h) + 1.0;
}

void IGenerator::RunSyncedSteps(const Block& block) {
  const double h = 2.0 * static_cast<double>(swing);
  double q = position;
  double p = block.first;
  for (uint32_t i = 0; i < block.steps; ++i) {
    const double length = kBeatsPerWholeNote * static_cast<double>(rates[i]);
    double now = block.tracking / length * (p - syncOrigin);
    double before = block.tracking / length * (q - syncOrigin);
    if (swingOn) {
      now = WarpBySwing(now);
      before = WarpBySwing(before);
    }
    const double number = std::floor(now);
    cycles[i] = static_cast<float>(number);
    if (number != std::floor(before)) {
      triggers[i] = 1.0f;
      syncPhase = Fraction(now + phaseInitWide);
      if (cycles[i] > 0.0f) finished = true;
    } else if (hardFollow && mode == kSongLocked) {
      syncPhase = Fraction(now + phaseInitWide);
    } else {
      double d = beatsPerSample * (block.advance / length);
      if (swingOn) d /= IsOdd(number) ? 2.0 - h : h;
      syncPhase = Fraction(syncPhase + d);
    }
    phases[i] = static_cast<float>(syncPhase);
    q = p;
    p += beatsPerSample;
  }
  position = q;
}

void IGenerator::RunFreeSteps(const Block& block) {
  const double h = 2.0 * static_cast<double>(swing);
  double p = block.first;
  for (uint32_t i = 0; i < block.steps; ++i, p += beatsPerSample) {
    position = p;
    if (mode == kOneShot && finished) {
      phases[i] = static_cast<float>(freePhase);
      cycles[i] = 0.0f;
      continue;
    }
    double d = static_cast<double>(lastRate) * block.advance / static_cast<double>(sampleRate);
    // Intended: before the first trigger the cycle is -1, which is odd, so with swing the first cycle after a
    // restart is about two samples short. Generator.SwingAlternatesLongAndShortCycles holds it.
    if (swingOn) d /= (static_cast<int64_t>(cycle) & 1) != 0 ? 2.0 - h : h;
    const Advance next = AdvanceBy(d, phaseInitComplement + freePhase, d + 1.0 + freePhase);
    freePhase = next.phase;
    if (next.cycleEnded) {
      triggers[i] = 1.0f;
      cycle += 1.0;
      if (cycle > 0.0) finished = true;
    }
    if (mode == kOneShot && finished) {
      freePhase = Fraction(phaseInitWide + 0.9999990000000025);
      triggers[i] = 0.0f;
    }
    phases[i] = static_cast<float>(freePhase);
    cycles[i] = static_cast<float>(cycle);
    lastRate = rates[i];
  }
}

/// A new start phase: both phases move along.
void IGenerator::MovePhases(float newPhaseInit) {
  const double p = static_cast<double>(newPhaseInit);
  freePhase = Fraction(1.0 + p + freePhase - phaseInitWide);
  syncPhase = Fraction(1.0 + p + syncPhase - phaseInitWide);
  phaseInit = newPhaseInit;
  phaseInitWide = p;
  phaseInitComplement = 1.0 - p;
}

}  // namespace Vantora::dsp
