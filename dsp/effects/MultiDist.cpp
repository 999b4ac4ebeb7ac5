#include "dsp/effects/MultiDist.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "basictools/math/Decibels.h"
#include "basictools/math/WholeQuads.h"
#include "dsp/effects/ShapingCurves.h"
#include "dsp/effects/distortion/DistortionKernels.h"

namespace Vantora::dsp {
namespace {

using MappingTools::Linear;

constexpr double kSmallestDistance = 0.0001;  // below it the difference quotient is not worth its rounding
constexpr float kLargest = std::numeric_limits<float>::max();

/// The mean of the curve on the way from sample to sample.
template <typename Curve>
void ShapeAntiAliased(float* data, uint32_t count, float previous) noexcept {
  double p = static_cast<double>(previous);
  double integral = Curve::Integral(p);
  for (uint32_t i = 0; i < count; ++i) {
    const double x = static_cast<double>(std::clamp(data[i], -kLargest, kLargest));
    const double integralOfX = Curve::Integral(x);
    const double distance = x - p;
    const double y = std::fabs(distance) <= kSmallestDistance ? Curve::template Curve<double>(0.5 * (x + p))
                                                              : (integralOfX - integral) / distance;
    data[i] = static_cast<float>(y);
    p = x;
    integral = integralOfX;
  }
}

}  // namespace

static_assert(MultiDistKnobs::kCurveCount == kShapingCurveCount);

MultiDist::MultiDist(std::string moduleName)
    : UnitModule(std::move(moduleName), kInputCount, kOutputCount, MakeRecords(MultiDistKnobs::kRows)) {
  std::vector<uint32_t> all(kShapingCurveCount);
  std::iota(all.begin(), all.end(), 0u);
  SetAllowedAlgorithms(std::move(all));
}

void MultiDist::SetAllowedAlgorithms(std::vector<uint32_t> algorithms) {
  if (algorithms.empty()) throw std::runtime_error("No algorithm is allowed");
  entryOf.fill(-1);
  for (std::size_t entry = 0; entry < algorithms.size(); ++entry) {
    if (algorithms[entry] >= kShapingCurveCount) throw std::runtime_error("Unknown shaping algorithm");
    entryOf[algorithms[entry]] = static_cast<int32_t>(entry);
  }
  allowed = std::move(algorithms);
  algorithm = allowed.front();
  ReDeclareStepped(kDistType, static_cast<uint32_t>(allowed.size()), 0.0f, 1.0f);
}

void MultiDist::Configure(uint32_t maxBlockSize, float sampleRate) {
  for (SmootherInterpLPF* smoother : {&drive, &outputGain}) {
    smoother->Setup(1, std::max(maxBlockSize, 1u), sampleRate);
  }
  workspace.Resize(
      6, WholeVectors(maxBlockSize));  // the last buffer, at the doubled rate, takes the place of two
  for (HeldRamp* ramp : {&driveDb, &outputGains}) *ramp = {.samples = workspace.Take()};
  for (float** buffer : {&driveGains, &shaped, &doubled}) *buffer = workspace.Take();
  for (Channel& channel : channels) channel.sampler.Init(WholeQuadsAbove(maxBlockSize));
}

void MultiDist::DoReset(bool) {
  for (Channel& channel : channels) {
    channel.previous = 0.0f;
    channel.sampler.Reset();
  }
  compensation.Snap();
  outputGain.SetValue(OutputGainTarget());
}

float MultiDist::OutputGainTarget() {
  return outputGainOf(Value(kOutputGain) + Value(kGainStagingOut), DbToGain);
}

void MultiDist::ReadSwitches() {
  if (IsDirty(kStereo)) channelCount = Value(kStereo) > 0.5f ? 2 : 1;
  if (IsDirty(kAutoComp)) isCompensating = Value(kAutoComp) > 0.5f;
  if (IsDirty(kFeedbackOn)) isFeedbackOn = Value(kFeedbackOn) > 0.5f;
  if (IsDirty(kAntiAl)) isAntiAliasing = Value(kAntiAl) > 0.5f;
  if (IsDirty(kUpsamp)) {
    const bool wanted = Value(kUpsamp) > 0.5f;
    if (wanted && !isUpsampling) {
      for (Channel& channel : channels) channel.sampler.Reset();  // what they hold is from another time
    }
    isUpsampling = wanted;
  }
  if (IsDirty(kDistType)) {
    const float last = static_cast<float>(allowed.size() - 1);
    algorithm = allowed[static_cast<std::size_t>(std::fmin(std::fmax(Value(kDistType), 0.0f), last))];
  }
}

bool MultiDist::UpdateParams(ProcessContext& context) {
  if (context.sampleCount == 0) return false;  // flags and marks wait for the next block
  if (IsAnyDirty()) ReadSwitches();
  TakeWrites();
  const bool isFresh = IsChanged();
  stagingIn = Value(kGainStagingIn);
  drive.SnapOrGlide(Param(kDrive).ReadValueModulated(context, 2) + stagingIn, isFresh);
  outputGain.SnapOrGlide(OutputGainTarget(), isFresh);
  return true;
}

uint32_t MultiDist::DoProcess(ProcessContext& context) {
  const uint32_t count = WholeQuads(context.sampleCount);
  const auto ports = [&](uint32_t c) {
    return Ports{context.Input(c), context.Output(c), isFeedbackOn ? context.Input(c + 3) : nullptr,
                 isFeedbackOn ? context.Output(c + 2) : nullptr};
  };
  wasLeftToBank = false;
  if (!RestsThrough(count)) {
    if (bank != nullptr && count > 0 && !IsChanged() && channelCount == 1 && LeaveTo(*bank, ports(0))) {
      wasLeftToBank = true;
      return 1;
    }
    MultiDist* const self = this;
    RenderGains(&self, 1, context.sampleCount);
  }
  if (count == 0) return 1;
  for (uint32_t c = 0; c < channelCount; ++c) ProcessChannel(channels[c], ports(c), count);
  return 1;
}

bool MultiDist::GlideOn(LaneBank& shared, const float* in, float* out, uint32_t sampleCount) {
  if (!wasLeftToBank || sampleCount < 4 || IsChanged() || IsAnyDirty() || IsWritten()) return false;
  drive.SetTarget(Value(kDrive) + stagingIn);
  return !drive.IsSettled() && LeaveTo(shared, {in, out, nullptr, nullptr});
}

bool MultiDist::LeaveTo(LaneBank& shared, const Ports& ports) {
  SharedBlock* const block = shared.Add<SharedBlock>(RunSideBySide);
  if (block == nullptr) return false;
  block->shaper = this;
  block->ports = ports;
  return true;
}

void MultiDist::RunSideBySide(const SharedBlock* blocks, uint32_t blockCount, uint32_t sampleCount) {
  const uint32_t count = WholeQuads(sampleCount);
  MultiDist* shapers[LaneBank::kCapacity] = {};
  for (uint32_t b = 0; b < blockCount; ++b) shapers[b] = blocks[b].shaper;
  RenderGains(shapers, blockCount, sampleCount);
  for (uint32_t b = 0; b < blockCount; ++b)
    shapers[b]->ProcessChannel(shapers[b]->channels[0], blocks[b].ports, count);
}

// True when the buffers hold the block's gains already.
bool MultiDist::RestsThrough(uint32_t count) {
  if (IsChanged() && isCompensating) compensation.Snap();
  if (!isCompensating) {
    compensation.SwitchOff();
    levelAlgorithm = kShapingCurveCount;
  }
  return driveDb.Holds(drive, count) && outputGains.Holds(outputGain, count) &&
         (!isCompensating || (levelAlgorithm == algorithm && compensation.StandsAt(compensationLine.from)));
}

// The smoothers go on by all samples, of which their buffers hold whole groups.
void MultiDist::RenderGains(MultiDist* const* shapers, uint32_t shaperCount, uint32_t sampleCount) {
  const uint32_t count = WholeQuads(sampleCount);
  HeldRamps<2 * LaneBank::kCapacity> ramps;
  DriveGainsRun runs[LaneBank::kCapacity];
  uint32_t runCount = 0;
  for (uint32_t s = 0; s < shaperCount; ++s) {
    MultiDist& shaper = *shapers[s];
    if (ramps.Add(shaper.drive, shaper.driveDb, count)) {
      runs[runCount++] = {.dB = shaper.driveDb.samples,
                          .gain = shaper.driveGains,
                          .count = count,
                          .different = shaper.driveDb.count != 0 ? 4 : count};
    }
    ramps.Add(shaper.outputGain, shaper.outputGains, count);
  }
  ramps.Render(sampleCount);
  if (count == 0) return;
  DistortionKernels().driveGains(runs, runCount);
  AimCompensations(shapers, shaperCount, sampleCount);
}

// Step by step, as each step of a shaper waits for the one before.
void MultiDist::AimCompensations(MultiDist* const* shapers, uint32_t shaperCount, uint32_t sampleCount) {
  float levels[LaneBank::kCapacity] = {};
  const uint32_t last = WholeQuads(sampleCount) - 1;
  for (uint32_t s = 0; s < shaperCount; ++s) {
    const MultiDist& shaper = *shapers[s];
    levels[s] = LookUpCompensation(kShaperCompensation[shaper.algorithm], shaper.driveDb.samples[last]);
  }
  for (uint32_t s = 0; s < shaperCount; ++s) {
    if (shapers[s]->isCompensating) levels[s] = shapers[s]->compensationGainOf(levels[s], DbToGain);
  }
  for (uint32_t s = 0; s < shaperCount; ++s) {
    MultiDist& shaper = *shapers[s];
    if (!shaper.isCompensating) continue;
    const bool isLevel = shaper.driveDb.count != 0 && shaper.compensation.StandsAt(levels[s]);
    shaper.levelAlgorithm = isLevel ? shaper.algorithm : kShapingCurveCount;
    shaper.compensationLine = shaper.compensation.Aim(levels[s], sampleCount);
  }
}

void MultiDist::ProcessChannel(Channel& channel, const Ports& ports, uint32_t count) {
  const auto [in, out, feedback, send] = ports;
  if (in == nullptr || out == nullptr) return;
  const DistortionKernelTable& kernels = DistortionKernels();
  kernels.multiply(in, driveGains, shaped, count);
  if (feedback != nullptr) {
    for (uint32_t i = 0; i < count; ++i) shaped[i] += feedback[i];
  }
  if (isUpsampling) {
    // Held where the filters can't overflow: an infinite state would stay.
    for (uint32_t i = 0; i < count; ++i) shaped[i] = std::clamp(shaped[i], -1e30f, 1e30f);
    channel.sampler.Upsample(shaped, doubled, count);
    Shape(channel, doubled, 2 * count);
    channel.sampler.Downsample(doubled, shaped, count);
  } else {
    Shape(channel, shaped, count);
  }
  if (send != nullptr) std::copy_n(shaped, count, send);
  if (isCompensating) {
    kernels.compensate(shaped, compensationLine, outputGains.samples, out, count);
  } else {
    kernels.multiply(shaped, outputGains.samples, out, count);
  }
}

void MultiDist::Shape(Channel& channel, float* data, uint32_t count) {
  const float last = data[count - 1];
  if (isAntiAliasing) {
    VisitShapingCurve(algorithm,
                      [&](auto shape) { ShapeAntiAliased<decltype(shape)>(data, count, channel.previous); });
  } else {
    DistortionKernels().shape[algorithm](data, WholeVectors(count));  // the buffers have room
  }
  channel.previous = std::clamp(last, -kLargest, kLargest);
}

}  // namespace Vantora::dsp
