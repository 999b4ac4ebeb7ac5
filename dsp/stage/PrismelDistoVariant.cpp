#include "dsp/stage/PrismelDistoVariant.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>
#include <vector>

namespace Vantora::dsp {

PrismelDistoVariant::PrismelDistoVariant(std::string text)
    : ModuleVariant(
          std::move(text), [] { return engine::IOSubset<Wavefolder, 6, 2>("Wavefolder"); },
          [] { return engine::IOSubset<MultiDist, 5, 2>("ShapingDist"); }) {
  const auto behind = std::span(PrismelDistoVariantKnobs::kOwnRows).subspan(ModuleVariant::kOwnParamCount);
  AddParams(MakeRecords(behind));

  Child<kWavefolder>().ApplyFits(PrismelDistoVariantKnobs::kFolderFits);
  const auto& curves = PrismelDistoVariantKnobs::kShaperCurves;
  Child<kShaper>().SetAllowedAlgorithms({std::begin(curves), std::end(curves)});
  Child<kShaper>().ApplyFits(PrismelDistoVariantKnobs::kShaperFits);

  Forward(kDrive, {kChildBases[kWavefolder] + WavefolderKnobs::kDrive,
                   kChildBases[kShaper] + MultiDistKnobs::kDrive});
}

bool PrismelDistoVariant::UpdateParams(ProcessContext& context) {
  if (IsOwnDirty(kDistoType)) {
    const auto type = static_cast<uint32_t>(OwnValue(kDistoType));
    const bool folds = type >= 3;
    SetParamInternal(kOwnBase + kModuleType, static_cast<float>(folds ? kWavefolder : kShaper));
    // The shaper's list holds its algorithms in the order of the types.
    if (!folds) Child<kShaper>().SetParamInternal(MultiDistKnobs::kDistType, static_cast<float>(type));
  }
  return ModuleVariant::UpdateParams(context);
}

uint32_t PrismelDistoVariant::DoProcess(ProcessContext& context) {
  std::array<float*, kFullInputCount> ports{};
  std::copy_n(context.inputs, std::min<uint32_t>(context.inputCount, 2), ports.begin());
  ProcessContext inner = context.WithInputs(ports);
  return ModuleVariant::DoProcess(inner);
}

uint32_t PrismelDistoVariant::ProcessMono(ProcessContext& context) {
  if (!IsAtRest()) {
    context.inputCount = kInputCount;
    context.outputCount = kOutputCount;
    return Process(context);
  }
  uint32_t result;
  if (Selected() == kWavefolder) {
    Wavefolder& folder = Child<kWavefolder>();
    context.inputCount = Wavefolder::kInputCount;
    context.outputCount = Wavefolder::kOutputCount;
    folder.SetBank(bank);  // for this call alone: elsewhere a fade may follow
    result = folder.ProcessAs<Wavefolder>(context);
    folder.SetBank(nullptr);
  } else {
    MultiDist& shaper = Child<kShaper>();
    context.inputCount = MultiDist::kInputCount;
    context.outputCount = MultiDist::kOutputCount;
    shaper.SetBank(bank);
    result = shaper.ProcessAs<MultiDist>(context);
    shaper.SetBank(nullptr);
  }
  return result;
}

}  // namespace Vantora::dsp
