// Refused with: says as kInputCount and kOutputCount
#include "engine/ModuleCloner.h"
#include "engine/UnitModule.h"

namespace Vantora {

/// A module with one parameter and no body.
struct Child : dsp::UnitModule {
  using UnitModule::UnitModule;
  void Configure(uint32_t, float) override {}
  void DoReset(bool) override {}
  bool UpdateParams(dsp::ProcessContext&) override { return true; }
  uint32_t DoProcess(dsp::ProcessContext&) override { return 1; }
  static constexpr uint32_t kParamCount = 1, kInputCount = 2;
#ifdef REPAIRED
  static constexpr uint32_t kOutputCount = 2;
#endif
};

using Cloner = engine::ModuleCloner<Child, 8, engine::ClonerMode::kOwnPortsSharedParams, 0>;
static_assert(Cloner::kParamCount == 1);

}  // namespace Vantora
