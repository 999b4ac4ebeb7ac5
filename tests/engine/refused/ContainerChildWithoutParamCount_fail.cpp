// Refused with: says as kParamCount
#include "engine/ModuleContainer.h"
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
  static constexpr uint32_t kParamCount = 1;
#endif
};

using Container = dsp::ModuleContainer<Child>;
static_assert(Container::kOwnBase == 1);

}  // namespace Vantora
