// Refused with: wants the variant's audio inputs
#include "engine/ModuleVariant.h"
#include "engine/UnitModule.h"

namespace Vantora {

/// A module with one parameter and no body.
struct Child : dsp::UnitModule {
  using UnitModule::UnitModule;
  void Configure(uint32_t, float) override {}
  void DoReset(bool) override {}
  bool UpdateParams(dsp::ProcessContext&) override { return true; }
  uint32_t DoProcess(dsp::ProcessContext&) override { return 1; }
#ifdef REPAIRED
  static constexpr uint32_t kParamCount = 1, kInputCount = 2;
#else
  static constexpr uint32_t kParamCount = 1, kInputCount = 1;  // of the two that a stereo variant shares
#endif
};

using Variant = engine::ModuleVariant<2, 2, Child>;
static_assert(Variant::kParamCount == 6);

}  // namespace Vantora
