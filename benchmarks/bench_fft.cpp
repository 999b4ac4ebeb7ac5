// How does the real transform compare with FFTW, a library that plans by
// measuring? Both run in turns on the same data, out of place forward and in
// place back as the convolution uses them; the best of many rounds counts.
//
//     bench_fft [slowest instruction set to try: 0 baseline ... 4 AVX-512; default: the best one only]

#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/FFTPlan.h"

namespace {

using Vantora::SimdTarget;
using Vantora::prims::AlignedBuffer;
using Vantora::prims::FFTPlan;

// Nanoseconds a call, from `repeats` calls.
template <typename Call>
double Time(int repeats, Call call) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) call();
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / repeats;
}

void Compare(std::size_t size, SimdTarget target) {
  AlignedBuffer input(size), spectrum(size + 2), theirs(size + 2), back(size);
  unsigned state = 1;
  for (std::size_t i = 0; i < size; ++i) {
    state = state * 1664525u + 1013904223u;
    input[i] = static_cast<float>(state >> 8) / 8388608.0f - 1.0f;
  }
  auto* bins = reinterpret_cast<fftwf_complex*>(theirs.Data());
  const int points = static_cast<int>(size);
  const fftwf_plan forward = fftwf_plan_dft_r2c_1d(points, back.Data(), bins, FFTW_MEASURE);
  const fftwf_plan inverse = fftwf_plan_dft_c2r_1d(points, bins, back.Data(), FFTW_MEASURE);
  FFTPlan plan(size, target);

  const int repeats = std::max(1, static_cast<int>(4000000 / (size * 10)));
  double ours[2] = {1e18, 1e18}, fftw[2] = {1e18, 1e18};
  for (int round = 0; round < 40; ++round) {
    std::copy_n(input.Data(), size, back.Data());
    ours[0] = std::min(ours[0], Time(repeats, [&] { plan.Forward(input.Data(), spectrum.Data()); }));
    fftw[0] = std::min(fftw[0], Time(repeats, [&] { fftwf_execute(forward); }));
    // The values shrink or grow from call to call without the scaling or with it, so each starts from zeros.
    spectrum.Fill(0.0f);
    theirs.Fill(0.0f);
    ours[1] = std::min(ours[1], Time(repeats, [&] { plan.InverseInPlace(spectrum.Data()); }));
    fftw[1] = std::min(fftw[1], Time(repeats, [&] { fftwf_execute(inverse); }));
  }
  fftwf_destroy_plan(forward);
  fftwf_destroy_plan(inverse);
  std::printf("%7zu  %10.0f %10.0f  %5.2f     %10.0f %10.0f  %5.2f\n", size, ours[0], fftw[0],
              ours[0] / fftw[0], ours[1], fftw[1], ours[1] / fftw[1]);
}

}  // namespace

int main(int argc, char** argv) {
  const char* names[] = {"baseline", "SSSE3", "SSE4", "AVX2", "AVX-512"};
  const int best = static_cast<int>(Vantora::BestSimdTarget());
  const int slowest = argc > 1 ? std::clamp(std::atoi(argv[1]), 0, best) : best;
  for (int target = best; target >= slowest; --target) {
    std::printf(
        "%s, ns a transform\n   size     forward       FFTW  ratio        inverse       FFTW  ratio\n",
        names[target]);
    for (std::size_t size = 128; size <= 131072; size *= 2) Compare(size, static_cast<SimdTarget>(target));
  }
}
