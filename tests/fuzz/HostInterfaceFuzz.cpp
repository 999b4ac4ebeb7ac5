// The binary interface as a stream of calls on two processors at once, in any order that a shell may choose:
// it answers, stays within its buffers, and what it puts out are numbers as long as what it was given are.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "processor/LinkedFactory.h"
#include "processor/interface/IProcessorFactory.h"
#include "tests/fuzz/Pieces.h"

namespace {

using namespace Vantora;
using namespace Vantora::Processor;

constexpr std::array<float, 8> kRates{1000.0f, 8000.0f, 11025.0f, 22050.0f, 44100.0f, 48000.0f, 0.0f, -1.0f};
constexpr float kGuard = -77.25f;  // stands behind each buffer

class Instance final : private LogSink {
 public:
  explicit Instance(IProcessorFactory& factory) : processor(factory.CreateProcessor()) {
    fuzz::Require(processor != nullptr && processor->Attach(this));
  }
  ~Instance() {
    if (isInitialised) processor->Terminate();
  }
  Instance(const Instance&) = delete;

  /// One call, its arguments from `pieces`; `budget` pays for what takes long.
  void Call(fuzz::Pieces& pieces, int& budget) {
    switch (pieces.Byte() % 16) {
      case 0:
        if (budget < 30) return;
        budget -= 30;
        rate = kRates[pieces.Byte() % kRates.size()];
        Init();
        break;
      case 1:
        processor->SetParamValue(pieces.Byte() % 8 == 0 ? pieces.Word() : pieces.Byte(), pieces.Number());
        break;
      case 2:
      case 3:
        // The likely ones: what sounds, how many voices, how they spread.
        processor->SetParamValue(pieces.Byte(), static_cast<float>(pieces.Byte()) / 255.0f);
        break;
      case 4:
        AskParameter(pieces.Byte() % 4 == 0 ? pieces.Word() : pieces.Byte());
        break;
      case 5: {
        const std::array<uint8_t, 3> midi{pieces.Byte(), pieces.Byte(), pieces.Byte()};
        for (int i = pieces.Byte(); i >= 0; --i) processor->PushMidi(midi.data());
        break;
      }
      case 6:
        processor->ClearEvents();
        break;
      case 7:
        TakeChanges();
        break;
      case 8:
        tempo = pieces.Number();
        position = pieces.Number();
        isPlaying = pieces.Byte() & 1;
        break;
      case 9:
        processor->Terminate();
        isInitialised = false;
        if (budget < 30) return;
        budget -= 30;
        Init();
        break;
      case 10:
        fuzz::Require(processor->GetInterfaceVersion() == 7 && processor->GetInfo() != nullptr);
        fuzz::Require(processor->GetBlockSize(pieces.Number()) % 4 == 0);
        static_cast<void>(processor->GetLatency());
        break;
      default:
        for (int i = pieces.Byte() % 4; i >= 0 && budget > 0; --i, --budget) Process(pieces);
        break;
    }
  }

 private:
  void OnMessage(const char* text, uint32_t severity) override {
    fuzz::Require(std::strlen(text) < 1000 && severity == 2);
  }

  void Init() {
    const ProcessorConfig config{rate};
    fuzz::Require(processor->Init(&config));
    isInitialised = isClean = true;
    blockSize = processor->GetBlockSize(rate > 0.0f ? rate : 44100.0f);
    fuzz::Require(blockSize >= 4);
  }

  void AskParameter(uint32_t index) {
    float value = 0.5f;
    if (processor->GetParamValue(index, &value)) fuzz::Require(value >= 0.0f && value <= 1.0f);
    ParamInfo info{};
    if (processor->GetParamInfo(index, &info)) fuzz::Require(strnlen(info.name, sizeof info.name) < 256);
    uint32_t found = 0;
    static_cast<void>(processor->GetParamInfoAt(index, &found, &info));
    std::array<char, 64> blob{};
    uint32_t size = blob.size();
    static_cast<void>(processor->GetParamBlob(index, blob.data(), &size));
    static_cast<void>(processor->IsBlobParam(index));
  }

  void TakeChanges() {
    const ValueChange* values = nullptr;
    uint32_t count = 0;
    processor->GetChangedValues(&values, &count);
    for (uint32_t i = 0; i < count; ++i) {
      fuzz::Require(static_cast<uint32_t>(values[i].index) < processor->GetParameterCount());
    }
    const BlobChange* blobs = nullptr;
    processor->GetChangedBlobs(&blobs, &count);
    for (uint32_t i = 0; i < count; ++i) fuzz::Require(blobs[i].data != nullptr);
  }

  void Process(fuzz::Pieces& pieces) {
    const uint8_t shape = pieces.Byte(), content = pieces.Byte();
    // Most blocks are whole; some are cut, some longer than was agreed.
    const uint32_t count = (shape & 15) == 0   ? 0
                           : (shape & 15) == 1 ? 2 * blockSize + pieces.Byte()
                           : (shape & 15) == 2 ? pieces.Byte() % blockSize
                                               : blockSize;
    std::array<std::vector<float>, 2> in, out;
    std::array<float*, 2> inputs{}, outputs{};
    for (size_t c = 0; c < 2; ++c) {
      in[c].assign(count, 0.0f);
      out[c].assign(count + 1, kGuard);
      Fill(in[c], content);
      inputs[c] = in[c].data();
      outputs[c] = out[c].data();
    }
    ProcessData data{};
    data.inputs = inputs.data();
    data.outputs = outputs.data();
    data.inputCount = std::min(shape >> 4 & 3, 2);
    data.outputCount = std::min(shape >> 6 & 3, 2);
    data.sampleCount = count;
    data.tempo = tempo;
    data.songPosition = position;
    data.isPlaying = isPlaying;
    fuzz::Require(processor->Process(&data));
    for (uint32_t c = 0; c < 2; ++c) {
      fuzz::Require(out[c][count] == kGuard);
      if (c >= data.outputCount) continue;
      for (uint32_t i = 0; i < count; ++i) fuzz::Require(!isClean || std::isfinite(out[c][i]));
    }
    fuzz::Require(data.outputEventCount <= HostEvent::kCapacity);
  }

  void Fill(std::vector<float>& samples, uint8_t content) {
    uint32_t noise = content * 2654435761u + 1;
    for (float& x : samples) {
      noise = noise * 1664525u + 1013904223u;
      x = static_cast<float>(static_cast<int32_t>(noise)) * 0x1p-31f;
      if (content < 8) x = 0.0f;
      if (content == 255) x = 1e30f;
    }
    if (samples.empty()) return;
    if (content == 254) samples[samples.size() / 2] = NAN;
    if (content == 253) samples.back() = INFINITY;
    if (content >= 253) isClean = false;
  }

  std::unique_ptr<IProcessor_V7> processor;
  bool isInitialised = false, isClean = true;
  float rate = 44100.0f, tempo = 120.0f, position = 0.0f;
  uint8_t isPlaying = 0;
  uint32_t blockSize = 44;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto factory = MakeLinkedFactory();
  fuzz::Require(factory->GetInterfaceVersion() == 7);
  std::array<std::unique_ptr<Instance>, 2> both;
  fuzz::Pieces pieces(data, size);
  int budget = 100;
  while (!pieces.Rest().empty() && budget > 0) {
    auto& instance = both[pieces.Byte() & 1];
    if (instance == nullptr) instance = std::make_unique<Instance>(*factory);
    instance->Call(pieces, budget);
  }
  return 0;
}
