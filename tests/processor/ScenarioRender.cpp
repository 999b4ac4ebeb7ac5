// scenario_render LIBRARY [NAME]: writes a stored scenario's whole render, half a second of left and right
// interleaved, as raw singles to the standard output; without a NAME it lists them. One scenario a process:
// the first processor of a process has the first seeds. scripts/machines compares what machines make of them.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {
const char* libraryPath = nullptr;
}
#define PRISMEL_PROCESSOR_LIBRARY libraryPath
#include "tests/processor/Scenarios.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: scenario_render LIBRARY [NAME]\n");
    return 2;
  }
  libraryPath = argv[1];
  try {
    for (const auto& scenario : Vantora::test::Scenarios()) {
      if (argc == 2) {
        std::puts(scenario.name.c_str());
      } else if (scenario.name == argv[2]) {
        const std::vector<float> both = Vantora::test::Render(scenario);
        return std::fwrite(both.data(), sizeof(float), both.size(), stdout) == both.size() ? 0 : 1;
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scenario_render: %s\n", error.what());
    return 2;
  }
  return argc == 2 ? 0 : 1;
}
