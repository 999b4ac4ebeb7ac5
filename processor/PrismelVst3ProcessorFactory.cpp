#include "processor/PrismelVst3ProcessorFactory.h"

#include <cstring>

#include "processor/DsplibProcessor.h"
#include "processor/PrismelProcessor.h"

namespace Vantora::Processor {

void WriteFactoryTexts(IProcessorFactory& factory) {
  std::strcpy(factory.version, "1.0.0.5002");
  std::strcpy(factory.vendor, "Vantora");
  std::strcpy(factory.name, "Qfx PRISMEL");
}

PrismelVst3ProcessorFactory::PrismelVst3ProcessorFactory() { WriteFactoryTexts(*this); }

uint32_t PrismelVst3ProcessorFactory::GetInterfaceVersion() { return 7; }

IProcessor_V7* PrismelVst3ProcessorFactory::CreateProcessor() {
  return new DsplibProcessor<PrismelProcessor, true>;
}

}  // namespace Vantora::Processor
