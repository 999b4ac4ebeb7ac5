#include "host/HostedProcessor.h"

#include <cmath>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "host/HostError.h"

namespace Vantora::host {

/// Keeps what the processor reports. Reports come from calls that this host makes off the audio thread.
class HostedProcessor::MessageList final : public Processor::LogSink {
 public:
  void OnMessage(const char* text, uint32_t) override { texts.emplace_back(text); }
  std::vector<std::string> texts;
};

HostedProcessor::HostedProcessor(const ProcessorSource& origin, Processor::LogSink* logSink)
    : source(origin), messages(std::make_unique<MessageList>()), sink(logSink) {
  processor = MakeAttached(*messages);
  Learn();
}

std::unique_ptr<Processor::IProcessor_V7> HostedProcessor::MakeAttached(MessageList& list) const {
  std::unique_ptr<Processor::IProcessor_V7> made(source.CreateProcessor());
  if (!made->Attach(sink != nullptr ? sink : &list)) throw HostError("The processor refused to be attached.");
  return made;
}

void HostedProcessor::Learn() {
  parameterCount = processor->GetParameterCount();
  panicIndex = FindParameter("Panic");
}

void HostedProcessor::Recreate() {
  auto list = std::make_unique<MessageList>();
  std::unique_ptr<Processor::IProcessor_V7> fresh = MakeAttached(*list);
  processor->Terminate();
  processor = std::move(fresh);
  messages = std::move(list);
  blockSize = 0;
  sampleRate = 0.0f;
  transport = {};
  lastTempo = Transport{}.tempo;
  outputEvents = {};
  Learn();
}

HostedProcessor::~HostedProcessor() { processor->Terminate(); }

void HostedProcessor::Init(float rate) {
  if (!(rate >= kLowestRate && rate <= kHighestRate)) {
    throw HostError("The sample rate must lie from 1000 to 768000 Hz, not at " + std::to_string(rate) + '.');
  }
  blockSize = 0;
  const Processor::ProcessorConfig config{rate};
  try {
    if (!processor->Init(&config))
      throw HostError("The processor can't run at " + std::to_string(rate) + " Hz.");
  } catch (const HostError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw HostError("There is not enough memory for a processor at " + std::to_string(rate) + " Hz.");
  } catch (const std::exception& reason) {
    throw HostError("The processor can't be prepared for " + std::to_string(rate) + " Hz: " + reason.what() +
                    '.');
  }
  sampleRate = rate;
  blockSize = processor->GetBlockSize(rate);
  if (blockSize == 0) throw HostError("The processor asks for blocks of 0 samples.");
  transport.songPosition = 0.0;
  outputEvents = {};
}

void HostedProcessor::Terminate() {
  blockSize = 0;
  processor->Terminate();
}

double HostedProcessor::Tempo() const {
  return std::isfinite(transport.tempo) && transport.tempo > 0.0 ? transport.tempo : lastTempo;
}

void HostedProcessor::SetSongPosition(double quarters, uint32_t samples) {
  const double quartersPerSample =
      transport.isPlaying ? Tempo() / (60.0 * static_cast<double>(sampleRate)) : 0.0;
  transport.songPosition = quarters - samples * quartersPerSample;
}

void HostedProcessor::Panic() {
  if (panicIndex) processor->SetParamValue(*panicIndex, 1.0f);
}

uint32_t HostedProcessor::ReportedLatency() const { return processor->GetLatency(); }

const std::vector<std::string>& HostedProcessor::Messages() const { return messages->texts; }

std::string HostedProcessor::ParameterName(uint32_t index) const {
  Processor::ParamInfo info{};  // zeroed: some names come without a terminator
  if (!processor->GetParamInfo(index, &info)) return {};
  return {info.name, strnlen(info.name, sizeof info.name)};
}

std::optional<uint32_t> HostedProcessor::FindParameter(const std::string& name) const {
  for (uint32_t index = 0; index < parameterCount; ++index) {
    if (ParameterName(index) == name) return index;
  }
  return std::nullopt;
}

std::optional<float> HostedProcessor::Get(uint32_t index) const {
  // A command answers true and writes nothing, so the start value tells the two apart.
  float value = -2.0f;
  if (!processor->GetParamValue(index, &value) || value == -2.0f) return std::nullopt;
  return value;
}

bool HostedProcessor::Set(uint32_t index, float normalized) {
  return processor->SetParamValue(index, normalized);
}

void HostedProcessor::Process(const float* const* inputs, uint32_t inputCount, float* const* outputs,
                              uint32_t outputCount, uint32_t sampleCount) {
  // The record has no const; the processor only reads its inputs.
  record.inputs = const_cast<float**>(inputs);
  record.outputs = const_cast<float**>(outputs);
  record.inputCount = inputCount;
  record.outputCount = outputCount;
  record.sampleCount = sampleCount;
  record.outputEventCount = 0;
  record.outputEventData = nullptr;
  record.modeWord = transport.isOffline ? 1 : 0;
  lastTempo = Tempo();
  record.tempo = static_cast<float>(lastTempo);
  record.isPlaying = transport.isPlaying ? 1 : 0;
  if (!std::isfinite(transport.songPosition)) transport.songPosition = 0.0;
  record.songPosition = static_cast<float>(transport.songPosition);
  processor->Process(&record);

  outputEvents = {record.outputEventData, record.outputEventData != nullptr ? record.outputEventCount : 0};
  processor->ClearEvents();  // the processor keeps its lists otherwise, and would repeat them
  if (transport.isPlaying) {
    transport.songPosition += sampleCount * lastTempo / (60.0 * static_cast<double>(sampleRate));
  }
}

std::span<const Processor::ValueChange> HostedProcessor::TakeChangedValues() {
  const Processor::ValueChange* data = nullptr;
  uint32_t count = 0;
  processor->GetChangedValues(&data, &count);
  return {data, data != nullptr ? count : 0};
}

}  // namespace Vantora::host
