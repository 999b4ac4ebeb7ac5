#pragma once

#include "processor/interface/IProcessorFactory.h"

namespace Vantora::Processor {

/// Writes what every factory of the effect says of itself: version, maker and name.
void WriteFactoryTexts(IProcessorFactory& factory);

/// PrismelVst3ProcessorFactory: makes the effect's processors. It has no state beyond its three texts.
class PrismelVst3ProcessorFactory final : public IProcessorFactory {
 public:
  PrismelVst3ProcessorFactory();
  uint32_t GetInterfaceVersion() override;
  IProcessor_V7* CreateProcessor() override;
};

}  // namespace Vantora::Processor
