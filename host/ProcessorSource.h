#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "processor/interface/IProcessorFactory.h"

namespace Vantora::host {

/// ProcessorSource: where a host's processors come from. A factory that is linked into the program, or one
/// out of a library that was loaded; whoever holds a source needn't know which.
///
/// A copy shares the factory. The factory ends with the last copy and the last `HostedProcessor` made from
/// it, and after it what keeps its code in memory.
/// Threads: any, one at a time for all copies. Creating allocates and may take milliseconds: never on the
/// audio thread.
class ProcessorSource {
 public:
  /// The interface generation this host speaks.
  static constexpr uint32_t kInterfaceVersion = 7;

  /// `keepAlive` is released after the factory, for instance the image of the library that holds its code;
  /// null for a factory that is linked. `origin` begins the sentences of errors, such as "The processor
  /// library "/a/b.so""; empty: the factory's name. Throws `HostError` when the factory is null or speaks
  /// another generation of the interface.
  explicit ProcessorSource(std::shared_ptr<Processor::IProcessorFactory> factory,
                           std::shared_ptr<const void> keepAlive = {}, std::string origin = {});

  const std::string& Name() const;     ///< the factory's display name
  const std::string& Vendor() const;   ///< the factory's maker
  const std::string& Version() const;  ///< the factory's version text
  uint32_t InterfaceVersion() const;   ///< what the factory answered: `kInterfaceVersion`

 private:
  friend class HostedProcessor;
  struct Shared;

  /// A new processor; never null, ended with `delete`. Throws `HostError`.
  Processor::IProcessor_V7* CreateProcessor() const;

  std::shared_ptr<const Shared> shared;
};

}  // namespace Vantora::host
