#include "dsp/effects/MultiModeFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/WholeQuads.h"
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "dsp/effects/FilterCompensation.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kFadeBlocks = 25;
constexpr float kHighestFrequency = 0.495f;  // of the sample rate

enum Port : uint32_t { kFmPort = 2, kFreqPort = 3, kQPort = 4, kGainPort = 5, kFmAmountPort = 6 };

}  // namespace

static_assert(MultiModeFilterKnobs::kModeCount == kFilterModeCount);

MultiModeFilter::MultiModeFilter(std::string text, uint32_t newChannelCount)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(MultiModeFilterKnobs::kRows)),
      channelCount(newChannelCount) {
  for (uint32_t number = 0; number < kFilterModeCount; ++number) {
    allowedModes.push_back(number);
    indexOfMode[number] = static_cast<int32_t>(number);
  }
}

void MultiModeFilter::SetAllowedModes(std::vector<uint32_t> modes) {
  allowedModes = std::move(modes);
  indexOfMode.fill(-1);
  for (uint32_t index = 0; index < allowedModes.size(); ++index) {
    indexOfMode[allowedModes[index]] = static_cast<int32_t>(index);
  }
  ReDeclareStepped(kMode, static_cast<uint32_t>(allowedModes.size()), 0.0f, 1.0f);
}

void MultiModeFilter::Configure(uint32_t maxBlockSize, float newSampleRate) {
  blockSize = maxBlockSize;
  sampleRate = newSampleRate;
  blockShare = 1.0f / static_cast<float>(maxBlockSize);
  fadeStep = 1.0f / static_cast<float>(maxBlockSize * kFadeBlocks - 1);
  combDelays.assign(maxBlockSize + kVectorPadding, 1.0f);
  compensation.assign(maxBlockSize, 1.0f);
  combDelayBlock.Forget();
  compensationBlock.Forget();

  frequencySmoother.Setup(maxBlockSize, sampleRate);
  qSmoother.Setup(maxBlockSize, sampleRate);
  bellGainSmoother.Setup(maxBlockSize, sampleRate);
  compensationSmoother.Setup(1, maxBlockSize, sampleRate);
  combDelaySmoother.Setup(1, sampleRate);
  const ParamRecord& pitch = Param(kCombFreq);
  combDelaySmoother.SetRange(sampleRate / pitch.GetMinimum() - sampleRate / pitch.GetMaximum());

  const bool hasComb = std::any_of(allowedModes.begin(), allowedModes.end(), [](uint32_t number) {
    return kFilterModes[number].topology == FilterTopology::Comb;
  });
  if (!hasComb) return;
  for (uint32_t c = 0; c < channelCount; ++c)
    lines[c].Resize(InWholeBlocks(static_cast<uint32_t>(sampleRate / pitch.GetMinimum()) + 5u, blockSize));
}

void MultiModeFilter::DoReset(bool) {
  // Intended: the memory stays. What follows a reset is clean because the mode is taken up anew:
  // EveryEffect.IsBackAfterOneResetFromWhatIsNoNumber holds it.
  compensate = Normalized(kConfGainCompensationOn) > 0.5f;
  fade = Fade::None;
  fadeBlocks = 0;
}

// Parameters ------------------------------------------------------------------------------------------------

bool MultiModeFilter::UpdateParams(ProcessContext& context) {
  if (context.sampleCount == 0) return false;  // flags and marks wait for the next block
  if (StandsStill(context)) return true;
  TakeWrites();
  ReadSwitches();
  if (changed != 0) {
    TakeUpMode(context);
  } else if (IsDirty(kMode)) {
    if (!fadeOnModeChange) {
      fade = Fade::None;
      TakeUpMode(context);
    } else if (fade == Fade::None && RequestedMode() != modeNumber) {
      fade = Fade::Out;
      fadeBlocks = 0;
    }
  }
  switch (mode.topology) {
    case FilterTopology::FirstOrder:
      UpdateFrequency(context);
      firstOrder.Tune(mode.use, HeldFrequency(), sampleRate);
      break;
    case FilterTopology::StateVariable:
      UpdateFrequency(context);
      qSmoother.SetTarget(Param(kQ).ReadValueModulated(context, kQPort));
      q = qSmoother.Tick();
      if (mode.use == FilterUse::Bell) {
        bellGainSmoother.SetTarget(Param(kGain).ReadValueModulated(context, kGainPort));
        bellGainDb = bellGainSmoother.Tick();
      }
      UpdateStateVariable();
      break;
    case FilterTopology::Comb:
      UpdateComb(context);
      break;
  }
  UpdateCompensation(context.sampleCount);
  UpdateBypass(context);
  snap = false;
  hasSettled = HasSettled() && !IsModulated(context);
  return true;
}

// Then all would be read and aimed at as for the last block.
bool MultiModeFilter::StandsStill(const ProcessContext& context) const {
  return hasSettled && changed == 0 && !IsAnyDirty() && !IsWritten() && !snap &&
         compensationBlock.Rests(context.sampleCount) &&
         (!IsIn(FilterTopology::Comb) || combDelayBlock.Rests(context.sampleCount)) && !IsModulated(context);
}

bool MultiModeFilter::HasSettled() const {
  if (fade != Fade::None || !compensationSmoother.IsSettled()) return false;
  if (IsIn(FilterTopology::Comb)) return combDelaySmoother.IsSettled();
  return IsIn(FilterTopology::StateVariable) && frequencySmoother.IsSettled() && qSmoother.IsSettled() &&
         (mode.use != FilterUse::Bell || bellGainSmoother.IsSettled()) &&
         StandsThrough(chain.now, chain.step);
}

bool MultiModeFilter::IsModulated(const ProcessContext& context) {
  for (const uint32_t port : {kFreqPort, kQPort, kGainPort, kFmAmountPort}) {
    if (context.LiveControl(port) != nullptr) return true;
  }
  return context.Input(kFmPort) != nullptr;
}

uint32_t MultiModeFilter::RequestedMode() {
  const float index = std::fmin(std::fmax(Value(kMode), 0.0f), static_cast<float>(allowedModes.size() - 1));
  return allowedModes[static_cast<uint32_t>(index)];
}

void MultiModeFilter::ReadSwitches() {
  if (IsDirty(kConfBypassOnOpen)) bypassOnOpen = Normalized(kConfBypassOnOpen) > 0.5f;
  if (IsDirty(kConfGainCompensationOn)) compensate = Normalized(kConfGainCompensationOn) > 0.5f;
  if (IsDirty(kConfFadeOnModeChange)) fadeOnModeChange = Normalized(kConfFadeOnModeChange) > 0.5f;
  if (IsDirty(kStereo)) stereo = Normalized(kStereo) > 0.5f;
}

void MultiModeFilter::TakeUpMode(ProcessContext& context) {
  modeNumber = RequestedMode();
  mode = kFilterModes[modeNumber];
  frequencySmoother.SetValue(Param(kFreq).ReadValueModulated(context, kFreqPort));
  qSmoother.SetValue(Param(kQ).ReadValueModulated(context, kQPort));
  bellGainSmoother.SetValue(Param(kGain).ReadValueModulated(context, kGainPort));
  combDelaySmoother.SetValue(CombDelayTarget(context));
  snap = true;
  ClearState();
}

void MultiModeFilter::ClearState() {
  for (auto& channel : chain.sections)
    std::fill(std::begin(channel), std::end(channel), StateVariableState<float>{});
  firstOrder.Clear();
  for (DelayLine& line : lines) line.Clear();
}

void MultiModeFilter::UpdateFrequency(ProcessContext& context) {
  ParamRecord& record = Param(kFreq);
  float aim = record.ReadValueModulated(context, kFreqPort);
  const float amount = Param(kFmAmount).ReadNormalizedModulated(context, kFmAmountPort);
  const float* signal = context.Input(kFmPort);
  if (amount > 0.0f && signal != nullptr) {
    aim *= std::exp2(amount * 10.0f * signal[0]);
    aim = std::fmin(std::fmax(aim, record.GetMinimum()), record.GetMaximum());
  }
  frequencySmoother.SetTarget(aim);
  frequency = frequencySmoother.Tick();
}

float MultiModeFilter::HeldFrequency() const { return std::min(frequency, kHighestFrequency * sampleRate); }

void MultiModeFilter::UpdateStateVariable() {
  const StateVariableTuning wanted = {HeldFrequency(), q, bellGainDb};
  if (snap || !(wanted == tuning)) {
    tuning = wanted;
    tuned = wanted.Coefficients(mode.use, sampleRate);
  }
  StateVariableCoefficients& now = chain.now;
  if (snap) {
    now = tuned;
    chain.step = {};
    return;
  }
  // From where the coefficients stand: after a short block that is part of the way.
  chain.step.g1 = (tuned.g1 - now.g1) * blockShare;
  chain.step.g2 = (tuned.g2 - now.g2) * blockShare;
  chain.step.g3 = (tuned.g3 - now.g3) * blockShare;
  chain.step.m1 = (tuned.m1 - now.m1) * blockShare;
  now.m0 = tuned.m0;
  now.m2 = tuned.m2;
}

float MultiModeFilter::CombDelayTarget(ProcessContext& context) {
  // A delay below one sample would read the oldest cell of the line.
  return std::max(sampleRate / Param(kCombFreq).ReadValueModulated(context, kFreqPort), 1.0f);
}

void MultiModeFilter::UpdateComb(ProcessContext& context) {
  combDelaySmoother.SetTarget(CombDelayTarget(context));
  combDelayMoves = combDelayBlock.Render(combDelaySmoother, combDelays.data(), context.sampleCount);
  feedback = Param(kQ).ReadNormalizedModulated(context, kQPort) * 0.99f;
}

void MultiModeFilter::UpdateCompensation(uint32_t count) {
  if (snap || q != compensatedQ) {
    compensatedQ = q;
    resonanceGain = ResonanceCompensation(mode, q);
  }
  float gain = 1.0f;
  if (compensate) gain = modeNumber == kModeFeedbackComb ? CombCompensation(feedback) : resonanceGain;
  compensationSmoother.SnapOrGlide(gain, snap);
  compensationBlock.Render(compensationSmoother, compensation.data(), count);
}

void MultiModeFilter::UpdateBypass(const ProcessContext& context) {
  bool open = false;
  if (bypassOnOpen && context.LiveControl(kFreqPort) == nullptr) {
    const bool isHighPass = mode.use == FilterUse::HighPass;
    open = (mode.use == FilterUse::LowPass && frequency == Param(kFreq).GetMaximum()) ||
           (isHighPass && frequency == Param(kFreq).GetMinimum());
  }
  if (bypassed && !open) ClearState();
  bypassed = open;
}

// Signal ----------------------------------------------------------------------------------------------------

uint32_t MultiModeFilter::DoProcess(ProcessContext& context) {
  const uint32_t count = context.sampleCount;
  Channels io = {{context.Input(0), context.Input(1)}, {context.Output(0), context.Output(1)}, 1};
  if (io.in[0] == nullptr || io.out[0] == nullptr) return 1;
  if (stereo && channelCount > 1 && io.in[1] != nullptr && io.out[1] != nullptr) io.count = 2;

  const bool isPlain =
      IsIn(FilterTopology::StateVariable) && mode.order == 3 && !stereo && !bypassed && fade == Fade::None;
  if (isPlain && bank != nullptr) {
    if (FilterBlock* block = bank->Add(FilterKernels().run[mode.order - 1])) {
      *block = SectionsBlock(io, 0, count);
      return 1;
    }
  }

  if (bypassed) {
    for (uint32_t c = 0; c < io.count; ++c) {
      if (io.in[c] != io.out[c]) std::copy_n(io.in[c], count, io.out[c]);
    }
  } else {
    switch (mode.topology) {
      case FilterTopology::FirstOrder:
        for (uint32_t c = 0; c < io.count; ++c) firstOrder.Process(c, io.in[c], io.out[c], count);
        break;
      case FilterTopology::StateVariable:
        RunStateVariable(io, count);
        break;
      case FilterTopology::Comb:
        RunComb(io, count);
        break;
    }
  }
  if (fade != Fade::None) ApplyFade(context, io, count);
  return 1;
}

void MultiModeFilter::RunStateVariable(const Channels& io, uint32_t count) {
  FilterBlock blocks[2];
  for (uint32_t c = 0; c < io.count; ++c) blocks[c] = SectionsBlock(io, c, count);
  FilterKernels().run[mode.order - 1](blocks, io.count, count);
}

FilterBlock MultiModeFilter::SectionsBlock(const Channels& io, uint32_t channel, uint32_t count) {
  return {.chain = &chain,
          .sections = chain.sections[channel],
          .in = io.in[channel],
          .gain = compensation.data(),
          .out = io.out[channel],
          .isLast = channel + 1 == io.count,
          .gainStands = count % 4 == 0 && compensationBlock.Rests(count)};
}

void MultiModeFilter::RunComb(const Channels& io, uint32_t count) {
  for (uint32_t c = 0; c < io.count; ++c) {
    CombKernels().run({.line = &lines[c],
                       .delays = combDelays.data(),
                       .moving = count % 4 == 0 ? combDelayMoves : count,
                       .isFedBack = mode.use == FilterUse::Feedback,
                       .feedback = feedback,
                       .gain = compensation.data(),
                       .in = io.in[c],
                       .out = io.out[c]},
                      count);
  }
}

void MultiModeFilter::ApplyFade(ProcessContext& context, const Channels& io, uint32_t count) {
  const uint32_t start = fadeBlocks * blockSize;
  for (uint32_t c = 0; c < io.count; ++c) {
    for (uint32_t i = 0; i < count; ++i) {
      const float travel = static_cast<float>(i + start) * fadeStep;
      io.out[c][i] *= fade == Fade::Out ? 1.0f - travel : travel;
    }
  }
  if (++fadeBlocks < kFadeBlocks) return;
  fadeBlocks = 0;
  if (fade == Fade::Out) {
    TakeUpMode(context);
    fade = Fade::In;
  } else {
    fade = RequestedMode() != modeNumber ? Fade::Out : Fade::None;
  }
}

}  // namespace Vantora::dsp
