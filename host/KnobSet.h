#pragma once

#include <cstdint>
#include <string_view>

#include "host/Knob.h"

namespace Vantora::host {

/// KnobSet: the knobs of the effect, or of one module beside it, as presets and automations see them: by name
/// and by index. Immutable; all operations may run on any thread.
class KnobSet {
 public:
  virtual ~KnobSet() = default;

  /// What stands as "module" in its presets: "plate", "reverb"; empty for the effect.
  virtual std::string_view Kind() const = 0;
  virtual uint32_t Count() const = 0;
  virtual const Knob& KnobAt(uint32_t index) const = 0;
  /// False where `name` means none.
  virtual bool Has(std::string_view name) const = 0;
  /// Throws `HostError` with what was perhaps meant.
  virtual uint32_t IndexOf(std::string_view name) const = 0;
  virtual bool IsStored(uint32_t index) const = 0;  ///< part of a preset
  virtual bool CanMove(uint32_t index) const = 0;   ///< by an automation
};

/// The effect's parameters.
const KnobSet& EffectKnobs();

}  // namespace Vantora::host
