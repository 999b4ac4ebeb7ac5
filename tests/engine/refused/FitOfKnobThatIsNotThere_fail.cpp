// Refused with: Refit
#include "basictools/knobs/KnobRow.h"

namespace Vantora {

using namespace Knobs;

constexpr auto kRows = std::to_array<Row>({
    {"Drive", Linear(-24, 24), {}, kDecibels, kMain, "", "Drive", "gain"},
});
#ifdef REPAIRED
constexpr Fit kFits[] = {{.index = 0, .range = Linear(-14, 36)}};
#else
constexpr Fit kFits[] = {{.index = 1, .range = Linear(-14, 36)}};
#endif
constexpr auto kFitted = Refit(kRows, kFits);
static_assert(kFitted[0].range == Linear(-14, 36));

}  // namespace Vantora
