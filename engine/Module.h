#pragma once

#include <cstdint>
#include <string>

#include "engine/NameBuilder.h"
#include "engine/ProcessContext.h"

namespace Vantora::dsp {

/// Module: a signal block. It is constructed once, gets `Init` before any block and again for a new rate or
/// block size, is fed parameter values between blocks and runs with `Process`.
///
///     Init -> Configure, DoReset(true)      off the audio thread, may allocate and throw
///     Process -> UpdateParams, DoProcess    on the audio thread; no allocation, lock, system call, exception
///     ResetState -> DoReset                 between two blocks
///     Shutdown                              once, before destruction; `Init` may come again
///
/// Threads: [process] is the one thread that runs blocks, between them, and real-time safe; [any thread] is
/// safe beside a block as well; [apart] never overlaps a block and may allocate, throw and wait.
///
/// The order of the virtual operations is part of the family's habit; the thirteen below come first in every
/// module's table, and modules with a parameter store add `SetParamInternal` as the fourteenth.
class Module {
 public:
  /// `name` prefixes the names of the module's parameters; empty is allowed. The two counts are the most
  /// ports that the module accepts.
  Module(std::string name, uint32_t inputPortCount, uint32_t outputPortCount);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  virtual ~Module() = default;

  /// [apart] `Configure`, then `DoReset(true)`, then marks the module
  /// changed. `maxBlockSize` in samples, `sampleRate` in Hz.
  virtual void Init(uint32_t maxBlockSize, float sampleRate);
  /// [apart] Stops whatever runs beside the audio thread. No `Process` follows.
  virtual void Shutdown();
  /// [process] `DoReset`, then marks the module changed. A hard reset also has all parameters read again.
  virtual void ResetState(bool hard);
  /// [process] Write from outside, as a position 0 to 1. The index isn't checked.
  virtual bool SetParam(uint32_t index, float normalized) = 0;
  /// [any thread] Position 0 to 1 of a parameter. The index isn't checked.
  virtual float GetParam(uint32_t index) = 0;
  /// [any thread] Appends a parameter's name with the module's in front, joined by "_".
  virtual void AppendParamName(uint32_t index, NameBuilder& builder) = 0;
  /// [apart] Builds everything that depends on rate and block size.
  virtual void Configure(uint32_t maxBlockSize, float sampleRate) = 0;
  /// [process] Clears delay lines and filter states.
  virtual void DoReset(bool hard) = 0;
  /// [process] Reads dirty parameters and recomputes coefficients. False: this block must not run.
  virtual bool UpdateParams(ProcessContext& context) = 0;
  /// [process] Sets or clears all dirty flags.
  virtual void SetDirty(bool flag) = 0;
  /// [process] The block itself. The result is 1, or 0 when the block was skipped.
  virtual uint32_t DoProcess(ProcessContext& context) = 0;

  /// [process] One block, as a parent runs it: parameters, port counts, signal, then marks and flags down.
  /// Returns 0 for a skipped block, which keeps its flags and its changed mark for the next one.
  uint32_t Process(ProcessContext& context);

  /// The same for a parent that knows the module's class and gives it just the ports it has: no port is
  /// counted and nothing is found by way of a table.
  template <typename Exact>
  uint32_t ProcessAs(ProcessContext& context) {
    auto& self = static_cast<Exact&>(*this);
    if (!self.Exact::UpdateParams(context)) return 0;
    const uint32_t result = self.Exact::DoProcess(context);
    changed = 0;
    self.Exact::SetDirty(false);
    return result;
  }

  const std::string& GetName() const { return name; }
  uint32_t GetInputPortCount() const { return inputPortCount; }
  uint32_t GetOutputPortCount() const { return outputPortCount; }
  /// [process] True from construction and every reset until the first block has run.
  bool IsChanged() const { return changed != 0; }
  void MarkChanged() { changed = 1; }

 protected:
  std::string name;
  uint32_t inputPortCount;
  uint32_t outputPortCount;
  uint8_t changed = 1;
};

}  // namespace Vantora::dsp
