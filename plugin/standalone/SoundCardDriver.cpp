#include <RtAudio.h>

#include <algorithm>
#include <array>
#include <vector>

#include "host/HostError.h"
#include "plugin/standalone/AudioDriver.h"

namespace Vantora::plugin {
namespace {

class SoundCardDriver final : public AudioDriver {
 public:
  SoundCardDriver(std::unique_ptr<RtAudio> theSystem, uint32_t wantedRate, uint32_t wantedFrames)
      : system(std::move(theSystem)), rate(wantedRate), frames(wantedFrames) {
    system->showWarnings(false);
    const RtAudio::DeviceInfo card = system->getDeviceInfo(system->getDefaultOutputDevice());
    if (!card.probed || card.outputChannels < 2)
      throw host::HostError("The sound card has no stereo output.");
    const auto& rates = card.sampleRates;
    if (std::find(rates.begin(), rates.end(), rate) == rates.end()) {
      rate = card.preferredSampleRate != 0 ? card.preferredSampleRate : rates.empty() ? rate : rates.back();
    }
    const RtAudio::DeviceInfo source = system->getDeviceInfo(system->getDefaultInputDevice());
    inputChannels = source.probed ? std::min(source.inputChannels, 2u) : 0;
  }
  ~SoundCardDriver() override {
    if (system->isStreamOpen()) system->closeStream();
  }

  std::string Name() const override { return RtAudio::getApiDisplayName(system->getCurrentApi()); }
  double SampleRate() const override { return rate; }
  uint32_t BufferSize() const override { return frames; }
  bool IsAlive() const override { return system->isStreamRunning(); }

  void Start(Callback theCallback, uint32_t) override {
    callback = std::move(theCallback);
    RtAudio::StreamParameters out{system->getDefaultOutputDevice(), 2, 0};
    RtAudio::StreamParameters in{system->getDefaultInputDevice(), inputChannels, 0};
    RtAudio::StreamOptions options;
    options.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_SCHEDULE_REALTIME;
    options.streamName = "PRISMEL";
    try {
      system->openStream(
          &out, inputChannels > 0 ? &in : nullptr, RTAUDIO_FLOAT32, rate, &frames,
          [](void* output, void* input, unsigned int count, double, RtAudioStreamStatus, void* self) {
            static_cast<SoundCardDriver*>(self)->Process(static_cast<float*>(output),
                                                         static_cast<const float*>(input), count);
            return 0;
          },
          this, &options);
      // A larger block than agreed would have no silence to read.
      silence.assign(std::max(frames, 8192u), 0.0f);
      system->startStream();
    } catch (const RtAudioError& error) {
      throw host::HostError("The sound card can't be used: " + error.getMessage());
    }
  }

 private:
  void Process(float* output, const float* input, uint32_t count) {
    // Channels lie one behind the other. One microphone serves for both sides.
    const float* quiet = silence.data();
    const float* left = input == nullptr ? quiet : input;
    const float* right = input == nullptr ? quiet : inputChannels == 2 ? input + count : input;
    if (input == nullptr && count > silence.size()) {
      std::fill_n(output, 2 * count, 0.0f);
      return;
    }
    const std::array<const float*, 2> inputs{left, right};
    const std::array<float*, 2> outputs{output, output + count};
    callback({inputs.data(), outputs.data(), count, HostTime{}, {}});
  }

  std::unique_ptr<RtAudio> system;
  unsigned int rate, frames;
  unsigned int inputChannels = 0;
  Callback callback;
  std::vector<float> silence;
};

}  // namespace

std::unique_ptr<AudioDriver> OpenSoundCard(uint32_t rate, uint32_t frames) {
  std::vector<RtAudio::Api> systems;
  RtAudio::getCompiledApi(systems);
  for (const RtAudio::Api wanted :
       {RtAudio::LINUX_PULSE, RtAudio::LINUX_ALSA, RtAudio::WINDOWS_WASAPI, RtAudio::MACOSX_CORE}) {
    if (std::find(systems.begin(), systems.end(), wanted) == systems.end()) continue;
    try {
      auto system = std::make_unique<RtAudio>(wanted);
      if (system->getDeviceCount() == 0) continue;
      return std::make_unique<SoundCardDriver>(std::move(system), rate, frames);
    } catch (const RtAudioError&) {
      continue;  // this system isn't there: the next one
    } catch (const host::HostError&) {
      continue;
    }
  }
  return nullptr;
}

}  // namespace Vantora::plugin
