#include "processor/PrismelProcessor.h"

namespace Vantora::Processor {

PrismelProcessor::PrismelProcessor()
    : EffectProcessor(
          "", [] { return dsp::PassThrough("Left"); }, [] { return dsp::PassThrough("Right"); }) {
  SetParamInternal(kOwnBase + kOutputGain, 0.0f);
}

void PrismelProcessor::ConfigureProduct(uint32_t, float) {}
void PrismelProcessor::ResetProduct(bool) {}
bool PrismelProcessor::UpdateProduct(ProcessContext&) { return true; }

uint32_t PrismelProcessor::ProcessWet(ProcessContext& context, ChannelMode channelMode) {
  float* right = channelMode == kStereo ? context.inputs[1] : context.inputs[0];
  ProcessContext side = context;
  side.inputCount = 1;
  side.outputCount = 1;
  Child<0>().Process(side);
  side.inputs = &right;
  side.outputs = context.outputs + 1;
  Child<1>().Process(side);
  return 1;
}

}  // namespace Vantora::Processor
