#include "processor/PrismelVst3ProcessorFactory.h"

extern "C" __attribute__((visibility("default"))) Vantora::Processor::IProcessorFactory*
GetProcessorFactory() {
  return new Vantora::Processor::PrismelVst3ProcessorFactory;
}
