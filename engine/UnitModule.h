#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "engine/Module.h"
#include "engine/ParamStore.h"

namespace Vantora::dsp {

/// UnitModule: a module with a parameter store and no children. A derived
/// class writes `Configure`, `DoReset`, `UpdateParams` and `DoProcess`, and
/// states its sizes as `kInputCount`, `kOutputCount` and `kParamCount`.
///
/// A parameter write is cheap and may come from another thread
/// than the block's, with the caveat told in `Relaxed`.
class UnitModule : public Module {
 public:
  /// One plain record, a position 0 to 1, for each name.
  UnitModule(std::string name, uint32_t inputPortCount, uint32_t outputPortCount,
             const std::vector<std::string>& paramNames);
  UnitModule(std::string name, uint32_t inputPortCount, uint32_t outputPortCount,
             std::initializer_list<const char*> paramNames);  ///< the same, of names as they stand in a call
  /// The records as declared.
  UnitModule(std::string name, uint32_t inputPortCount, uint32_t outputPortCount,
             std::vector<ParamRecord> records);

  void Init(uint32_t maxBlockSize, float sampleRate) override;
  void ResetState(bool hard) override;
  bool SetParam(uint32_t index, float normalized) override {
    store.SetNormalized(index, normalized);
    return true;
  }
  float GetParam(uint32_t index) override;
  void AppendParamName(uint32_t index, NameBuilder& builder) override;
  void SetDirty(bool flag) override;
  /// Write from inside the tree, in the parameter's own unit. The index isn't checked.
  virtual void SetParamInternal(uint32_t index, float value);

  /// Fits a knob to the parent's use: a new curve and range. The value falls back to `min`, the flag goes up.
  void ReDeclareParam(uint32_t index, uint32_t kind, bool reversed, float min, float max,
                      float curveArg1 = 1.0f, float curveArg2 = 0.5f);
  /// The same with `count` values from `first` in steps of `step`.
  void ReDeclareStepped(uint32_t index, uint32_t count, float first, float step);
  /// Fits knobs to the owner's use as its rows say: for each, the new range, then the owner's value.
  void ApplyFits(std::span<const Knobs::Fit> fits);
  /// Appends records behind the present ones.
  void AddParams(std::vector<ParamRecord> records);

  /// A record, for parents and tests.
  ParamRecord& Param(uint32_t index) { return store.params[index]; }
  uint32_t GetParamCount() const { return store.Count(); }
  /// True from a parameter's move to the end of the next block.
  bool HasNews() const { return store.anyDirty != 0; }

 protected:
  bool IsDirty(uint32_t index) const { return store.dirtyFlags[index] != 0; }
  bool IsAnyDirty() const { return store.anyDirty != 0; }
  /// For those who skip the reading of their knobs where nothing has moved.
  bool IsWritten() const { return store.written != 0; }
  /// Before the knobs are read.
  void TakeWrites() { store.written = 0; }
  float Value(uint32_t index) { return store.params[index].GetValue(); }
  float Normalized(uint32_t index) { return store.params[index].GetNormalized(); }

  ParamStore store;
};

}  // namespace Vantora::dsp
