#include "dsp/effects/Wavefolder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "basictools/math/Decibels.h"
#include "basictools/math/WholeQuads.h"
#include "dsp/effects/TriangleFold.h"
#include "dsp/effects/distortion/DistortionKernels.h"

namespace Vantora::dsp {
namespace {

using MappingTools::Linear;

constexpr float kSineScale = 1.5707964f;      // full scale is a quarter turn
constexpr double kSmallestDistance = 0.0001;  // below it the difference quotient is not worth its rounding
constexpr float kLoudest = 1e38f;             // its quarter turns are still a number
constexpr float kLargest = std::numeric_limits<float>::max();

/// Folds a block with a vector kernel. Beyond its limit, which `peak` tells in advance, `foldOne` does it one
/// by one; what overflowed, or would in the fold, gives silence; NaN stays.
template <typename FoldOne>
void FoldBlock(float* data, uint32_t count, float peak, void (*fold)(float*, uint32_t),
               FoldOne&& foldOne) noexcept {
  if (peak <= kFoldVectorLimit) {
    fold(data, WholeVectors(count));  // the buffers have room
    return;
  }
  for (uint32_t i = 0; i < count; i += 4) {
    float y[4];
    std::copy_n(data + i, 4, y);
    fold(y, 4);
    for (uint32_t lane = 0; lane < 4; ++lane) {
      float& x = data[i + lane];
      if (std::fabs(x) > kFoldVectorLimit) {
        x = std::fabs(x) <= kLoudest ? foldOne(x) : 0.0f;
      } else {
        x = y[lane];
      }
    }
  }
}

void FoldTriangleAntiAliased(float* data, uint32_t count, float previous) noexcept {
  double p = static_cast<double>(previous);
  double integral = FoldTriangleIntegral(p);
  for (uint32_t i = 0; i < count; ++i) {
    const double x = static_cast<double>(std::clamp(data[i], -kLargest, kLargest));
    const double integralOfX = FoldTriangleIntegral(x);
    const double distance = x - p;
    // A mean of the triangle, and so within it, up to the 500th fold. Beyond, the joining constants end.
    const double y = std::fabs(distance) <= kSmallestDistance ? FoldTriangle(0.5 * (x + p))
                                                              : (integralOfX - integral) / distance;
    data[i] = static_cast<float>(y);
    p = x;
    integral = integralOfX;
  }
}

}  // namespace

Wavefolder::Wavefolder(std::string moduleName)
    : UnitModule(std::move(moduleName), kInputCount, kOutputCount, MakeRecords(WavefolderKnobs::kRows)) {}

void Wavefolder::Configure(uint32_t maxBlockSize, float sampleRate) {
  for (SmootherInterpLPF* smoother : {&drive, &wet, &outputGain}) {
    smoother->Setup(1, std::max(maxBlockSize, 1u), sampleRate);
  }
  workspace.Resize(
      9, WholeVectors(maxBlockSize));  // the last buffer, at the doubled rate, takes the place of two
  resting = {};
  for (HeldRamp* ramp : {&driveDb, &wets, &levels}) *ramp = {.samples = workspace.Take()};
  for (float** buffer : {&driveGains, &roots, &wetGains, &driven, &doubled}) *buffer = workspace.Take();
}

void Wavefolder::DoReset(bool) {
  for (Channel& channel : channels) channel.previous = 0.0f;
  ClearSamplers();
  compensation.Snap();
}

void Wavefolder::ClearSamplers() {
  for (Channel& channel : channels) {
    channel.up.Clear();
    channel.down.Clear();
  }
}

void Wavefolder::ReadSwitches() {
  if (IsDirty(kType)) isTriangle = Value(kType) >= 0.5f;
  if (IsDirty(kUpsmp)) {
    const bool wanted = Value(kUpsmp) > 0.5f;
    if (wanted && !isUpsampling) ClearSamplers();
    isUpsampling = wanted;
  }
  if (IsDirty(kAntiAl)) isAntiAliasing = Value(kAntiAl) > 0.5f;
  if (IsDirty(kAutoComp)) isCompensating = Value(kAutoComp) > 0.5f;
  if (IsDirty(kFeedbackOn)) isFeedbackOn = Value(kFeedbackOn) > 0.5f;
  if (IsDirty(kStereo)) {
    const uint32_t wanted = Value(kStereo) >= 1.0f ? 2 : 1;
    if (wanted != channelCount) ClearSamplers();
    channelCount = wanted;
  }
  isPlainSine = DistortionKernels().driveAndFold != nullptr && !isTriangle && !isUpsampling &&
                !isFeedbackOn && channelCount == 1;
}

bool Wavefolder::UpdateParams(ProcessContext& context) {
  if (context.sampleCount == 0) return false;  // flags and marks wait for the next block
  if (IsAnyDirty()) ReadSwitches();
  TakeWrites();
  const bool isFresh = IsChanged();
  stagingIn = Value(kGainStagingIn);
  drive.SnapOrGlide(Param(kDrive).ReadValueModulated(context, 3) + stagingIn, isFresh);
  wet.SnapOrGlide(Param(kWet).ReadValueModulated(context, 2), isFresh);
  outputGain.SnapOrGlide(outputGainOf(Value(kOutputGain) + Value(kGainStagingOut), DbToGain), isFresh);
  return true;
}

uint32_t Wavefolder::DoProcess(ProcessContext& context) {
  const uint32_t count = WholeQuads(context.sampleCount);
  const auto ports = [&](uint32_t c) {
    return Ports{context.Input(c), context.Output(c), isFeedbackOn ? context.Input(c + 4) : nullptr,
                 isFeedbackOn ? context.Output(c + 2) : nullptr};
  };
  glideRoom = 0;
  if (!RestsThrough(count)) {
    if (bank != nullptr && !IsChanged() && MayFoldInOneGo(context, count) &&
        LeaveTo(*bank, context.inputs[0], context.outputs[0])) {
      glideRoom = std::min({kMostInOneGo, wets.count, levels.count});
      return 1;
    }
    HeldRamps<2> ramps;
    ramps.Add(drive, driveDb, count);
    if (ramps.Add(wet, wets, count)) levels.count = 0;
    ramps.Render(context.sampleCount);
    const CompensationLine line = count > 0 ? AimGains(context.sampleCount) : CompensationLine{};
    RenderLevels(context.sampleCount);
    if (count > 0) RenderGains(line, count);
  }
  if (count > 0) Run(ports(0), ports(1), count);
  return 1;
}

void Wavefolder::Run(const Ports& first, const Ports& second, uint32_t count) {
  float peak = ProcessChannel(channels[0], first, count);
  if (channelCount == 2) peak = std::max(peak, ProcessChannel(channels[1], second, count));
  Param(kOverload).SetValue(peak > 1.0f ? 1.0f : 0.0f);
}

// A sine fold, all wet at gain 1, of which nothing moves but the drive.
bool Wavefolder::MayFoldInOneGo(const ProcessContext& context, uint32_t count) const {
  return isPlainSine && count > 0 && count <= kMostInOneGo && context.Input(0) != nullptr &&
         context.Output(0) != nullptr && context.Input(0) != context.Output(0) && DriveGlides() &&
         wets.value == 1.0 && levels.value == 1.0 && wets.Holds(wet, count) &&
         levels.Holds(outputGain, count);
}

bool Wavefolder::GlideOn(LaneBank& shared, const float* in, float* out, uint32_t sampleCount) {
  const uint32_t count = WholeQuads(sampleCount);
  if (count == 0 || count > glideRoom || IsChanged() || IsAnyDirty() || IsWritten()) return false;
  if (in == nullptr || in == out) return false;
  drive.SetTarget(Value(kDrive) + stagingIn);
  return DriveGlides() && LeaveTo(shared, in, out);
}

bool Wavefolder::LeaveTo(LaneBank& shared, const float* in, float* out) {
  DrivenBlock* const block = shared.Add<DrivenBlock>(FoldInOneGo);
  if (block == nullptr) return false;
  *block = {this, in, out};
  return true;
}

void Wavefolder::FoldInOneGo(const DrivenBlock* blocks, uint32_t blockCount, uint32_t sampleCount) {
  constexpr uint32_t kMost = LaneBank::kCapacity;
  const uint32_t count = WholeQuads(sampleCount);
  const uint32_t room = WholeVectors(count);
  alignas(64) float dB[kMost * kMostInOneGo];
  SmootherInterpLPF* drives[kMost] = {};
  float* ramps[kMost] = {};
  DrivenFold folds[kMost];
  for (uint32_t b = 0; b < blockCount; ++b) {
    drives[b] = &blocks[b].folder->drive;
    ramps[b] = dB + b * room;
    folds[b].in = blocks[b].in;
    folds[b].out = blocks[b].out;
    folds[b].dB = ramps[b];
  }
  SmootherInterpLPF::RenderSideBySide(drives, ramps, blockCount, sampleCount);
  AimCompensations(blocks, folds, blockCount, sampleCount);
  DistortionKernels().driveAndFold(folds, blockCount, count);
  for (uint32_t b = 0; b < blockCount; ++b) blocks[b].folder->Take(folds[b], count);
}

// Step by step, as each step of a folder waits for the one before.
void Wavefolder::AimCompensations(const DrivenBlock* blocks, DrivenFold* folds, uint32_t blockCount,
                                  uint32_t sampleCount) {
  float levels[LaneBank::kCapacity];
  const uint32_t last = WholeQuads(sampleCount) - 1;
  for (uint32_t b = 0; b < blockCount; ++b) levels[b] = blocks[b].folder->CompensationDb(folds[b].dB[last]);
  for (uint32_t b = 0; b < blockCount; ++b)
    levels[b] = blocks[b].folder->compensationGainOf(levels[b], DbToGain);
  for (uint32_t b = 0; b < blockCount; ++b) {
    Wavefolder& folder = *blocks[b].folder;
    if (folder.isCompensating) {
      folds[b].compensation = folder.compensation.Aim(levels[b], sampleCount);
    } else {
      folder.compensation.SwitchOff();
    }
  }
}

void Wavefolder::Take(const DrivenFold& fold, uint32_t count) {
  driveDb.count = resting.count = 0;
  if (fold.isExact) {
    channels[0].previous = fold.last;
    Param(kOverload).SetValue(fold.isOver ? 1.0f : 0.0f);
    return;
  }
  std::copy_n(fold.dB, count, driveDb.samples);
  RenderGains(fold.compensation, count);
  Run({fold.in, fold.out, nullptr, nullptr}, {}, count);
}

// True when the buffers hold the block's gains already.
bool Wavefolder::RestsThrough(uint32_t count) {
  if (IsChanged() && isCompensating) compensation.Snap();
  if (!driveDb.Holds(drive, count) || !wets.Holds(wet, count) || !levels.Holds(outputGain, count) ||
      resting.count < count || resting.isTriangle != isTriangle || resting.isCompensating != isCompensating)
    return false;
  if (isCompensating) return compensation.StandsAt(resting.compensation);
  compensation.SwitchOff();
  return true;
}

float Wavefolder::CompensationDb(float lastDb) const {
  return LookUpCompensation(isTriangle ? kTriangleFoldCompensation : kSineFoldCompensation, lastDb);
}

CompensationLine Wavefolder::AimCompensation(float lastDb, uint32_t sampleCount) {
  if (!isCompensating) {
    compensation.SwitchOff();
    return {};
  }
  return compensation.Aim(compensationGainOf(CompensationDb(lastDb), DbToGain), sampleCount);
}

// Of the ramps' block.
CompensationLine Wavefolder::AimGains(uint32_t sampleCount) {
  const uint32_t count = WholeQuads(sampleCount);
  const bool isLevel = driveDb.count != 0 && wets.count != 0 && outputGain.IsSettled();
  const CompensationLine line = AimCompensation(driveDb.samples[count - 1], sampleCount);
  const bool stands = line.step == 0.0f && line.from == compensation.Last();
  resting = {.count = isLevel && stands ? count : 0,
             .isTriangle = isTriangle,
             .isCompensating = isCompensating,
             .compensation = compensation.Last()};
  return line;
}

void Wavefolder::RenderGains(CompensationLine line, uint32_t count) {
  const FoldGainsRun gains = {.dB = driveDb.samples,
                              .level = levels.samples,
                              .gain = driveGains,
                              .root = roots,
                              .wetGain = wetGains,
                              .compensation = line,
                              .count = count,
                              .different = driveDb.count != 0 ? 4 : count};
  DistortionKernels().foldGains(&gains, 1);
}

void Wavefolder::RenderLevels(uint32_t sampleCount) {
  const uint32_t count = WholeQuads(sampleCount);
  if (levels.Holds(outputGain, count)) return;
  levels.Note(outputGain, count);
  if (wets.count == 0) levels.count = 0;
  outputGain.Render(driven, sampleCount);
  DistortionKernels().multiply(wets.samples, driven, levels.samples, count);
}

float Wavefolder::ProcessChannel(Channel& channel, const Ports& ports, uint32_t count) {
  const auto [in, out, feedback, send] = ports;
  if (in == nullptr || out == nullptr) return 0.0f;
  if (in != out && feedback == nullptr && send == nullptr && !isUpsampling &&
      !(isTriangle && isAntiAliasing)) {
    const float peak = DistortionKernels().foldThrough[isTriangle](
        in, {driveGains, roots, wets.samples, wetGains}, out, count);
    if (peak <= kFoldVectorLimit) {
      const uint32_t last = count - 1;
      channel.previous = in[last] * driveGains[last] * roots[last];
      return peak;
    }
  }
  const float peak = DriveThenFold(channel, ports, count);
  if (send != nullptr) std::copy_n(driven, count, send);
  DistortionKernels().mixFolded(in, wets.samples, wetGains, driven, out, count);
  return peak;
}

float Wavefolder::DriveThenFold(Channel& channel, const Ports& ports, uint32_t count) {
  const DistortionKernelTable& kernels = DistortionKernels();
  kernels.multiplyTwice(ports.in, driveGains, roots, driven, count);
  if (ports.feedback != nullptr) {
    for (uint32_t i = 0; i < count; ++i) driven[i] += ports.feedback[i];
  }
  const float peak = kernels.peak(driven, count);
  if (isUpsampling) {
    FoldOversampled(channel, count);
  } else {
    Fold(channel, driven, count, peak);
  }
  return peak;
}

void Wavefolder::Fold(Channel& channel, float* data, uint32_t count, float peak) {
  const float last = data[count - 1];
  if (!isTriangle) {
    FoldBlock(data, count, peak, DistortionKernels().fold[0],
              [](float x) { return std::sin(x * kSineScale); });
  } else if (isAntiAliasing) {
    FoldTriangleAntiAliased(data, count, channel.previous);
  } else {
    FoldBlock(data, count, peak, DistortionKernels().fold[1],
              [](float x) { return static_cast<float>(FoldTriangle(static_cast<double>(x))); });
  }
  channel.previous = std::clamp(last, -kLargest, kLargest);
}

void Wavefolder::FoldOversampled(Channel& channel, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    // Held where the filter can't overflow: an infinite state would stay.
    doubled[2 * i] = channel.up.Process(std::clamp(driven[i], -1e30f, 1e30f));
    doubled[2 * i + 1] = channel.up.Process(0.0f);
  }
  Fold(channel, doubled, 2 * count, DistortionKernels().peak(doubled, 2 * count));
  for (uint32_t i = 0; i < count; ++i) {
    channel.down.Process(doubled[2 * i]);
    driven[i] = channel.down.Process(doubled[2 * i + 1]);
  }
}

}  // namespace Vantora::dsp
