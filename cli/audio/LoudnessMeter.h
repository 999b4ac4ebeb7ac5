#pragma once

#include <ebur128.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Vantora::cli {

/// LoudnessMeter: sample peak and integrated loudness (EBU R 128) of a stream of interleaved floats. Memory
/// is constant whatever the length.
class LoudnessMeter {
 public:
  /// `rate` in Hz; 1 or 2 channels. Throws std::bad_alloc.
  LoudnessMeter(int rate, int channels);
  ~LoudnessMeter();
  LoudnessMeter(LoudnessMeter&&) noexcept;
  LoudnessMeter& operator=(LoudnessMeter&&) noexcept;

  /// Takes `frames` frames; samples must be finite.
  void Add(const float* interleaved, uint64_t frames);

  /// dBFS; minus infinity for silence.
  double PeakDb() const;
  /// LUFS; minus infinity for silence and for less than 0.4 s, of which the measure has no block.
  double IntegratedLufs() const;

 private:
  struct Destroy {
    void operator()(ebur128_state* state) const;
  };
  std::unique_ptr<ebur128_state, Destroy> state;
  uint64_t channels;
};

/// "-3.2" or "-inf", one decimal place.
std::string DecibelText(double decibels);

}  // namespace Vantora::cli
