#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BlockBuffers.h"
#include "basictools/math/Decibels.h"
#include "basictools/math/WholeQuads.h"
#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"
#include "engine/ModuleContainer.h"
#include "processor/EffectProcessorRows.h"
#include "processor/interface/BlobChange.h"

namespace Vantora::Processor {

using dsp::BlockConfig;
using dsp::ParamRecord;
using dsp::ProcessContext;

/// ChangeList: up to `Capacity` changes that the shell takes away at once.
template <typename Change, uint32_t Capacity>
struct ChangeList {
  uint64_t count = 0;
  std::array<Change, Capacity> entries;
};

/// How many channels a block has.
enum ChannelMode : uint32_t {
  kMono = 0,          ///< one output
  kStereo = 1,        ///< two inputs, two outputs
  kMonoToStereo = 2,  ///< one input, two outputs
};

namespace details {

/// FXConstructionHelper: hands the frame's own records and its name to the container.
template <uint32_t ValueCapacity, uint32_t BlobCapacity, typename... Ts>
class FXConstructionHelper : public dsp::ModuleContainer<Ts...> {
 public:
  using dsp::ModuleContainer<Ts...>::ModuleContainer;
};

}  // namespace details

/// EffectProcessor: the frame that every effect of this family sits in. Around
/// the product's wet path it puts an output gain, a click-free bypass with a dry
/// path that can be delayed, and the resets behind "Panic" and "PresetLoading".
///
///     inputs --> ProcessWet --(* OutputGain)--+
///        |                                    (crossfade, 10 ms)--> outputs
///        +------------(delay)-----------------+
///
/// Bypass         0 wet, above 0 dry. The wet path runs on every block, bypassed or not, so that it needs no
///                warm-up
/// Panic          at 0.5 or above: hard reset, as often as it is written
/// PresetLoading  at 0.5 or above: a load begins; below: it has ended, soft reset
/// OutputGain     dB, -12..12, wet signal only, glides with 0.1 s
///
/// The two numbers are capacities of the lists of changed values and blobs.
/// One call is one block of at most the configured size, a multiple of
/// four: arithmetic runs in whole groups of four, copies take every sample.
template <uint32_t ValueCapacity, uint32_t BlobCapacity, typename... Ts>
class EffectProcessor : public details::FXConstructionHelper<ValueCapacity, BlobCapacity, Ts...>,
                        public EffectProcessorKnobs::Indices {
  using Helper = details::FXConstructionHelper<ValueCapacity, BlobCapacity, Ts...>;
  using Container = dsp::ModuleContainer<Ts...>;

 public:
  /// Positions in the own list; a product's own follow.
  using OwnParam = EffectProcessorKnobs::OwnParam;

  /// `makers` return the children, in list order.
  template <typename... Makers>
  explicit EffectProcessor(std::string moduleName, Makers&&... makers)
      : Helper(std::move(moduleName), 2, 2, dsp::MakeRecords(EffectProcessorKnobs::kOwnRows),
               std::forward<Makers>(makers)...) {
    changedValues.entries.fill({-1, {0, 0}});
    changedBlobs.entries.fill({0xFFFFFFFFu, 0, nullptr});
  }

  /// Routes the value, then reacts to "Panic" and "PresetLoading" on the caller's thread.
  bool SetParam(uint32_t index, float normalized) override {
    Container::SetParam(index, normalized);
    if (index == Container::kOwnBase + kPanic && normalized >= 0.5f) {
      this->ResetState(true);
      OnPanic();
    }
    if (index == Container::kOwnBase + kPresetLoading) {
      presetLoading = this->OwnNormalized(kPresetLoading) >= 0.5f ? 1 : 0;
      if (presetLoading == 0) {
        this->ResetState(false);
        presetLoaded = 1;
      }
      OnPresetLoading(presetLoading != 0);
    }
    return true;
  }

  void Configure(uint32_t maxBlockSize, float sampleRate) override {
    blockMemory.Resize(4, maxBlockSize);
    for (float** buffer : {&wet[0], &wet[1], &bypassFadeBuffer, &outputGainBuffer})
      *buffer = blockMemory.Take();
    bypassFade.Setup(1, sampleRate);
    outputGain.Setup(1, sampleRate);
    for (auto& line : dryDelay) line.Resize(static_cast<uint32_t>(std::ceil(0.01f * sampleRate)));
    ConfigureProduct(maxBlockSize, sampleRate);
  }

  void DoReset(bool hard) override {
    bypassFade.SetValue(this->OwnValue(kBypass));
    outputGain.SetValue(DbToGain(this->OwnValue(kOutputGain)));
    for (auto& line : dryDelay) line.Clear();
    ResetProduct(hard);
  }

  bool UpdateParams(ProcessContext& context) override {
    if (this->IsOwnDirty(kBypass)) bypassFade.SetTarget(this->OwnValue(kBypass));
    if (this->IsOwnDirty(kOutputGain)) outputGain.SetTarget(DbToGain(this->OwnValue(kOutputGain)));
    return UpdateProduct(context);
  }

  uint32_t DoProcess(ProcessContext& context) override {
    if (context.inputCount == 0) return 0;
    const ChannelMode mode = context.outputCount == 1  ? kMono
                             : context.inputCount == 1 ? kMonoToStereo
                                                       : kStereo;
    ProcessContext inner = context.WithPorts({context.inputs, context.inputCount}, wet);
    const uint32_t result = ProcessWet(inner, mode);

    const uint32_t count = context.sampleCount;
    const uint32_t channels = mode == kMono ? 1 : 2;
    outputGain.Render(outputGainBuffer, count);
    for (uint32_t c = 0; c < channels; ++c) Multiply(wet[c], outputGainBuffer, count);

    const uint32_t heard = std::min(channels, context.outputCount);  // none: all the same goes on
    const float bypass = this->OwnValue(kBypass);
    const auto dry = [&](uint32_t c) { return context.inputs[mode == kStereo ? c : 0]; };
    if (!bypassFade.IsSettled()) {
      bypassFade.Render(bypassFadeBuffer, count);
      for (uint32_t c = 0; c < heard; ++c) Crossfade(context.outputs[c], wet[c], dry(c), count);
    } else if (!(bypass > 0.0f)) {
      for (uint32_t c = 0; c < heard; ++c) std::copy_n(wet[c], count, context.outputs[c]);
    } else if (const uint32_t delay = GetBypassDelay(bypass); delay == 0) {
      for (uint32_t c = 0; c < heard; ++c) std::copy_n(dry(c), count, context.outputs[c]);
    } else {
      for (uint32_t c = 0; c < heard; ++c) Delay(dryDelay[c], delay, dry(c), context.outputs[c], count);
    }
    return result;
  }

  // Added to the container's operations, in the order of the table.
  void OnShutdown() override {}
  BlockConfig AdjustConfig(uint32_t maxBlockSize, float sampleRate) override {
    return {maxBlockSize, sampleRate};
  }
  /// The product's part of `Configure`.
  virtual void ConfigureProduct(uint32_t maxBlockSize, float sampleRate) = 0;
  /// The product's part of `DoReset`.
  virtual void ResetProduct(bool hard) = 0;
  /// The effect's signal path: inputs of the block to the two wet buffers.
  virtual uint32_t ProcessWet(ProcessContext& context, ChannelMode channelMode) = 0;
  /// The product's part of `UpdateParams`.
  virtual bool UpdateProduct(ProcessContext& context) = 0;
  virtual void OnPanic() {}
  virtual void OnPresetLoading(bool /*loading*/) {}
  /// Reserved: 0.
  virtual uint32_t Reserved23() { return 0; }
  /// Reserved: writes a zero when there is room for one.
  virtual void Reserved24(uint32_t /*a*/, uint32_t /*b*/, uint64_t size, char* text) {
    if (size != 0) *text = 0;
  }
  /// Samples by which the dry path has to be late, at most 10 ms.
  virtual uint32_t GetBypassDelay(float /*bypassValue*/) { return 0; }
  /// Bytes of a blob parameter; this product has none.
  struct Blob {
    uint64_t size;
    const char* data;
  };
  virtual Blob GetBlob(uint32_t /*index*/) { return {0, nullptr}; }

  uint8_t presetLoaded = 0;   ///< a load has ended since construction
  uint8_t presetLoading = 0;  ///< a load is under way
  ChangeList<ValueChange, ValueCapacity> changedValues;
  ChangeList<BlobChange, BlobCapacity> changedBlobs;

 protected:
  /// True while the bypass crossfade stands still.
  bool IsBypassSettled() const { return bypassFade.IsSettled(); }

 private:
  static void Multiply(float* __restrict signal, const float* __restrict gain, uint32_t count) {
    for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) signal[i] *= gain[i];
  }

  void Crossfade(float* out, const float* wetSignal, const float* dry, uint32_t count) const {
    for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
      const float x = bypassFadeBuffer[i];
      out[i] = wetSignal[i] * (1.0f - x) + dry[i] * x;
    }
  }

  static void Delay(dsp::DelayLine& line, uint32_t delay, const float* in, float* out, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      const float delayed = line.Read(delay);
      line.Write(in[i]);
      out[i] = delayed;
    }
  }

  std::array<float*, 2> wet{};
  dsp::SmootherSRL bypassFade{0.01f, 1.0f};
  float* bypassFadeBuffer = nullptr;
  dsp::SmootherLPF outputGain{0.1f};
  float* outputGainBuffer = nullptr;
  std::array<dsp::DelayLine, 2> dryDelay;
  BlockBuffers blockMemory;  // wet left, wet right, bypass fade, output gain: one block each
};

}  // namespace Vantora::Processor
