#include "processor/LinkedFactory.h"

#include "processor/DsplibProcessor.h"
#include "processor/PrismelProcessor.h"
#include "processor/PrismelVst3ProcessorFactory.h"

namespace Vantora::Processor {
namespace {

class LinkedFactory final : public IProcessorFactory {
 public:
  explicit LinkedFactory(uint32_t firstNumber) : nextNumber(firstNumber) { WriteFactoryTexts(*this); }
  uint32_t GetInterfaceVersion() override { return 7; }
  IProcessor_V7* CreateProcessor() override {
    return new DsplibProcessor<PrismelProcessor, true>(PrismelProcessor::SeedOf(nextNumber++));
  }

 private:
  uint32_t nextNumber;
};

}  // namespace

std::unique_ptr<IProcessorFactory> MakeLinkedFactory(uint32_t seedNumber) {
  return std::make_unique<LinkedFactory>(seedNumber);
}

}  // namespace Vantora::Processor
