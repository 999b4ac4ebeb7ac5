#pragma once

#include <algorithm>
#include <bit>
#include <functional>

#include "basictools/math/Xorshift.h"
#include "tests/processor/model/Parts.h"

namespace Vantora::test::model {

/// The LFO as the product fits it. Only the first sample of a
/// block is computed for others to read, but every step is walked.
struct Oscillator {
  enum {
    kMode,
    kSync,
    kRate,
    kSynced,
    kAllSynced,
    kSyncedType,
    kPhase,
    kTracking,
    kTrackingAmount,
    kTrackingFreq,
    kGate,
    kControlRate,
    kHardFollow,
    kSwing,
    kAllowAll,
    kWaveform,
    kAmp,
    kSmooth,
    kSmoothLinked,
    kFade,
    kStereo,
    kSpread,
    kHoldMode,
    kUnipolar,
    kPhaseOut,
    kValueOut
  };
  enum { kOneShot, kFree, kSongLocked };
  struct Transport {
    float tempo = 120.0f, position = 0.0f;
    bool plays = false;
  };

  explicit Oscillator(uint32_t seed) : random(seed) {
    knobs = {With(Steps(3), 2.0f),
             Steps(3),
             Exp(0.025f, 50.0f, 3.0f),
             Steps(10),
             Steps(30),
             Steps(3),
             Line(0.0f, 360.0f),
             Plain(),
             Plain(),
             Line(1.0f, 40000.0f),
             Plain(),
             With(Plain(), 1.0f),
             Plain(),
             Line(50.0f, 75.0f),
             With(Steps(2), 1.0f),
             Steps(6),
             With(Plain(), 1.0f),
             Line(0.0f, 5.0f),
             With(Steps(2), 1.0f),
             Plain(),
             Plain(),
             Line(0.0f, 360.0f),
             Steps(2),
             Plain(),
             Plain(),
             Line(-1.0f, 1.0f)};
    for (float x = 16.0f; table.size() < 10; x *= 0.5f) {
      table.push_back(x);
      allTable.insert(allTable.end(), {1.5f * x, x, 0.6666667f * x});
    }
    std::sort(allTable.begin(), allTable.end(), std::greater<>());
  }

  void Init(uint32_t block, float sampleRate) {
    rate = sampleRate;
    samplesPerStep = knobs[kControlRate].IsOn() ? block : 1;
    for (Glide& glide : glides) glide.Setup(samplesPerStep, rate);
    Reset(true);
  }
  void Reset(bool hard) {
    played = false;
    Restart();
    for (Glide& glide : glides) glide.Snap(0.0f);
    held[0] = held[1] = Draw();
    heldIsOld = false;
    if (hard) SetDirty(knobs, true);
  }
  void Restart() {
    cycle = -1.0f;
    position = origin = 0.0;
    needsStart = true;
    held[0] = held[1] = Draw();
    fade = knobs[kFade].Position() > 0.0f ? 0.0f : 1.0f;
  }
  float Draw() {
    random = XorshiftStep(random);
    return static_cast<float>(random) * 4.656613e-10f - 1.0f;
  }

  float Process(uint32_t count, const Transport& song) {
    beats = 1.0 / 60.0 / double{rate} * double{song.tempo};
    Update();
    const uint32_t steps = controlRate ? 1 : count;
    const double samples = static_cast<double>(count) / steps;
    phases.assign(steps, 0.0f);
    triggers.assign(steps, false);
    Walk(count, steps, samples, song);
    if (linked) SetSmoothing(knobs[kSmooth].Value() / (synced ? song.tempo / (rateNow * 240.0f) : rateNow));
    const float first = Shape(steps);
    knobs[kPhaseOut].Put(phases[0] - std::floor(phases[0]));
    knobs[kValueOut].Put(first);
    SetDirty(knobs, false);
    return first;
  }

  void Update() {
    const bool allowAll = knobs[kAllowAll].IsOn(), all = allowAll && knobs[kSync].Value() == 2.0f;
    const auto factor = [&] {
      const float type = knobs[kSyncedType].Value();
      typeFactor = type == 0.0f ? 1.0f : (type == 1.0f ? 0.6666667f : 1.5f);
    };
    if (knobs[kMode].dirty) mode = static_cast<int>(knobs[kMode].Value());
    if (knobs[kSync].dirty) {
      synced = knobs[kSync].Position() >= 0.5f;
      Restart();
      if (allowAll && synced) {
        usesAll = all;
        typeFactor = 1.0f;
        if (!all) factor();
      }
    }
    if (knobs[kSyncedType].dirty && !all) factor();
    bool rateDirty = false;
    for (int k = kSync; k <= kSyncedType; ++k) rateDirty = rateDirty || knobs[k].dirty;
    if (rateDirty) {
      const auto index = static_cast<std::size_t>(knobs[usesAll ? kAllSynced : kSynced].Value());
      rateNow = synced ? typeFactor * (usesAll ? allTable : table)[index] : knobs[kRate].Value();
    }
    if (knobs[kPhase].dirty) {
      const double moved = double{knobs[kPhase].Value() * 0.0027777778f};
      freePhase = Fraction(1.0 + moved + freePhase - start);
      syncPhase = Fraction(1.0 + moved + syncPhase - start);
      start = moved;
    }
    if (knobs[kGate].dirty && knobs[kGate].IsOn() && mode != kSongLocked) {
      finished = false;
      Restart();
    }
    if (knobs[kControlRate].dirty) controlRate = knobs[kControlRate].Value() >= 0.5f;
    if (knobs[kHardFollow].dirty) hardFollow = knobs[kHardFollow].Value() >= 0.5f;
    if (knobs[kSwing].dirty) swings = knobs[kSwing].Position() > 0.0f;
    if (knobs[kSwing].dirty) swing = double{knobs[kSwing].Value() * 0.01f};
    if (knobs[kSmooth].dirty || knobs[kSmoothLinked].dirty) {
      linked = knobs[kSmoothLinked].IsOn();
      if (!linked) SetSmoothing(knobs[kSmooth].Value());
    }
    if (knobs[kFade].dirty) {
      const float seconds = knobs[kFade].Value();
      if (seconds > 0.0f) fadeStep = static_cast<float>(samplesPerStep) / (rate * seconds);
      if (!(seconds > 0.0f)) fade = 1.0f;
    }
  }
  void SetSmoothing(float seconds) {
    for (Glide& glide : glides) glide.SetTime(double{seconds});
    smooths = seconds > 0.0f;
  }

  void Walk(uint32_t count, uint32_t steps, double samples, const Transport& song) {
    const bool turned = song.plays != played, started = turned && song.plays;
    if (started && mode == kSongLocked) Restart();
    played = song.plays;
    const float here = std::max(song.position, 0.0f);
    if (here < lastHere && !started && !(mode == kSongLocked && !song.plays)) {
      const double jump = beats * count + double{lastHere} - double{here};
      position -= jump;
      if (mode != kSongLocked) origin -= jump;
    }
    lastHere = here;
    if (turned && mode != kSongLocked) {
      if (started) origin += double{here} - (position + beats * samples);
      position = double{here} - beats * samples;
    }
    double p = song.plays ? double{here} : position + beats * samples;
    const double tracking = Tracking(), advance = tracking * samples;
    const double length = 4.0 * double{rateNow}, h = 2.0 * swing;
    if (needsStart) Start(p, samples, tracking, turned);
    double q = position;
    for (uint32_t i = 0; i < steps; ++i, p += beats) {
      const bool parked = mode == kOneShot && finished;
      if (!synced) {
        if (!parked) StepFree(advance, i);
        phases[i] = static_cast<float>(freePhase);
      } else if (mode == kOneShot) {
        const double d = beats * (advance / length);
        if (!parked && Advance(syncPhase, d, syncPhase - start + 1.0, syncPhase + d)) EndOneShot(i);
        phases[i] = static_cast<float>(syncPhase);
      } else {
        const double now = Warp(tracking / length * (p - origin)),
                     before = Warp(tracking / length * (q - origin));
        const bool odd = std::fmod(std::floor(now), 2.0) != 0.0;
        triggers[i] = std::floor(now) != std::floor(before);
        if (triggers[i] && std::floor(now) > 0.0) finished = true;
        const double d = beats * (advance / length) / (swings ? (odd ? 2.0 - h : h) : 1.0);
        const bool follows = triggers[i] || (hardFollow && mode == kSongLocked);
        syncPhase = Fraction(follows ? now + start : syncPhase + d);
        phases[i] = static_cast<float>(syncPhase);
      }
      q = p;
    }
    position = q;
  }
  double Tracking() {
    if (!knobs[kTracking].IsOn()) return 1.0;
    const float octaves =
        knobs[kTrackingAmount].Value() * 0.01f * std::log2(knobs[kTrackingFreq].Value() * 0.003822256f);
    return double{std::exp2(synced ? std::round(octaves) : octaves)};
  }
  void Start(double p, double samples, double tracking, bool turned) {
    const double r = double{rateNow}, even = swings ? 0.5 / swing : 1.0, advance = tracking * samples;
    const bool free = mode != kSongLocked || !played, parked = finished && mode == kOneShot;
    lastRate = rateNow;
    needsStart = false;
    if (synced) {
      position = p - samples * tracking * beats;
      origin = free && !(played && hardFollow) ? p : 0.0;
      const double base = free ? start : Fraction(p * tracking / (4.0 * r) + start);
      syncPhase = parked ? Parked() : base - advance * even * beats / (4.0 * r);
    } else if (free || turned) {
      freePhase = parked ? Parked() : start - advance * r * even / double{rate};
    }
  }
  void StepFree(double advance, uint32_t i) {
    const double h = 2.0 * swing;
    double d = double{lastRate} * advance / double{rate};
    if (swings) d /= (static_cast<int>(cycle) & 1) != 0 ? 2.0 - h : h;
    lastRate = rateNow;
    if (!Advance(freePhase, d, 1.0 - start + freePhase, d + 1.0 + freePhase)) return;
    if (mode == kOneShot) return EndOneShot(i);
    triggers[i] = true;
    cycle += 1.0f;
    finished = finished || cycle > 0.0f;
  }
  void EndOneShot(uint32_t i) {
    cycle += 1.0f;
    triggers[i] = !(cycle > 0.0f);
    if (!(cycle > 0.0f)) return;
    finished = true;
    (synced ? syncPhase : freePhase) = Parked();
  }
  double Parked() const { return Fraction(start - 1e-6 + 1.0); }
  /// Moves a phase by `d`; true when a cycle ended. What is whole but for rounding is whole.
  bool Advance(double& phase, double d, double u, double moved) const {
    const double whole = std::round(u + d);
    const bool lands = std::fabs(u + d - whole) <= 1e-12;
    phase = lands ? start : Fraction(moved);
    return std::trunc(u) != (lands ? whole : std::trunc(u + d));
  }
  double Warp(double c) const {
    if (!swings) return c;
    const double v = 2.0 * Fraction(c / 2.0), h = 2.0 * swing;
    return v < h ? c - v + v / h : c - v + (v - h) / (2.0 - h) + 1.0;
  }
  static double Fraction(double x) { return x - std::floor(x); }

  /// The last channel's first sample: both share one buffer.
  float Shape(uint32_t steps) {
    const uint32_t channels = knobs[kStereo].IsOn() ? 2 : 1;
    const auto waveform = static_cast<int>(knobs[kWaveform].Value());
    const float spread = channels == 2 ? knobs[kSpread].Value() / 360.0f : 0.0f;
    const bool fades = fade < 1.0f;
    float first = 0.0f;
    for (uint32_t i = 0; i < steps; ++i) {
      if (waveform == 5) Hold(i, channels, 2.0f * spread);
      for (uint32_t c = 0; c < channels; ++c) {
        float x = (c == 1 ? spread : 0.0f) + phases[i];
        x -= std::floor(x);
        float y = (waveform == 5 ? held[c] : Wave(waveform, x));
        y = (knobs[kUnipolar].IsOn() ? 0.5f * y + 0.5f : y) * knobs[kAmp].Value();
        if (smooths) {
          glides[c].Aim(y);
          y = glides[c].Tick();
        }
        if (fades) y = (FastExp2((fade + fadeStep * static_cast<float>(i)) * 14.42695f) * y - y) / 22025.5f;
        if (i == 0) first = y;
      }
    }
    fade += fadeStep * static_cast<float>(steps);
    return first;
  }
  static float Wave(int waveform, float x) {
    if (waveform == 0) return std::sin(x * 6.2831855f);
    if (waveform == 1) return x < 0.25f ? 4.0f * x : (x < 0.75f ? 2.0f - 4.0f * x : 4.0f * x - 4.0f);
    if (waveform == 4) return x < 0.5f ? 1.0f : -1.0f;
    return waveform == 2 ? 1.0f - 2.0f * x : 2.0f * x - 1.0f;
  }
  void Hold(uint32_t i, uint32_t channels, float lag) {
    const bool mirrored = knobs[kHoldMode].IsOn();
    const float before = held[0], t = phases[i];
    if (triggers[i]) {
      held[0] = Draw();
      heldIsOld = false;
      if (mirrored) held[1] = -held[0];
    }
    if (channels == 1 || mirrored) return;
    const float moved = std::fmod(t + 1.0f - lagPhase, 1.0f);
    if ((moved >= lag || lag >= 1.0f) && triggers[i]) {
      held[1] = lag >= 1.0f ? before : held[0];
      heldIsOld = false;
    }
    if (moved < lag && lag < 1.0f && t + std::clamp(1.0f - lag, 0.0f, 1.0f) >= 1.0f && !heldIsOld) {
      held[1] = before;
      heldIsOld = true;
    }
    lagPhase = t;
  }
  static float FastExp2(float f) {
    const float z = f - std::trunc(f) + (f < 0.0f ? 1.0f : 0.0f);
    const float bits = 8388608.0f * (f + 121.274055f + 27.728024f / (4.8425255f - z) - 1.4901291f * z);
    return std::bit_cast<float>(static_cast<uint32_t>(bits));
  }

  Knobs knobs;
  std::vector<float> table, allTable, phases;
  std::vector<bool> triggers;
  Glide glides[2] = {Glide(0.0f), Glide(0.0f)};
  float rate = 1.0f, rateNow = 0.0f, lastRate = 1.0f, typeFactor = 1.0f, cycle = 0.0f, lastHere = 0.0f;
  float fade = 0.0f, fadeStep = 0.0f, lagPhase = 0.0f, held[2] = {};
  double beats = 0.0, position = 0.0, origin = 0.0, syncPhase = 0.0, freePhase = 0.0, start = 0.0,
         swing = 0.5;
  uint32_t random, samplesPerStep = 1;
  int mode = 0;
  bool synced = false, usesAll = false, swings = false, needsStart = false, finished = false, played = false;
  bool controlRate = false, hardFollow = false, linked = false, smooths = false, heldIsOld = false;
};

/// A level meter's follower.
struct Follower {
  enum { kAttack, kRelease, kWindow, kGain, kStereo, kThreshold, kGate };
  Follower() {
    knobs = {With(Line(0.001f, 5.0f), 0.2f),
             With(Line(0.001f, 5.0f), 0.2f),
             With(Line(0.0f, 100.0f), 10.0f),
             With(Line(0.0f, 100.0f), 1.4142135f),
             Plain(),
             With(Line(-120.0f, 0.0f), -120.0f),
             Plain()};
  }
  void Init(float sampleRate) {
    rate = sampleRate;
    Reset(true);
  }
  void Reset(bool hard) {
    squares.clear();
    level = 0.0f;
    sum = 0.0;
    if (hard) SetDirty(knobs, true);
  }
  /// The first sample of the block's envelope; a null right input is mono.
  float Process(const float* left, const float* right, uint32_t count) {
    const auto window = static_cast<uint32_t>(knobs[kWindow].Value() * 0.001f * rate);
    if (knobs[kWindow].dirty) Reset(false);
    const float threshold = model::Gain(knobs[kThreshold].Value());
    const bool gated = knobs[kGate].IsOn() && knobs[kThreshold].Position() > 0.0f;
    float first = 0.0f;
    for (uint32_t i = 0; i < count; ++i) {
      const float a = std::fabs(left[i]), gain = knobs[kGain].Value();
      float t = 0.0f;
      if (window > 1) {
        const float m = right != nullptr ? (std::fabs(right[i]) + a) * 0.5f : a;
        squares.push_back(double{m} * double{m} * (1.0 / window));
        sum = sum - (squares.size() > window ? squares[squares.size() - 1 - window] : 0.0) + squares.back();
        if (sum < 1e-10) sum = 0.0;
        const float rms = std::sqrt(static_cast<float>(sum));
        t = !gated || rms > threshold ? gain * rms : 0.0f;
      } else {
        t = right != nullptr ? gain * 0.5f * (std::fabs(right[i]) + a) : a * gain;
        if (gated && !(t > threshold)) t = 0.0f;
      }
      const float seconds = knobs[level > t ? kRelease : kAttack].Value();
      const float y = level + (t - level) * (1.0f - std::exp(-5.0f / (rate * seconds)));
      level = double{y} >= 1e-6 ? y : 0.0f;
      if (i == 0) first = level;
    }
    SetDirty(knobs, false);
    return first;
  }
  Knobs knobs;
  std::vector<double> squares;
  double sum = 0.0;
  float rate = 1.0f, level = 0.0f;
};

}  // namespace Vantora::test::model
