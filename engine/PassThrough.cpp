#include "engine/PassThrough.h"

#include <cstring>
#include <utility>

#include "engine/PassThroughRows.h"

namespace Vantora::dsp {

PassThrough::PassThrough(std::string text)
    : UnitModule(std::move(text), kInputCount, kOutputCount, MakeRecords(PassThroughKnobs::kRows)) {}

void PassThrough::Configure(uint32_t, float) {}

void PassThrough::DoReset(bool) {}

bool PassThrough::UpdateParams(ProcessContext&) { return true; }

uint32_t PassThrough::DoProcess(ProcessContext& context) {
  const float* in = context.Input(0);
  float* out = context.Output(0);
  if (in != nullptr && out != nullptr) std::memmove(out, in, context.sampleCount * sizeof(float));
  return 1;
}

}  // namespace Vantora::dsp
