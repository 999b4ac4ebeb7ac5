#include "host/Meters.h"

#include "host/HostedProcessor.h"

namespace Vantora::host {

Meters::Meters(const HostedProcessor& processor) {
  input.index = processor.FindParameter("InputPower");
  output.index = processor.FindParameter("OutputPower");
  prismelion.index = processor.FindParameter("Prismel_FeedbackPrismel");
  primary.index = processor.FindParameter("Prismel_FeedbackPrimary");
}

void Meters::Update(const HostedProcessor& processor) {
  for (ReadOut* readOut : {&input, &output, &prismelion, &primary}) {
    if (!readOut->index) continue;
    if (const auto value = processor.Get(*readOut->index))
      readOut->normalized.store(*value, std::memory_order_relaxed);
  }
}

}  // namespace Vantora::host
