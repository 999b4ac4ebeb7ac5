#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BlockBuffers.h"
#include "basictools/math/WholeQuads.h"
#include "basictools/smoothing/SmootherSRL.h"
#include "engine/ChildModule.h"
#include "engine/ModuleContainer.h"
#include "engine/ModuleVariantRows.h"

namespace Vantora::engine {

/// ModuleVariant: several alternative modules of which exactly one runs, with a click-free switch between
/// them and a bypass of whatever runs.
///
///     inputs  0..I-1  the audio ports, shared by all alternatives; bypass and fades act on ports 0 and 1
///             I..     one slice of control ports for each alternative, in list order
///     own parameters, behind those of the alternatives:
///       ModuleType          the alternative asked for; `selected` may lag behind it during a fade
///       Bypass              above 0.5: the alternative isn't run
///       CopyOnBypass        above 0.5: bypassed, the input replaces the output; else silence does
///       CrossfadeOnBypass   above 0.5: bypass fades in 50 ms, and the alternative runs during the fade
///       FadeOnModuleChange  above 0.5: the old alternative fades out in 25 ms, at silence the new one takes
///                           over and fades in; else the switch is immediate
///
/// An alternative states the ports that it wants here as `kInputCount`. Only the selected one costs time or
/// is reset; the coming one is reset at the moment of the request, before the fade-out, and starts clean.
template <uint32_t I, uint32_t O, typename... Ts>
class ModuleVariant : public dsp::ModuleContainer<Ts...>, public ModuleVariantKnobs::Indices {
  static_assert((StatesItsInputs<Ts> && ...), "an alternative says as kInputCount how many inputs it wants");
  static_assert((AlternativeModule<Ts, I> && ...),
                "an alternative wants the variant's audio inputs, and its control inputs behind them");
  using Container = dsp::ModuleContainer<Ts...>;

 public:
  using OwnParam = ModuleVariantKnobs::OwnParam;
  /// The variant's full port counts.
  static constexpr uint32_t kInputCount = I + ((Ts::kInputCount - I) + ...);
  static constexpr uint32_t kOutputCount = O;
  static constexpr uint32_t kParamCount = Container::kOwnBase + kOwnParamCount;
  static constexpr uint32_t kAlternativeCount = sizeof...(Ts);

  /// `makers` return the alternatives, in list order.
  template <typename... Makers>
  explicit ModuleVariant(std::string moduleName, Makers&&... makers)
      : Container(std::move(moduleName), kInputCount, kOutputCount,
                  dsp::MakeRecords(ModuleVariantKnobs::OwnRows(kAlternativeCount)),
                  std::forward<Makers>(makers)...) {}

  void Configure(uint32_t maxBlockSize, float sampleRate) override {
    bypassFade.Setup(1, sampleRate);
    moduleFade.Setup(1, sampleRate);
    bypassFade.SetValue(0.0f);
    moduleFade.SetValue(1.0f);
    selected = Request();
    fadeMemory.Resize(2, maxBlockSize);
    bypassFadeBuffer = fadeMemory.Take();
    moduleFadeBuffer = fadeMemory.Take();
  }

  void DoReset(bool) override {
    const bool crossfades = IsOn(kCrossfadeOnBypass);
    bypassFade.SetValue(crossfades && this->OwnValue(kBypass) < 0.5f ? 1.0f : 0.0f);
    moduleFade.SetValue(1.0f);
    selected = Request();
  }

  /// Resets the selected alternative only; the others are reset when they are asked for.
  void ResetState(bool hard) override {
    FollowRequest();
    this->AtChildNumber(selected, [&](auto& alternative, auto) { alternative.ResetState(hard); });
    DoReset(hard);
    this->changed = 1;
    if (hard) this->SetDirty(true);
  }

  bool UpdateParams(dsp::ProcessContext&) override {
    const bool fades = IsOn(kFadeOnModuleChange);
    if (this->IsOwnDirty(kFadeOnModuleChange) && !fades) {
      moduleFade.SetValue(1.0f);
      selected = Request();
    }
    const bool typeDirty = this->IsOwnDirty(kModuleType);
    const bool bypassDirty = this->IsOwnDirty(kBypass);
    if (typeDirty || (bypassDirty && this->OwnValue(kBypass) < 0.5f)) {
      const uint64_t request = Request();
      const bool differs = selected != request;
      if (typeDirty && differs) {
        if (!fades) selected = request;
        moduleFade.SetTarget(fades ? 0.0f : 1.0f);
      }
      // The coming alternative starts clean, and on waking from bypass the current one does too.
      if (this->changed == 0 || differs) {
        this->AtChildNumber(request, [](auto& alternative, auto) { alternative.ResetState(false); });
      }
    }
    if (IsOn(kCrossfadeOnBypass) && bypassDirty) {
      bypassFade.SetTarget(IsOn(kBypass) ? 0.0f : 1.0f);
    } else if (this->IsOwnDirty(kCrossfadeOnBypass) && this->OwnValue(kCrossfadeOnBypass) < 0.5f) {
      bypassFade.SetValue(0.0f);
    }
    return true;
  }

  uint32_t DoProcess(dsp::ProcessContext& context) override {
    const uint32_t result = Run(context);
    endedPlain = RunsPlain() && selected == Request();
    return result;
  }

  /// True when `Process` would call the selected alternative and do nothing else: since the last block no
  /// parameter has moved and nothing was reset.
  bool IsAtRest() const { return StoodAtRest() && !this->IsAnyOwnDirty(); }

  /// The alternative that is running now.
  uint64_t Selected() const { return selected; }

  /// True when the next block is the selected alternative's alone: no bypass and no fade works on its
  /// outputs.
  bool RunsPlain() {
    return !IsOn(kBypass) && !IsOn(kCrossfadeOnBypass) && !IsOn(kFadeOnModuleChange) &&
           bypassFade.IsSettled();
  }

 protected:
  /// As `IsAtRest`, whatever parameters have moved since.
  bool StoodAtRest() const { return endedPlain && this->changed == 0; }

  /// The alternative that "ModuleType" asks for.
  uint64_t Request() { return static_cast<uint64_t>(this->OwnValue(kModuleType)); }

 private:
  uint32_t Run(dsp::ProcessContext& context) {
    if (context.inputCount != kInputCount) return 0;
    const bool bypassed = IsOn(kBypass);
    const bool moves = !bypassFade.IsSettled();
    if (IsOn(kCrossfadeOnBypass) && moves) RunSelected(context);
    if (!bypassed && !moves) return RunSelected(context);
    if (IsOn(kCopyOnBypass)) {
      MixInput(context);
    } else {
      FadeOutput(context);
    }
    return 1;
  }

  /// Where the control ports of alternative `which` start.
  static constexpr uint32_t SliceStart(std::size_t which) {
    const uint32_t counts[] = {Ts::kInputCount...};
    uint32_t start = I;
    for (std::size_t i = 0; i < which; ++i) start += counts[i] - I;
    return start;
  }

  bool IsOn(uint32_t ownParam) { return this->OwnValue(ownParam) > 0.5f; }

  // Without fades the selection follows at once; with them it waits for silence.
  void FollowRequest() {
    const uint64_t request = Request();
    if (selected != request && !IsOn(kFadeOnModuleChange)) selected = request;
  }

  uint32_t RunSelected(const dsp::ProcessContext& context) {
    FollowRequest();
    uint32_t result = 0;
    this->AtChildNumber(selected, [&](auto& alternative, auto which) {
      constexpr std::size_t kWhich = decltype(which)::value;
      constexpr uint32_t kPorts = std::decay_t<decltype(alternative)>::kInputCount;
      std::array<float*, kPorts> ports;
      std::copy_n(context.inputs, I, ports.begin());
      std::copy_n(context.inputs + SliceStart(kWhich), kPorts - I, ports.begin() + I);
      dsp::ProcessContext inner = context.WithInputs(ports);
      result = alternative.Process(inner);
    });
    if (IsOn(kFadeOnModuleChange) && !moduleFade.IsSettled()) {
      moduleFade.Render(moduleFadeBuffer, context.sampleCount);
      ForAudioOutputs(
          context, [&](float* out, const float*) { Multiply(out, moduleFadeBuffer, context.sampleCount); });
    }
    if (moduleFade.IsSettled() && selected != Request()) {
      selected = Request();
      moduleFade.SetTarget(1.0f);
    }
    return result;
  }

  // Bypassed towards silence.
  void FadeOutput(const dsp::ProcessContext& context) {
    const uint32_t count = context.sampleCount;
    if (!bypassFade.IsSettled()) {
      bypassFade.Render(bypassFadeBuffer, count);
      ForAudioOutputs(context, [&](float* out, const float*) { Multiply(out, bypassFadeBuffer, count); });
      return;
    }
    const float rest = bypassFade.Current();
    if (rest == 1.0f) return;
    ForAudioOutputs(context, [&](float* out, const float*) {
      if (rest == 0.0f) {
        std::fill_n(out, count, 0.0f);
      } else {
        for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) out[i] *= rest;
      }
    });
  }

  // Bypassed towards the input.
  void MixInput(const dsp::ProcessContext& context) {
    const uint32_t count = context.sampleCount;
    const bool moves = !bypassFade.IsSettled();
    if (moves) bypassFade.Render(bypassFadeBuffer, count);
    const float rest = bypassFade.Current();
    if (!moves && rest == 1.0f) return;
    ForAudioOutputs(context, [&](float* out, const float* in) {
      if (in == nullptr) return;
      if (!moves && rest == 0.0f) {
        if (out != in) std::copy_n(in, count, out);
        return;
      }
      for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) {
        const float f = moves ? bypassFadeBuffer[i] : rest;
        out[i] = std::fma(in[i], 1.0f - f, out[i] * f);
      }
    });
  }

  template <typename Visit>
  static void ForAudioOutputs(const dsp::ProcessContext& context, Visit&& visit) {
    for (uint32_t port = 0; port < 2u; ++port) {
      if (float* out = context.Output(port)) visit(out, context.Input(port));
    }
  }

  static void Multiply(float* __restrict out, const float* __restrict gain, uint32_t count) {
    for (uint32_t i = 0, end = WholeQuads(count); i < end; ++i) out[i] *= gain[i];
  }

  // In front: asked before every block.
  uint64_t selected = 0;
  bool endedPlain = false;                    // the last block ended with nothing to decide in the next
  dsp::SmootherSRL bypassFade{0.05f, 1.0f};   // 1: the module sounds, 0: bypassed
  dsp::SmootherSRL moduleFade{0.025f, 1.0f};  // 1: full level, 0: silence while alternatives change
  float* bypassFadeBuffer = nullptr;          // one block each, in fadeMemory
  float* moduleFadeBuffer = nullptr;
  BlockBuffers fadeMemory;
};

}  // namespace Vantora::engine
