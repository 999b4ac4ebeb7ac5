#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "plugin/standalone/AudioDriver.h"

namespace Vantora::plugin {
namespace {

constexpr uint32_t kFrames = 256;

class SilenceDriver final : public AudioDriver {
 public:
  explicit SilenceDriver(uint32_t theRate) : rate(theRate) {}
  ~SilenceDriver() override {
    isEnding.store(true, std::memory_order_relaxed);
    if (clock.joinable()) clock.join();
  }

  std::string Name() const override { return "no sound card"; }
  double SampleRate() const override { return rate; }
  uint32_t BufferSize() const override { return kFrames; }

  void Start(Callback callback, uint32_t) override {
    clock = std::thread([this, callback = std::move(callback)] {
      using Clock = std::chrono::steady_clock;
      const std::vector<float> silence(kFrames, 0.0f);
      std::vector<float> left(kFrames), right(kFrames);
      const std::array<const float*, 2> inputs{silence.data(), silence.data()};
      const std::array<float*, 2> outputs{left.data(), right.data()};
      const Clock::time_point begin = Clock::now();
      for (uint64_t block = 0; !isEnding.load(std::memory_order_relaxed); ++block) {
        callback({inputs.data(), outputs.data(), kFrames, HostTime{}, {}});
        const double seconds = static_cast<double>((block + 1) * kFrames) / static_cast<double>(rate);
        std::this_thread::sleep_until(
            begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
      }
    });
  }

 private:
  uint32_t rate;
  std::atomic<bool> isEnding{false};
  std::thread clock;
};

}  // namespace

std::unique_ptr<AudioDriver> OpenSilence(uint32_t rate) { return std::make_unique<SilenceDriver>(rate); }

}  // namespace Vantora::plugin
