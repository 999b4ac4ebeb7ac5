#pragma once

#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// PassThrough: port 0 in, port 0 out. Port 1 isn't copied: a voice of the stage engine is mono.
class PassThrough : public UnitModule {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 2, kParamCount = 1;
  explicit PassThrough(std::string name);

  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;
};

}  // namespace Vantora::dsp
