// A whole shell in one page: minimal_host [LIBRARY [PRESET.json]] plays two seconds of a decaying tone
// through the effect in pieces of odd lengths and prints what the meters say.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <vector>

#include "host/BlockCollector.h"
#include "host/ParameterTable.h"
#include "host/files/PresetFile.h"
#include "host/loading/ProcessorLibrary.h"

using namespace Vantora::host;

int main(int argc, char** argv) try {
  // Load, create, attach; then prepare for a rate. None of this belongs on the audio thread.
  const ProcessorLibrary library(argc > 1 ? argv[1] : ProcessorLibrary::Find());
  HostedProcessor processor(library);
  const float rate = 48000.0f;
  processor.Init(rate);
  std::printf("%s %s by %s\n", library.Name().c_str(), library.Version().c_str(), library.Vendor().c_str());

  // A preset sets everything; single parameters are found by name and written in musical units.
  const Preset preset = argc > 2 ? ReadPreset(argv[2]) : Preset();
  preset.Apply(processor);
  const ParameterTable& table = ParameterTable::Get();
  const Parameter& cutoff = table.At("HPFCutoff");
  processor.Set(cutoff.Index(), cutoff.Parse("120 Hz"));
  std::printf("%s = %s\n", cutoff.Name().c_str(), cutoff.Text(*processor.Get(cutoff.Index())).c_str());

  // The collector takes pieces of any length, in place too,
  // and costs one block of delay: report it to the host.
  LiveCollector collector(processor, 2, 2);
  std::printf("blocks of %u samples, latency %u samples\n", collector.BlockSize(), collector.Latency());
  processor.GetTransport().tempo = 100.0;

  std::vector<float> left, right;
  for (int i = 0; i < 2 * static_cast<int>(rate); ++i) {
    const float time = static_cast<float>(i) / rate;
    left.push_back(0.5f * std::exp(-time) * std::sin(2764.6f * time));
  }
  right = left;
  float peak = 0.0f;
  for (size_t at = 0, piece = 1; at < left.size(); at += piece, piece = piece * 7 % 1021) {
    piece = std::min(piece, left.size() - at);
    // Any other thread, the user's or the host's automation,
    // writes through the queue, for any sample to come.
    if (at == 0) collector.Queue(table.At("Prismelion").Index(), 0.5f, 24000);
    float* channels[] = {left.data() + at, right.data() + at};
    collector.Process(channels, channels, piece);
    for (size_t i = 0; i < piece; ++i) peak = std::max(peak, std::abs(channels[0][i]));
  }
  std::printf("peak %.3f, input %.1f dB, output %.1f dB\n", static_cast<double>(peak),
              static_cast<double>(collector.Levels().InputDb()),
              static_cast<double>(collector.Levels().OutputDb()));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
