#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace Vantora::host {

class HostedProcessor;

/// Meters: the processor's levels and read-outs, copied
/// after every block so that any thread can look at them.
class Meters {
 public:
  static constexpr float kFloorDb = -80.0f;  ///< what silence reads
  static constexpr float kCeilingDb = 6.0f;  ///< where the meters stop

  /// Finds the read-outs by name; one that the processor doesn't have stays at its lowest value. Allocates.
  explicit Meters(const HostedProcessor& processor);

  /// [process] Takes the values of the block that has just run.
  void Update(const HostedProcessor& processor);

  float InputDb() const { return Db(input); }    ///< [any thread] input level behind "InputGain", dB
  float OutputDb() const { return Db(output); }  ///< [any thread] wet level before the final gain, dB
  float Prismelion() const { return prismelion.Load(); }  ///< [any thread] modulated "Prismelion", 0 to 1
  float Primary() const { return primary.Load(); }  ///< [any thread] modulated primary knob, position 0 to 1

 private:
  struct ReadOut {
    std::optional<uint32_t> index;
    std::atomic<float> normalized{0.0f};  // relaxed: each value stands alone
    float Load() const { return normalized.load(std::memory_order_relaxed); }
  };
  static float Db(const ReadOut& readOut) { return kFloorDb + (kCeilingDb - kFloorDb) * readOut.Load(); }

  ReadOut input, output, prismelion, primary;
};

}  // namespace Vantora::host
