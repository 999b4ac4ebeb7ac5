#include "python/module/Live.h"

#include <string>
#include <utility>

#include "host/HostError.h"

namespace Vantora::python {

void LiveClock::SetTempo(host::TempoMap map, uint64_t position) {
  beats += tempo.BeatsAt(Seconds(position));
  origin = position;
  tempo = std::move(map);
}

void LiveClock::BeforeBlock(host::HostedProcessor& processor, uint64_t position, uint32_t) {
  host::Transport& transport = processor.GetTransport();
  transport.tempo = tempo.BpmAt(Seconds(position));
  transport.songPosition = beats + tempo.BeatsAt(Seconds(position));
}

uint32_t LiveLatency(int rate) {
  host::HostedProcessor processor(MakeSource(0));
  processor.Init(static_cast<float>(rate));
  return processor.BlockSize();
}

Live::Live(const Sound& sound, int channels)
    : processor(MakeSource(sound.seed)), clock(sound.Tempo(), sound.rate), channelCount(channels) {
  for (const host::ParameterWrite& write : sound.Writes()) processor.Set(write.index, write.normalized);
  processor.Init(static_cast<float>(sound.rate));
  const auto count = static_cast<uint32_t>(channels);
  collector.emplace(processor, count, count);
  collector->SetListener(&clock);
}

Audio Live::Process(const Audio& audio) {
  const Turn turn(busy);
  if (audio.ndim() != 2 || audio.shape(0) != channelCount) {
    throw host::HostError("The live engine runs with " + std::to_string(channelCount) +
                          " channel(s); call reset() before another number.");
  }
  Audio out(std::vector<pybind11::ssize_t>{audio.shape(0), audio.shape(1)});
  if (audio.shape(1) == 0) return out;
  const std::array<const float*, 2> from = Rows(audio);
  std::array<float*, 2> to{out.mutable_data(0, 0), channelCount > 1 ? out.mutable_data(1, 0) : nullptr};
  InSlices(static_cast<uint64_t>(audio.shape(1)), [&](uint64_t at, uint64_t count) {
    const std::array<const float*, 2> in{from[0] + at, from[1] != nullptr ? from[1] + at : nullptr};
    const std::array<float*, 2> piece{to[0] + at, to[1] != nullptr ? to[1] + at : nullptr};
    collector->Process(in.data(), piece.data(), count);
  });
  return out;
}

void Live::Set(uint32_t index, float position) {
  if (!collector->Queue(index, position)) {
    throw host::HostError("Too many changes wait for the next block; process some audio in between.");
  }
}

void Live::SetAll(const std::map<uint32_t, float>& values) {
  if (!collector->QueueTogether(Sound{0, 0, values, {}, {}}.Writes())) {
    throw host::HostError("Too many changes wait for the next block; process some audio in between.");
  }
}

void Live::SetTempo(const std::vector<std::pair<double, double>>& tempo) {
  const Turn turn(busy);
  clock.SetTempo(Sound{0, 0, {}, tempo, {}}.Tempo(), collector->Position());
}

}  // namespace Vantora::python
