#include "processor/PrismelVst3ProcessorFactory.h"

#include <cstring>

#include "processor/DsplibProcessor.h"
#include "processor/PrismelProcessor.h"

namespace Vantora::Processor {

PrismelVst3ProcessorFactory::PrismelVst3ProcessorFactory() {
  std::strcpy(version, "1.0.0.5002");
  std::strcpy(vendor, "Vantora");
  std::strcpy(name, "Qfx PRISMEL");
}

uint32_t PrismelVst3ProcessorFactory::GetInterfaceVersion() { return 7; }

IProcessor_V7* PrismelVst3ProcessorFactory::CreateProcessor() {
  return new DsplibProcessor<PrismelProcessor, true>;
}

}  // namespace Vantora::Processor
