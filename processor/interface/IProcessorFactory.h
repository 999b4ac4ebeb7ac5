#pragma once

#include <cstddef>
#include <cstdint>

#include "IProcessor.h"

namespace Vantora::Processor {

/// IProcessorFactory: what `GetProcessorFactory` returns. The shell reads the three texts directly and ends
/// the factory with `delete`; processors live on without it.
class IProcessorFactory {
 public:
  /// [1] 7: the highest generation that created processors implement.
  virtual uint32_t GetInterfaceVersion() = 0;
  /// [2] A new processor, ended with `delete`; null when its
  /// memory couldn't be had. `std::bad_alloc` passes through.
  virtual IProcessor_V7* CreateProcessor() = 0;
  /// [3], [4] Destructor and deleting destructor.
  virtual ~IProcessorFactory() = default;

  char version[256];  ///< "1.0.0.5002"
  char vendor[256];   ///< "Vantora"
  char name[256];     ///< "Qfx PRISMEL"
};

}  // namespace Vantora::Processor

/// The library's one exported function. Every call makes a new
/// factory; allocation failure leaves as the allocator's exception.
extern "C" Vantora::Processor::IProcessorFactory* GetProcessorFactory();
