#pragma once

#include <cstdint>

#include "host/ProcessorSource.h"

namespace Vantora::cli {

/// Frames by which a processor of `source` delays its dry signal at `rate` Hz, found by sending an impulse
/// through one that is bypassed. The interface's own figure is a constant and measures nothing. Throws
/// host::HostError; Failure where no impulse comes back within a second.
uint64_t MeasureLatency(const host::ProcessorSource& source, int rate);

}  // namespace Vantora::cli
