#pragma once

#include <dlfcn.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "processor/interface/IProcessorFactory.h"

namespace Vantora::test {

/// The built library, opened as a shell opens it.
class LoadedLibrary {
 public:
  explicit LoadedLibrary(const char* path = PRISMEL_PROCESSOR_LIBRARY)
      : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) throw std::runtime_error(dlerror());
    entry = reinterpret_cast<decltype(entry)>(dlsym(handle, "GetProcessorFactory"));
    if (entry == nullptr) throw std::runtime_error(dlerror());
  }
  ~LoadedLibrary() { dlclose(handle); }
  LoadedLibrary(const LoadedLibrary&) = delete;

  Processor::IProcessorFactory* MakeFactory() const { return entry(); }

 private:
  void* handle;
  Processor::IProcessorFactory* (*entry)() = nullptr;
};

/// A processor of that library, attached, and initialised when a rate is given.
class LoadedProcessor {
 public:
  explicit LoadedProcessor(float sampleRate = 48000.0f, Processor::LogSink* sink = nullptr) {
    const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
    processor.reset(factory->CreateProcessor());
    processor->Attach(sink);
    if (sampleRate > 0.0f) Init(sampleRate);
  }
  void Init(float sampleRate) {
    const Processor::ProcessorConfig config{sampleRate};
    processor->Init(&config);
    blockSize = processor->GetBlockSize(sampleRate);
  }
  Processor::IProcessor_V7* operator->() const { return processor.get(); }
  Processor::IProcessor_V7* Get() const { return processor.get(); }
  uint32_t BlockSize() const { return blockSize; }

  std::string NameOf(uint32_t index) const {
    Processor::ParamInfo info{};
    return processor->GetParamInfo(index, &info) ? info.name : "";
  }
  float Value(uint32_t index) const {
    float value = 0.0f;
    processor->GetParamValue(index, &value);
    return value;
  }

 private:
  LoadedLibrary library;
  std::unique_ptr<Processor::IProcessor_V7> processor;
  uint32_t blockSize = 0;
};

/// Stereo buffers and the record of one audio call.
class HostBlock {
 public:
  explicit HostBlock(uint32_t samples)
      : left(samples), right(samples), outLeft(samples, -9.0f), outRight(samples, -9.0f) {
    data.inputs = inputs;
    data.outputs = outputs;
    data.inputCount = 2;
    data.outputCount = 2;
    data.sampleCount = samples;
    data.tempo = 120.0f;
  }
  HostBlock(const HostBlock&) = delete;

  std::vector<float> left, right, outLeft, outRight;
  float* inputs[2] = {left.data(), right.data()};
  float* outputs[2] = {outLeft.data(), outRight.data()};
  Processor::ProcessData data{};
};

}  // namespace Vantora::test
