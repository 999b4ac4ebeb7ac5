#include "engine/Module.h"

#include <utility>

namespace Vantora::dsp {

Module::Module(std::string text, uint32_t inputs, uint32_t outputs)
    : name(std::move(text)), inputPortCount(inputs), outputPortCount(outputs) {}

void Module::Init(uint32_t maxBlockSize, float sampleRate) {
  Configure(maxBlockSize, sampleRate);
  DoReset(true);
  changed = 1;
}

void Module::Shutdown() {}

void Module::ResetState(bool hard) {
  DoReset(hard);
  changed = 1;
}

uint32_t Module::Process(ProcessContext& context) {
  // Parameters first: a block with too many ports is skipped only after they were read.
  if (!UpdateParams(context)) return 0;
  if (context.inputCount > inputPortCount || context.outputCount > outputPortCount) return 0;
  const uint32_t result = DoProcess(context);
  changed = 0;
  SetDirty(false);
  return result;
}

}  // namespace Vantora::dsp
