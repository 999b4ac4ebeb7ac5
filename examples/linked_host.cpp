// The effect inside a program, without a library to load: linked_host [SEED] plays a second of a decaying
// tone through it and prints what comes out. The same SEED sounds the same on every run; 0 sounds as the
// library does when it has just been loaded.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

#include "host/BlockCollector.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "processor/LinkedFactory.h"

using namespace Vantora;

int main(int argc, char** argv) try {
  const auto seed = static_cast<uint32_t>(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0);
  host::HostedProcessor processor(host::ProcessorSource(Processor::MakeLinkedFactory(seed)));
  processor.Init(48000.0f);

  // A sound as text, as in a preset's file: sample and hold draws random numbers.
  host::Preset::Parse(
      R"({"schema": 1, "name": "Rattle", "parameters": {"FXType": "crusher", "Prismelion": 0.4,
                          "LFOShapeType": "sample and hold", "LFOPrimaryAmount": 0.8}})",
      "Rattle")
      .Apply(processor);

  std::vector<float> left(48000), right(48000);
  for (size_t i = 0; i < left.size(); ++i) {
    const float time = static_cast<float>(i) / 48000.0f;
    left[i] = right[i] = 0.5f * std::exp(-3.0f * time) * std::sin(2764.6f * time);
  }
  // In place, in pieces of any length: here one of everything.
  host::LiveCollector collector(processor);
  float* channels[] = {left.data(), right.data()};
  collector.Process(channels, channels, left.size());

  double sum = 0.0;
  for (const float sample : left) sum += static_cast<double>(sample) * static_cast<double>(sample);
  const host::ProcessorSource& source = processor.Source();
  std::printf("%s %s, seed %u: rms %.9f\n", source.Name().c_str(), source.Version().c_str(), seed,
              std::sqrt(sum / static_cast<double>(left.size())));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
