#include "dsp/stage/PrismelDistoVariant.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace Vantora::dsp {

namespace {

// Parameters of the children, by their own numbers.
enum FolderParam : uint32_t {
  kFolderType = 0,
  kFolderWet = 1,
  kFolderDrive = 2,
  kFolderOutputGain = 3,
  kFolderStereo = 5,
  kFolderUpsample = 6,
  kFolderAntiAliasing = 7,
  kFolderAutoComp = 8,
  kFolderStagingIn = 10,
  kFolderStagingOut = 11,
};
enum ShaperParam : uint32_t {
  kShaperDistType = 1,
  kShaperDrive = 2,
  kShaperStagingIn = 6,
  kShaperStagingOut = 7,
  kShaperAntiAliasing = 8,
  kShaperUpsample = 9,
};

constexpr float kMinDrive = -14.0f;  // dB
constexpr float kMaxDrive = 36.0f;   // dB

}  // namespace

PrismelDistoVariant::PrismelDistoVariant(std::string text)
    : ModuleVariant(
          std::move(text), [] { return engine::IOSubset<Wavefolder, 6, 2>("Wavefolder"); },
          [] { return engine::IOSubset<MultiDist, 5, 2>("ShapingDist"); }) {
  std::vector<ParamRecord> own;
  own.emplace_back("DistoType", 4u, 0.0f, 1.0f);
  own.emplace_back("Drive", MappingTools::Linear, false, kMinDrive, kMaxDrive);
  AddParams(std::move(own));

  auto& folder = Child<kWavefolder>();
  folder.ReDeclareParam(kFolderDrive, MappingTools::Linear, false, kMinDrive, kMaxDrive);
  folder.SetParamInternal(kFolderOutputGain, 0.0f);
  folder.SetParamInternal(kFolderWet, 1.0f);
  folder.SetParamInternal(kFolderUpsample, 0.0f);
  folder.SetParamInternal(kFolderAntiAliasing, 0.0f);
  folder.SetParamInternal(kFolderStereo, 0.0f);
  folder.SetParamInternal(kFolderStagingIn, 0.0f);
  folder.SetParamInternal(kFolderStagingOut, 0.0f);
  folder.SetParamInternal(kFolderAutoComp, 1.0f);
  folder.SetParamInternal(kFolderType, 0.0f);

  auto& shaper = Child<kShaper>();
  shaper.ReDeclareParam(kShaperDrive, MappingTools::Linear, false, kMinDrive, kMaxDrive);
  shaper.SetAllowedAlgorithms({3, 4, 14});
  shaper.SetParamInternal(kShaperStagingIn, 0.0f);
  shaper.SetParamInternal(kShaperStagingOut, 0.0f);
  shaper.SetParamInternal(kShaperUpsample, 0.0f);
  shaper.SetParamInternal(kShaperAntiAliasing, 0.0f);

  Forward(kDrive, {kChildBases[kWavefolder] + kFolderDrive, kChildBases[kShaper] + kShaperDrive});
}

bool PrismelDistoVariant::UpdateParams(ProcessContext& context) {
  if (IsOwnDirty(kDistoType)) {
    const auto type = static_cast<uint32_t>(OwnValue(kDistoType));
    const bool folds = type >= 3;
    SetParamInternal(kOwnBase + kModuleType, static_cast<float>(folds ? kWavefolder : kShaper));
    // The shaper's list holds its algorithms in the order of the types.
    if (!folds) Child<kShaper>().SetParamInternal(kShaperDistType, static_cast<float>(type));
  }
  return ModuleVariant::UpdateParams(context);
}

uint32_t PrismelDistoVariant::DoProcess(ProcessContext& context) {
  std::array<float*, kFullInputCount> ports{};
  std::copy_n(context.inputs, std::min<uint32_t>(context.inputCount, 2), ports.begin());
  ProcessContext inner = context;
  inner.inputs = ports.data();
  inner.inputCount = kFullInputCount;
  return ModuleVariant::DoProcess(inner);
}

}  // namespace Vantora::dsp
