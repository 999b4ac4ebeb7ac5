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
  /// `rate` in Hz; 1 or 2 channels. `truePeak` also measures what lies between the samples, at several times
  /// the cost. Throws std::bad_alloc.
  LoudnessMeter(int rate, int channels, bool truePeak = false);
  ~LoudnessMeter();
  LoudnessMeter(LoudnessMeter&&) noexcept;
  LoudnessMeter& operator=(LoudnessMeter&&) noexcept;

  /// Takes `frames` frames; samples must be finite.
  void Add(const float* interleaved, uint64_t frames);

  /// dBFS; minus infinity for silence.
  double PeakDb() const;
  /// dBTP, of the signal between the samples at four times the rate; like `PeakDb` where that wasn't asked
  /// for.
  double TruePeakDb() const;
  /// LUFS; minus infinity for silence and for less than 0.4 s, of which the measure has no block.
  double IntegratedLufs() const;

 private:
  struct Destroy {
    void operator()(ebur128_state* state) const;
  };
  double HighestDb(int (*read)(ebur128_state*, unsigned, double*)) const;

  std::unique_ptr<ebur128_state, Destroy> state;
  uint64_t channels;
  bool measuresTruePeak;
};

/// "-3.2" or "-inf", one decimal place.
std::string DecibelText(double decibels);

}  // namespace Vantora::cli
