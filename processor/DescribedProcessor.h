#pragma once

#include <cstdint>
#include <memory>

#include "processor/interface/IProcessor.h"

namespace Vantora::Processor {

/// DescribedProcessor: a processor's front, filled in before
/// the product behind it is built and released after it.
class DescribedProcessor : public IProcessor_V7 {
 protected:
  DescribedProcessor() {
    constexpr DescriptionBlock kAtCreation{.parameterCount = 0,
                                           .inputChannelCount = 2,
                                           .outputChannelCount = 2,
                                           .reservedCount = 1,
                                           .referenceBlockSize = 44,
                                           .interfaceVersion = 0};
    ownedInfo->interfaceVersion = 7;
    static_cast<DescriptionBlock&>(description3) = kAtCreation;
    static_cast<DescriptionBlock&>(description4) = kAtCreation;
    static_cast<DescriptionBlock&>(description5) = kAtCreation;
    description3.interfaceVersion = 3;
    description4.interfaceVersion = 4;
    description5.interfaceVersion = 5;
    info = ownedInfo.get();
    info->inputChannelCount = 2;
    info->outputChannelCount = 2;
    info->reservedCount = 1;
    info->referenceBlockSize = kAtCreation.referenceBlockSize;
  }

 private:
  std::unique_ptr<Info_V5> ownedInfo = std::make_unique<Info_V5>();
};

}  // namespace Vantora::Processor
