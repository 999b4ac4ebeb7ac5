#pragma once

#include <cstdint>
#include <memory>

#include "processor/interface/IProcessorFactory.h"

namespace Vantora::Processor {

/// A factory of the effect's processors for programs that link the effect rather than load its library.
///
/// It counts its own processors, from `seedNumber` on, whatever else runs in the process: its n-th processor
/// draws the random numbers of number `seedNumber` + n, on every run. Number 0 sounds as the first processor
/// of a freshly loaded library does, which is what `prismel render` writes.
/// Allocates; not on the audio thread. One thread at a time; the factory may end before its processors.
std::unique_ptr<IProcessorFactory> MakeLinkedFactory(uint32_t seedNumber = 0);

}  // namespace Vantora::Processor
