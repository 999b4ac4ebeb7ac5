#include "plugin/standalone/Instrument.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "host/HostError.h"

namespace Vantora::plugin {

Instrument::Instrument(std::unique_ptr<AudioDriver> theDriver, std::filesystem::path midiFile)
    : midi(std::move(midiFile)), driver(std::move(theDriver)) {
  for (auto& piece : pieces) piece.resize(kPiece);
}

Instrument::~Instrument() {
  driver.reset();
  core.Deactivate();
}

void Instrument::Run() {
  core.Activate(driver->SampleRate());
  driver->Start([this](const AudioBlock& block) { Process(block); }, core.LatencyAt(driver->SampleRate()));
}

void Instrument::Process(const AudioBlock& block) {
  const auto begin = std::chrono::steady_clock::now();
  // Said to be in use first, then looked at once more: the main thread may have let go of it in between. It
  // can't change its mind more often than a hand can.
  FileSource* source = next.load();
  for (inUse.store(source); source != next.load(); inUse.store(source)) source = next.load();
  core.SetTime(block.time);
  midi.Apply(block.controllers, core);
  if (source == nullptr) {
    core.Process(block.inputs, block.outputs, block.frames);
  } else {
    for (uint32_t done = 0; done < block.frames; done += kPiece) {
      const uint32_t count = std::min(kPiece, block.frames - done);
      source->Fill(pieces[0].data(), pieces[1].data(), count);
      const std::array<const float*, 2> inputs{pieces[0].data(), pieces[1].data()};
      const std::array<float*, 2> outputs{block.outputs[0] + done, block.outputs[1] + done};
      core.Process(inputs.data(), outputs.data(), count);
    }
  }
  const double spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  const double share = spent * driver->SampleRate() / std::max(block.frames, 1u);
  if (share > load.load(std::memory_order_relaxed)) load.store(share, std::memory_order_relaxed);
}

std::string Instrument::Tick() {
  if (midi.Tick()) ++revision;
  std::erase_if(sources, [&](const std::unique_ptr<FileSource>& source) {
    return source.get() != file && source.get() != inUse.load() && source.get() != next.load();
  });
  if (!isLost && !driver->IsAlive()) {
    isLost = true;
    ++revision;
    return fmt::format("{} went away: nothing is heard until this program is started again.", driver->Name());
  }
  return midi.TakeProblem();
}

std::string Instrument::DriverText() const {
  return fmt::format("{}{}, {:.4g} kHz", isLost ? "lost: " : "", driver->Name(), driver->SampleRate() * 1e-3);
}

void Instrument::Learn(uint32_t parameter) {
  midi.Learn(parameter);
  ++revision;
}

void Instrument::Forget(uint32_t parameter) {
  midi.StopLearning();
  midi.Forget(parameter);
  ++revision;
}

void Instrument::Hand(std::unique_ptr<FileSource> source) {
  file = source.get();
  if (source != nullptr) sources.push_back(std::move(source));
  next.store(file);
  ++revision;
}

std::string Instrument::OpenFile(const std::string& path) {
  try {
    Hand(FileSource::Read(path, driver->SampleRate()));
  } catch (const host::HostError& error) {
    return error.what();
  }
  return {};
}

void Instrument::UseInput() { Hand(nullptr); }

void Instrument::SetPlaying(bool plays) {
  if (file != nullptr) file->SetPlaying(plays);
  ++revision;
}

}  // namespace Vantora::plugin
