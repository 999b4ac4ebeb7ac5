// effect_instructions NAME VOICES LFO BLOCKS: runs the effect for so many blocks at 48 kHz and nothing else,
// for scripts/instructions to count in a simulator. NAME is a stage effect as in EffectSession.h, LFO the
// depth of both amounts, 0..1.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "benchmarks/EffectSession.h"

int main(int argc, char** argv) {
  using namespace Vantora;
  if (argc != 5) {
    std::fprintf(stderr, "usage: effect_instructions NAME VOICES LFO BLOCKS, say band-pass 8 0 200\n");
    return 2;
  }
  try {
    const test::LoadedLibrary library(PRISMEL_PROCESSOR_LIBRARY);
    const auto voices = static_cast<uint32_t>(std::atoi(argv[2]));
    for (const benchmarks::Case& what : benchmarks::EffectCases(voices, std::strtof(argv[3], nullptr))) {
      if (what.name != argv[1]) continue;
      benchmarks::Session session(library, what, 48000.0f);
      for (int i = std::atoi(argv[4]); i > 0; --i) session.Block();
      return 0;
    }
    std::fprintf(stderr, "effect_instructions: there is no effect '%s'\n", argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "effect_instructions: %s\n", error.what());
  }
  return 1;
}
