#include "offline/LatencyMeasurement.h"

#include <cmath>
#include <optional>

#include "host/BlockCollector.h"
#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "host/ParameterTable.h"

namespace Vantora::offline {

uint64_t LatencyMeasurement::At(int rate) {
  const std::lock_guard lock(mutex);
  const auto found = known.find(rate);
  return found != known.end() ? found->second : known.emplace(rate, Measure(rate)).first->second;
}

uint64_t LatencyMeasurement::Measure(int rate) const {
  host::HostedProcessor processor(source);
  processor.Set(host::ParameterTable::Get().At("Bypass").Index(), 1.0f);
  processor.Init(static_cast<float>(rate));
  host::FileCollector collector(processor, 1, 1);

  std::optional<uint64_t> found;
  uint64_t seen = 0;
  const auto look = [&](const float* const* outputs, uint32_t count) {
    for (uint32_t i = 0; i < count && !found; ++i) {
      if (std::abs(outputs[0][i]) > 0.5f) found = seen + i;
    }
    seen += count;
  };
  const float impulse = 1.0f;
  const float* const input = &impulse;
  collector.Feed(&input, 1, look);
  while (!found && seen < static_cast<uint64_t>(rate)) collector.Feed(nullptr, collector.BlockSize(), look);
  if (!found) throw host::HostError("The processor's dry signal doesn't come out within a second.");
  return *found;
}

}  // namespace Vantora::offline
