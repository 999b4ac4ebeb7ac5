// How near do the vector kernels come to what the machine can do? The measure is a loop of independent
// multiply-adds in registers, on the same instruction set, and a plain loop as the compiler makes it for the
// baseline. All run in turns, and the best of many rounds counts.
//
//     bench_vector_kernels [slowest instruction set: 0 baseline ... 4 AVX-512; default: the best one only]

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "basictools/simd/SimdTargets.h"
#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/Oversampler.h"
#include "dsp/effects/prims/VectorKernelTable.h"
#include "dsp/effects/prims/VectorKernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "benchmarks/bench_vector_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef PRISMEL_BENCH_PEAK
#define PRISMEL_BENCH_PEAK
struct Peak {
  double (*run)(std::size_t rounds);  // returns the floating-point operations it did
};
inline volatile float peakSink;
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::prims::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

double MultiplyAdds(std::size_t rounds) {
  const hn::ScalableTag<float> d;
  constexpr std::size_t kSums = 12;  // more than latency times width, less than there are registers
  hn::Vec<decltype(d)> sums[kSums];
  for (std::size_t i = 0; i < kSums; ++i) sums[i] = hn::Set(d, 0.1f * static_cast<float>(i));
  const auto a = hn::Set(d, 0.999f), b = hn::Set(d, 0.001f);
  for (std::size_t round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < kSums; ++i) sums[i] = hn::MulAdd(sums[i], a, b);
  }
  for (std::size_t i = 1; i < kSums; ++i) sums[0] = hn::Add(sums[0], sums[i]);
  peakSink = hn::GetLane(sums[0]);
  return 2.0 * kSums * static_cast<double>(hn::Lanes(d) * rounds);
}

}  // namespace
constexpr Peak kPeak{MultiplyAdds};
}  // namespace Vantora::prims::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::prims {
namespace {

constexpr int kRounds = 60;

template <typename Call>
double Seconds(int repeats, Call call) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) call();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / repeats;
}

double PeakGflops(const Peak& peak) {
  double operations = 0.0;
  const double seconds = Seconds(1, [&] { operations = peak.run(20000); });
  return operations / seconds * 1e-9;
}

void FillWithNoise(AlignedBuffer& buffer) {
  unsigned state = 7;
  for (std::size_t i = 0; i < buffer.Count(); ++i) {
    state = state * 1664525u + 1013904223u;
    buffer[i] = static_cast<float>(state >> 8) / 8388608.0f - 1.0f;
  }
}

void PlainMulAddSpectrum(const float* a, const float* b, float* sum, std::size_t count) {
  for (std::size_t i = 0; i < count; i += 2) {
    sum[i] += a[i] * b[i] - a[i + 1] * b[i + 1];
    sum[i + 1] += a[i] * b[i + 1] + a[i + 1] * b[i];
  }
}

void PlainFir(const float* taps, std::size_t tapCount, const float* samples, float* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) out[i] = 0.0f;
  for (std::size_t k = 0; k < tapCount; ++k) {
    for (std::size_t i = 0; i < count; ++i) out[i] += taps[k] * samples[i + k];
  }
}

template <typename Call, typename Plain>
void Report(const char* name, std::size_t size, double operations, const Peak& peak, Call call, Plain plain) {
  const int repeats = std::max(1, static_cast<int>(2e6 / operations));
  double best = 1e9, bestPlain = 1e9, gflops = 0.0;
  for (int round = 0; round < kRounds; ++round) {
    best = std::min(best, Seconds(repeats, call));
    bestPlain = std::min(bestPlain, Seconds(repeats, plain));
    gflops = std::max(gflops, PeakGflops(peak));
  }
  const double ours = operations / best * 1e-9;
  std::printf("%-24s %7zu  %8.0f ns  %7.2f GFLOP/s  %5.1f %% of peak, %4.2f of the plain loop's time\n", name,
              size, best * 1e9, ours, 100.0 * ours / gflops, best / bestPlain);
}

void RunKernels(SimdTarget target) {
  const Peak& peak = *PRISMEL_KERNELS(target, kPeak);
  const VectorKernelTable& kernels = VectorKernelsFor(target);
  const FirKernelTable& fir = FirKernelsFor(target);
  // A complex multiply-add is eight operations on two floats; three reads and a write of memory for each.
  for (const std::size_t size : {256u, 2048u, 8192u, 32768u, 131072u}) {
    AlignedBuffer a(size + 4), b(size + 4), sum(size + 4);
    FillWithNoise(a);
    FillWithNoise(b);
    Report(
        "MulAddSpectrum, floats", size, 4.0 * static_cast<double>(size + 4), peak,
        [&] { kernels.mulAddSpectrum(a.Data(), b.Data(), sum.Data(), size + 4); },
        [&] { PlainMulAddSpectrum(a.Data(), b.Data(), sum.Data(), size + 4); });
  }
  for (const std::size_t size : {256u, 2048u}) {
    std::array<AlignedBuffer, kSpectra> a, b;
    std::array<const float*, kSpectra> as, bs;
    for (std::size_t k = 0; k < kSpectra; ++k) {
      for (AlignedBuffer* each : {&a[k], &b[k]}) {
        *each = AlignedBuffer(size + 4);
        FillWithNoise(*each);
      }
      as[k] = a[k].Data();
      bs[k] = b[k].Data();
    }
    AlignedBuffer sum(size + 4);
    FillWithNoise(sum);
    Report(
        "MulAddSpectra, floats", size, 16.0 * static_cast<double>(size + 4), peak,
        [&] { kernels.mulAddSpectra(as.data(), bs.data(), sum.Data(), size + 4); },
        [&] {
          for (std::size_t k = 0; k < kSpectra; ++k)
            kernels.mulAddSpectrum(as[k], bs[k], sum.Data(), size + 4);
        });
  }
  for (const std::size_t count : {44u, 48u, 64u, 96u, 256u}) {
    for (const std::size_t taps : {48u, 128u, 2048u}) {
      AlignedBuffer h(taps), x(taps + count), y(count);
      FillWithNoise(h);
      FillWithNoise(x);
      char name[40];
      std::snprintf(name, sizeof name, "Fir, block %zu, taps", count);
      Report(
          name, taps, 2.0 * static_cast<double>(taps * count), peak,
          [&] { fir.fir(h.Data(), taps, x.Data(), y.Data(), count); },
          [&] { PlainFir(h.Data(), taps, x.Data(), y.Data(), count); });
    }
  }
}

void RunSamplers() {
  const Peak& peak = *PRISMEL_KERNELS(BestSimdTarget(), kPeak);
  double gflops = 0.0;
  for (int round = 0; round < kRounds; ++round) gflops = std::max(gflops, PeakGflops(peak));
  // Samplers: the taps are what counts; the low rate's block is one of the effect.
  const std::uint32_t counts[] = {95, 207, 279, 391, 743, 1431};
  constexpr std::uint32_t kBlock = 48;
  std::size_t i = 0;
  for (const std::uint32_t factor : {2u, 4u, 6u, 8u, 16u, 32u}) {
    AlignedBuffer low(kBlock), high(kBlock * factor);
    FillWithNoise(low);
    const double operations = 2.0 * counts[i++] * kBlock;
    double scalar[2] = {1e9, 1e9}, vector[2] = {1e9, 1e9};
    Oversampler plain(factor, 2), fast(factor, 3);
    plain.Init(kBlock);
    fast.Init(kBlock);
    for (int round = 0; round < kRounds; ++round) {
      const int repeats = static_cast<int>(400 / factor);
      scalar[0] =
          std::min(scalar[0], Seconds(repeats, [&] { plain.Upsample(low.Data(), high.Data(), kBlock); }));
      vector[0] =
          std::min(vector[0], Seconds(repeats, [&] { fast.Upsample(low.Data(), high.Data(), kBlock); }));
      scalar[1] =
          std::min(scalar[1], Seconds(repeats, [&] { plain.Downsample(high.Data(), low.Data(), kBlock); }));
      vector[1] =
          std::min(vector[1], Seconds(repeats, [&] { fast.Downsample(high.Data(), low.Data(), kBlock); }));
    }
    for (int way = 0; way < 2; ++way) {
      std::printf("%s by %2u: %6.1f ns a base sample, %5.1f %% of peak, plain loop %7.1f, ratio %.3f\n",
                  way == 0 ? "Upsample  " : "Downsample", factor, 1e9 * vector[way] / kBlock,
                  100.0 * operations / vector[way] * 1e-9 / gflops, 1e9 * scalar[way] / kBlock,
                  vector[way] / scalar[way]);
    }
  }
}

}  // namespace
}  // namespace Vantora::prims

int main(int argc, char** argv) {
  using namespace Vantora;
  using namespace Vantora::prims;
  const char* names[] = {"baseline", "SSSE3", "SSE4", "AVX2", "AVX-512"};
  const int best = static_cast<int>(BestSimdTarget());
  const int slowest = argc > 1 ? std::clamp(std::atoi(argv[1]), 0, best) : best;
  for (int target = best; target >= slowest; --target) {
    std::printf("%s\n", names[target]);
    RunKernels(static_cast<SimdTarget>(target));
  }
  RunSamplers();
}
#endif  // HWY_ONCE
