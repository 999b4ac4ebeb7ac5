#pragma once

#include "engine/PassThrough.h"
#include "processor/EffectProcessor.h"

namespace Vantora::Processor {

/// PrismelProcessor: for now the frame around a wire; left and right each pass through a module of their own.
class PrismelProcessor : public EffectProcessor<64, 8, dsp::PassThrough, dsp::PassThrough> {
 public:
  static constexpr uint32_t kParamCount = kOwnBase + kFrameParamCount;
  PrismelProcessor();
  void ConfigureProduct(uint32_t maxBlockSize, float sampleRate) override;
  void ResetProduct(bool hard) override;
  uint32_t ProcessWet(ProcessContext& context, ChannelMode channelMode) override;
  bool UpdateProduct(ProcessContext& context) override;
};

}  // namespace Vantora::Processor
