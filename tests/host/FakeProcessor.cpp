// A processor library of the tests' own, written against the interface headers alone. Compiled in several
// kinds: FAKE_VERSION (interface), FAKE_NO_ENTRY, FAKE_NULL_FACTORY, FAKE_FACTORY_THROWS,
// FAKE_NULL_PROCESSOR, FAKE_PROCESSOR_THROWS, FAKE_ATTACH_FAILS, FAKE_INIT_FAILS.

#include "FakeProcessor.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "processor/interface/IProcessorFactory.h"

#ifndef FAKE_VERSION
#define FAKE_VERSION 7
#endif

using namespace Vantora::Processor;

namespace {

FakeRecord record;
uint32_t processorsMade = 0;

class FakeProcessor final : public IProcessor_V7 {
 public:
  FakeProcessor() : number(++processorsMade) {
    description3.referenceBlockSize = 44;
    info = new Info_V5;
    info->referenceBlockSize = 44;
    info->interfaceVersion = 7;
    values[kFakeGain] = 1.0f;
    record.life.push_back("create");
  }
  ~FakeProcessor() override {
    record.life.push_back("delete");
    delete info;
  }

  bool Attach(LogSink* sink) override {
    record.life.push_back("attach");
    if (sink != nullptr) sink->OnMessage("hello from the fake", 2);
#ifdef FAKE_ATTACH_FAILS
    return false;
#endif
    return IProcessor_V7::Attach(sink);
  }
  bool Init(const ProcessorConfig* config) override {
    record.life.push_back("init " + std::to_string(static_cast<int>(config->sampleRate)));
#ifdef FAKE_INIT_FAILS
    return false;
#endif
    return true;
  }
  bool Terminate() override {
    record.life.push_back("terminate");
    return true;
  }
  uint32_t GetBlockSize(float rate) override {
    return std::max(4u, 4 * static_cast<uint32_t>(rate / 4000.0f));
  }
  uint32_t GetParameterCount() override { return kFakeParameterCount; }

  bool GetParamValue(uint32_t index, float* out) override {
    if (index == kFakeCommand) return true;
    if (index >= kFakeParameterCount) return *out != -1.0f;
    *out = index == kFakeNumber ? static_cast<float>(number) / 100.0f : values[index];
    return true;
  }
  bool SetParamValue(uint32_t index, float value) override {
    if (index >= kFakeParameterCount) return false;
    values[index] = value;
    if (record.keepsBlocks) record.writes.push_back({index, value, record.blocks.size()});
    return true;
  }
  bool GetParamInfo(uint32_t index, ParamInfo* paramInfo) override {
    if (index >= kFakeParameterCount) return false;
    const std::string name = index == kFakeInputPower ? "InputPower" : "Fake_" + std::to_string(index);
    std::memcpy(paramInfo->name, name.data(), name.size());  // no terminator, as some names of a real library
    return true;
  }

  bool PushMidi(const uint8_t* bytes) override {
    event = {{bytes[0], bytes[1], bytes[2]}, {}, 3};
    eventCount = 1;
    return true;
  }
  bool ClearEvents() override {
    eventCount = 0;
    return true;
  }

  bool Process(ProcessData* data) override {
    for (uint32_t c = 0; c < data->outputCount; ++c) std::fill_n(data->outputs[c], data->sampleCount, 0.0f);
    for (uint32_t c = 0; c < data->outputCount; ++c) {
      const float* in = data->inputs[std::min(c, data->inputCount - 1)];
      for (uint32_t i = 0; i < data->sampleCount; ++i) {
        data->outputs[c][i] = in[i] * values[kFakeGain] + static_cast<float>(i) * values[kFakeBlockMark];
      }
    }
    values[kFakeInputPower] = std::clamp(data->inputs[0][0], 0.0f, 1.0f);
    if (record.keepsBlocks) {
      record.blocks.push_back({data->sampleCount, data->inputCount, data->outputCount, data->modeWord,
                               data->tempo, data->songPosition, data->isPlaying != 0});
    }
    data->outputEventData = &event;
    data->outputEventCount = eventCount;
    return true;
  }

 private:
  uint32_t number;
  float values[kFakeParameterCount] = {};
  HostEvent event{};
  uint32_t eventCount = 0;
};

class FakeFactory final : public IProcessorFactory {
 public:
  FakeFactory() {
    std::memset(version, 'x', sizeof version);  // a field that is full, without a terminator
    std::strcpy(vendor, "Test bench");
    std::strcpy(name, "Fake");
  }
  ~FakeFactory() override { record.life.push_back("delete factory"); }
  uint32_t GetInterfaceVersion() override { return FAKE_VERSION; }
  IProcessor_V7* CreateProcessor() override {
#if defined(FAKE_NULL_PROCESSOR)
    return nullptr;
#elif defined(FAKE_PROCESSOR_THROWS)
    throw std::bad_alloc();
#else
    return new FakeProcessor;
#endif
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) FakeRecord* GetFakeRecord() { return &record; }

#ifndef FAKE_NO_ENTRY
extern "C" __attribute__((visibility("default"))) IProcessorFactory* GetProcessorFactory() {
#if defined(FAKE_NULL_FACTORY)
  return nullptr;
#elif defined(FAKE_FACTORY_THROWS)
  throw std::bad_alloc();
#else
  return new FakeFactory;
#endif
}
#endif
