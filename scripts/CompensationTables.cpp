// Prints dsp/effects/CompensationTables.cpp. Run by scripts/tables.
#include <cstdio>
#include <string_view>

#include "dsp/effects/LevelLoss.h"

using namespace Vantora::dsp;

namespace {

void Print(const std::array<double, kCompensationCount>& table, const char* indent) {
  for (uint32_t k = 0; k < kCompensationCount; ++k) {
    std::printf("%s%.6ff,%s", k % 8 == 0 ? indent : " ", table[k],
                k % 8 == 7 || k + 1 == kCompensationCount ? "\n" : "");
  }
}

}  // namespace

int main() {
  std::printf("// Written by scripts/tables. LevelLoss.h tells how it is measured.\n// clang-format off\n");
  std::printf("#include \"dsp/effects/CompensationTables.h\"\n\nnamespace Vantora::dsp {\n\n");
  std::printf("const CompensationTable kSineFoldCompensation = {\n");
  Print(MeasureSineFoldCompensation(), "    ");
  std::printf("};\n\nconst CompensationTable kTriangleFoldCompensation = {\n");
  Print(MeasureTriangleFoldCompensation(), "    ");
  std::printf("};\n\nconst std::array<CompensationTable, kShapingCurveCount> kShaperCompensation = {{\n");
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    const std::string_view name = kShapingCurveNames[algorithm];
    std::printf("    // %u: %.*s\n    {{\n", algorithm, static_cast<int>(name.size()), name.data());
    Print(MeasureShaperCompensation(algorithm), "        ");
    std::printf("    }},\n");
  }
  std::printf("}};\n\n}  // namespace Vantora::dsp\n");
  return 0;
}
