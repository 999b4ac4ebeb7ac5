#pragma once

#include <cstdint>
#include <string>

#include "dsp/effects/MultiDist.h"
#include "dsp/effects/Wavefolder.h"
#include "dsp/stage/PrismelDistoVariantRows.h"
#include "engine/IOSubset.h"
#include "engine/ModuleVariant.h"

namespace Vantora::dsp {

/// PrismelDistoVariant: the distortion of a voice, a wavefolder or one of three shaping curves behind one
/// "Drive" and one "DistoType".
///
/// DistoType  0..2 a curve of "ShapingDist", 3 the wavefolder
/// Drive      dB, -14..36; forwarded to both inner drives on every write, one way
class PrismelDistoVariant : public engine::ModuleVariant<2, 2, engine::IOSubset<Wavefolder, 6, 2>,
                                                         engine::IOSubset<MultiDist, 5, 2>>,
                            public PrismelDistoVariantKnobs::Indices {
 public:
  static constexpr uint32_t kFullInputCount =
      ModuleVariant::kInputCount;             ///< 9: the pair and the alternatives' control ports
  static constexpr uint32_t kInputCount = 2;  ///< the pair: a voice feeds no control ports
  using OwnParam = PrismelDistoVariantKnobs::OwnParam;
  static constexpr uint32_t kDistoTypeParam = kOwnBase + kDistoType;  ///< 27
  static constexpr uint32_t kDriveParam = kOwnBase + kDrive;          ///< 28
  static constexpr uint32_t kParamCount = kOwnBase + kDrive + 1;
  static_assert(kDriveParam == PrismelDistoVariantKnobs::kDriveIndex);
  static_assert(kFullInputCount == 9 && kParamCount == 29);

  explicit PrismelDistoVariant(std::string name);

  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// As `Process`, of a context with ten inputs and four outputs of which only the first of each are
  /// connected. At rest the alternative is called itself.
  uint32_t ProcessMono(ProcessContext& context);

  /// As `SetParamInternal(kDriveParam, drive)`, without the way there: all voices take it on every block in
  /// which the drive moves. `position` is the drive's. No flags go up, since the alternatives read their
  /// drive on every block.
  void SetDrive(float drive, float position) {
    OwnRecord(kDrive).SetValueAt(drive, position);
    Child<kWavefolder>().Param(WavefolderKnobs::kDrive).SetNormalized(position);
    Child<kShaper>().Param(MultiDistKnobs::kDrive).SetNormalized(position);
  }

  /// As `ProcessMono` of a block from `in` to `out`, if the last one was left to the bank and nothing but the
  /// drive has moved since; else does nothing and returns false.
  bool GlideOn(const float* in, float* out, uint32_t sampleCount) {
    const auto glide = [&](auto& alternative) {
      return alternative.MayGlideOn() && bank != nullptr && IsAtRest() &&
             alternative.GlideOn(*bank, in, out, sampleCount);
    };
    return Selected() == kWavefolder ? glide(Child<kWavefolder>()) : glide(Child<kShaper>());
  }

  /// From now on `ProcessMono` may leave a block to `shared`. Null: never.
  void SetBank(LaneBank* shared) { bank = shared; }

  /// True when writing `drive`, in dB, would change nothing: it stands there, and nobody has moved what
  /// follows it.
  bool StandsAtDrive(float drive) {
    return OwnValue(kDrive) == drive && !IsAnyOwnDirty() &&
           FollowsDrive(Child<kWavefolder>(), WavefolderKnobs::kDrive) &&
           FollowsDrive(Child<kShaper>(), MultiDistKnobs::kDrive);
  }

 private:
  enum Alternative : uint32_t { kWavefolder, kShaper };

  bool FollowsDrive(UnitModule& alternative, uint32_t index) {
    return alternative.Param(index).GetNormalized() == OwnNormalized(kDrive);
  }

  LaneBank* bank = nullptr;  // the owner's
};

}  // namespace Vantora::dsp
