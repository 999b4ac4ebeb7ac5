#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "basictools/FlushDenormals.h"
#include "engine/NameBuilder.h"
#include "processor/AlignedBlock.h"
#include "processor/DescribedProcessor.h"
#include "processor/EffectProcessor.h"
#include "processor/interface/EventList.h"

namespace Vantora::Processor {

/// DsplibProcessor: a product behind the binary interface. It owns the product by value, checks and routes
/// parameter indices, holds the event lists and turns the host's block record into a `ProcessContext`.
///
/// Host parameters are the product's own, in its flat index space, and behind them, with `ToolTips`, the
/// command "ToolTipUpdate" and the blob "ToolTipText". Nothing fills the tool tip's text here: a shell that
/// asks for one gets an empty one.
///
/// An object lies in an aligned `malloc` block: `new` answers null when that can't be had.
template <class Product, bool ToolTips>
class DsplibProcessor final : public DescribedProcessor {
  static_assert(ToolTips, "a processor of this interface always answers tool tips");

 public:
  static constexpr uint32_t kToolTipUpdate = Product::kParamCount;
  static constexpr uint32_t kToolTipText = Product::kParamCount + 1;
  static constexpr uint32_t kHostParamCount = Product::kParamCount + 2;
  static constexpr uint32_t kMaxPendingMidi = 254;

  /// `args` go to the product.
  template <typename... Args>
  explicit DsplibProcessor(Args&&... args) : product(std::forward<Args>(args)...) {
    toolTipChange.index = 0xFFFFFFFFu;
    if (const uint32_t buses = info->eventBusCount; buses != 0) {
      busInputEvents.resize(buses);
      busOutputEvents.resize(buses);
    }
  }

  ~DsplibProcessor() noexcept override { product.Shutdown(); }

  static void* operator new(std::size_t size) noexcept { return AllocateAlignedBlock(size); }
  static void operator delete(void* block) noexcept { FreeAlignedBlock(block); }

  bool Init(const ProcessorConfig* config) override {
    // Where memory runs out within, the processor stays silent until an Init has worked.
    initialized = 0;
    sampleRate = config->sampleRate > 0.0f ? config->sampleRate : 44100.0f;
    maxBlockSize = GetBlockSize(sampleRate);
    product.Init(maxBlockSize, sampleRate);
    initialized = 1;
    return true;
  }

  bool Terminate() override {
    product.Shutdown();
    return true;
  }

  bool GetParamValue(uint32_t index, float* out) override {
    if (index == kToolTipUpdate) return true;
    if (index < kToolTipUpdate) *out = product.GetParam(index);
    return *out != -1.0f;
  }

  bool SetParamValue(uint32_t index, float value) override {
    if (index == kToolTipUpdate) {
      if (value < static_cast<float>(kHostParamCount)) {
        toolTipPending = 1;
        toolTipText[0] = '\0';
      }
      return true;
    }
    if (index > kToolTipUpdate) return false;
    // fmin and fmax, not clamp: NaN has to end on a bound.
    product.SetParam(index, std::fmin(std::fmax(value, 0.0f), 1.0f));
    return true;
  }

  bool GetParamBlob(uint32_t index, char* buffer, uint32_t* size) override {
    if (index >= kToolTipUpdate) return index == kToolTipText;  // the text comes with GetChangedBlobs
    const auto blob = product.GetBlob(index);
    const bool fits = blob.size != 0 && *size >= blob.size;
    if (fits) std::memcpy(buffer, blob.data, blob.size);
    *size = static_cast<uint32_t>(blob.size);
    return fits;
  }

  bool IsBlobParam(uint32_t index) override { return index == kToolTipText; }

  bool GetParamInfo(uint32_t index, ParamInfo* out) override {
    if (index >= kHostParamCount) return false;
    if (index >= kToolTipUpdate) {
      // Without a terminator: the shell passes a zeroed record.
      if (index == kToolTipText) {
        out->blobKind = 0;
        out->blobSize = sizeof(toolTipText);
      }
      const char* name = index == kToolTipText ? "ToolTipText" : "ToolTipUpdate";
      std::memcpy(out->name, name, std::strlen(name));
      return true;
    }
    dsp::NameBuilder builder(out->name, sizeof(out->name));
    product.AppendParamName(index, builder);
    if (builder.length == 0) return false;
    if (builder.needed > builder.capacity) {
      if (description3.logSink != nullptr) {
        const std::string text = "Param name too long: (" + std::to_string(builder.needed) +
                                 " chars instead of " + std::to_string(builder.capacity) + ") : " + out->name;
        description3.logSink->OnMessage(text.c_str(), 2);
      }
      return false;
    }
    if (const auto blob = product.GetBlob(index); blob.size != 0) {
      out->blobKind = 0;
      out->blobSize = blob.size;
    }
    return true;
  }

  bool GetParamInfoAt(uint32_t position, uint32_t* index, ParamInfo* out) override {
    if (position >= kHostParamCount) return false;
    *index = position;
    return GetParamInfo(position, out);
  }

  uint32_t GetParameterCount() override { return kHostParamCount; }

  /// True also for an event that found the list full.
  bool PushMidi(const uint8_t* bytes) override {
    if (inputEvents.count >= kMaxPendingMidi) return true;
    MidiEvent& event = inputEvents.entries[inputEvents.count];
    event.kind = 1;
    event.sampleOffset = 0;
    std::memcpy(event.bytes, bytes, sizeof(event.bytes));
    ++inputEvents.count;
    return true;
  }

  bool ClearEvents() override {
    inputEvents.count = 0;
    outputEvents.count = 0;
    for (EventList& list : busInputEvents) list.count = 0;
    return true;
  }

  bool GetChangedValues(const ValueChange** data, uint32_t* count) override {
    return Take(product.changedValues, data, count);
  }

  bool GetChangedBlobs(const BlobChange** data, uint32_t* count) override {
    if (toolTipPending == 0) return Take(product.changedBlobs, data, count);
    toolTipPending = 0;
    toolTipChange = {kToolTipText, sizeof(toolTipText), toolTipText};
    *data = &toolTipChange;
    *count = 1;
    return true;
  }

  bool Reserved27(const void**, uint32_t*) override { return false; }

  /// 4 x round(11 x rate / 44100), at least 4, in single precision; an endless rate saturates.
  uint32_t GetBlockSize(float rate) override {
    const float quads = std::round(rate > 0.0f ? rate * 0.0002494331f : 11.0f);
    constexpr float kMostQuads = 1073741760.0f;  // the largest float whose fourfold fits
    if (!(quads < kMostQuads)) return 4u * static_cast<uint32_t>(kMostQuads);
    return std::max(4u * static_cast<uint32_t>(quads), 4u);
  }

  bool Process(ProcessData* data) override {
    const FlushDenormals guard;
    for (uint32_t c = 0; c < data->outputCount; ++c) std::fill_n(data->outputs[c], data->sampleCount, 0.0f);
    for (uint32_t c = 0; c < data->auxOutputCount; ++c)
      std::fill_n(data->auxOutputs[c], data->sampleCount, 0.0f);
    if (initialized == 0) return true;
    ProcessContext context = MakeContext(*data);
    if (data->sampleCount == 0) {
      // No time passes, so nothing moves; what has been written waits for the next block.
    } else if (data->sampleCount <= maxBlockSize) {
      product.Process(context);
    } else {
      ProcessInPieces(context);
    }
    DeliverEvents(*data);
    return true;
  }

  /// The product, for tests that link it.
  Product& GetProduct() { return product; }

 private:
  using HostEvents = std::array<HostEvent, HostEvent::kCapacity>;

  template <typename List, typename Change>
  static bool Take(List& list, const Change** data, uint32_t* count) {
    const auto taken = static_cast<uint32_t>(list.count);
    list.count = 0;
    *data = taken > 0 ? list.entries.data() : nullptr;
    *count = taken;
    return taken > 0;
  }

  ProcessContext MakeContext(const ProcessData& data) {
    ProcessContext context;
    context.inputs = data.inputs;
    context.passThrough0 = data.passThrough0;
    context.outputs = data.outputs;
    context.auxOutputs = data.auxOutputs;
    context.inputEvents = &inputEvents;
    context.outputEvents = &outputEvents;
    context.inputCount = data.inputCount;
    context.passThrough1 = data.passThrough1;
    context.outputCount = data.outputCount;
    context.auxOutputCount = data.auxOutputCount;
    context.sampleCount = data.sampleCount;
    context.tempo = data.tempo;
    context.songPosition = data.songPosition;
    context.isPlaying = data.isPlaying;
    context.modeIsOne = data.modeWord == 1 ? 1 : 0;
    return context;
  }

  // A shell must not pass more than a block. If one does, cutting
  // costs a loop, and overrunning a buffer costs the host.
  void ProcessInPieces(const ProcessContext& whole) {
    std::array<float*, 2> inputs{};
    std::array<float*, 2> outputs{};
    std::array<float*, 2> aux{};
    if (whole.inputCount > inputs.size() || whole.outputCount > outputs.size())
      return;  // more ports than there are
    const double beatsPerSample = static_cast<double>(whole.tempo) / 60.0 / static_cast<double>(sampleRate);
    for (uint32_t done = 0; done < whole.sampleCount;) {
      ProcessContext piece =
          whole.WithPorts({inputs.data(), whole.inputCount}, {outputs.data(), whole.outputCount});
      for (uint32_t c = 0; c < whole.inputCount; ++c) inputs[c] = whole.inputs[c] + done;
      for (uint32_t c = 0; c < whole.outputCount; ++c) outputs[c] = whole.outputs[c] + done;
      piece.auxOutputCount = std::min<uint32_t>(whole.auxOutputCount, static_cast<uint32_t>(aux.size()));
      for (uint32_t c = 0; c < piece.auxOutputCount; ++c) aux[c] = whole.auxOutputs[c] + done;
      piece.auxOutputs = aux.data();
      piece.sampleCount = PieceLength(whole.sampleCount - done);
      if (whole.isPlaying != 0) piece.songPosition += static_cast<float>(done * beatsPerSample);
      product.Process(piece);
      done += piece.sampleCount;
    }
  }

  /// Of `rest` samples, as many as the next piece takes: a whole block, but a group of four less where one to
  /// three would remain, which no vector loop runs and in which a glide that is under way falls to 0.
  uint32_t PieceLength(uint32_t rest) const {
    if (rest <= maxBlockSize) return rest;
    const bool isShortRest = rest - maxBlockSize < 4 && maxBlockSize >= 8;
    return isShortRest ? maxBlockSize - 4 : maxBlockSize;
  }

  static uint32_t Convert(const EventList& from, HostEvents& to) {
    uint32_t count = 0;
    for (uint32_t i = 0; i < std::min(from.count, EventList::kCapacity); ++i) {
      if (from.entries[i].kind != 1) continue;
      HostEvent& event = to[count++];
      event = {};
      std::memcpy(event.bytes, from.entries[i].bytes, sizeof(event.bytes));
      event.size = 3;
    }
    return count;
  }

  void DeliverEvents(ProcessData& data) {
    data.outputEventCount = Convert(outputEvents, outputEventArray);
    data.outputEventData = outputEventArray.data();
    const auto buses = std::min<std::size_t>(data.busCount, busOutputEvents.size());
    for (std::size_t bus = 0; bus < buses; ++bus) {
      data.busOutputs[bus]->count = Convert(busInputEvents[bus], busOutputEvents[bus]);
      data.busOutputs[bus]->data = busOutputEvents[bus].data();
    }
  }

  Product product;
  EventList inputEvents{};
  EventList outputEvents{};
  std::vector<EventList> busInputEvents;
  HostEvents outputEventArray{};
  std::vector<HostEvents> busOutputEvents;
  BlobChange toolTipChange{};
  char toolTipText[256] = {};
  uint8_t toolTipPending = 0;
  uint8_t initialized = 0;
  float sampleRate = 44100.0f;
  uint32_t maxBlockSize = 44;
};

}  // namespace Vantora::Processor
