// Refused with: leaves no operation pure
#include "engine/ModuleContainer.h"
#include "engine/PassThrough.h"

namespace Vantora {

/// Looks like a module to a template, but isn't one.
struct Stranger {
  static constexpr uint32_t kParamCount = 1;
  void SetParamInternal(uint32_t, float) {}
};

#ifdef REPAIRED
using Child = dsp::PassThrough;
#else
using Child = Stranger;
#endif
using Container = dsp::ModuleContainer<Child>;
static_assert(Container::kOwnBase == 1);

}  // namespace Vantora
