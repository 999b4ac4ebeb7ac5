// An impulse through the real loader, libsndfile included, and its shaping: both channels equally long and of
// numbers, or a reason. The file lies in memory; /proc gives it a name.

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <gsl/narrow>
#include <string>

#include "dsp/convolution/ImpulseFile.h"
#include "dsp/convolution/ImpulseShaping.h"
#include "tests/fuzz/Pieces.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Vantora;
  constexpr size_t kMostShaped = 20000;  // samples: what a run may cost
  static const dsp::ImpulseResampler resampler;
  static const int file = memfd_create("impulse", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);

  fuzz::Pieces pieces(data, size);
  dsp::ImpulseShape shape;
  shape.sampleRate = 8000.0f * static_cast<float>(pieces.Byte() % 24 + 1);
  shape.rateDivisor = dsp::ChooseRateDivisor(shape.sampleRate, 48000.0f);
  shape.decay = static_cast<float>(pieces.Byte()) / 255.0f;
  shape.stretch = static_cast<float>(pieces.Byte()) / 64.0f;
  shape.lengthFactor = static_cast<float>(pieces.Byte()) / 128.0f;
  const std::string_view bytes = pieces.Rest();
  fuzz::Require(ftruncate(file, 0) == 0 && pwrite(file, bytes.data(), bytes.size(), 0) >= 0);

  dsp::Impulse impulse;
  std::string problem;
  if (!dsp::ReadImpulseFile(path, impulse, problem)) {
    fuzz::Require(!problem.empty());
    return 0;
  }
  fuzz::Require(!impulse.left.empty() &&
                (impulse.right.empty() || impulse.right.size() == impulse.left.size()));
  const auto grown = static_cast<double>(impulse.left.size()) * shape.sampleRate / impulse.fileRate;
  if (static_cast<double>(impulse.left.size()) + 8.0 * grown > static_cast<double>(kMostShaped)) return 0;
  dsp::ShapeImpulse(impulse, shape, resampler);
  fuzz::Require(!impulse.left.empty() && impulse.left.size() == impulse.right.size());
  return 0;
}
