#pragma once

#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "engine/ParamRecord.h"
#include "engine/Relaxed.h"

namespace Vantora::dsp {

/// ParamStore: a module's own parameters and the flags that say which have moved since the last block. Unit
/// modules, containers and cloners share these rules.
///
/// A write stores a float and raises a flag; everything else waits for the next block. A second write within
/// the same block overwrites the first. Indices aren't checked.
struct ParamStore {
  std::vector<ParamRecord> params;           ///< index is parameter number
  std::vector<Relaxed<uint8_t>> dirtyFlags;  ///< as long as `params`; 1: changed since the last block
  Relaxed<uint8_t> anyDirty = 0;             ///< 1: some flag may be set
  /// 1 from a write on, an equal one too, until whoever skips the reading of its knobs lowers it: an equal
  /// position makes a record count anew, and start values needn't agree with theirs.
  Relaxed<uint8_t> written = 0;

  ParamStore() = default;
  explicit ParamStore(std::vector<ParamRecord> records)
      : params(std::move(records)), dirtyFlags(params.size()) {}

  uint32_t Count() const { return static_cast<uint32_t>(params.size()); }

  /// Stores a position. An equal one raises no flag; with the flag already up nothing is compared.
  void SetNormalized(uint32_t index, float normalized) {
    RaiseIf(index, dirtyFlags[index] != 0 || params[index].GetNormalized() != normalized);
    params[index].SetNormalized(normalized);
    written = 1;
  }

  /// The same in the parameter's own unit.
  void SetValue(uint32_t index, float value) {
    RaiseIf(index, dirtyFlags[index] != 0 || params[index].GetValue() != value);
    params[index].SetValue(value);
    written = 1;
  }

  /// Clears or sets all flags; clearing costs one test when nothing is set.
  void SetDirty(bool flag) {
    if (anyDirty == 0 && !flag) return;
    for (auto& dirty : dirtyFlags) dirty = flag ? 1 : 0;
    anyDirty = flag ? 1 : 0;
  }

  /// Appends records behind the present ones.
  void Add(std::vector<ParamRecord> records) {
    params.insert(params.end(), std::make_move_iterator(records.begin()),
                  std::make_move_iterator(records.end()));
    dirtyFlags.resize(params.size());
  }

  /// Replaces a declaration: the value falls back to the new minimum, the flag goes up.
  void ReDeclare(uint32_t index, ParamRecord declaration) {
    params[index].ReDeclare(std::move(declaration));
    RaiseIf(index, true);
  }

 private:
  void RaiseIf(uint32_t index, bool moved) {
    if (!moved) return;
    dirtyFlags[index] = 1;
    anyDirty = 1;
  }
};

}  // namespace Vantora::dsp
