#include "dsp/convolution/DirectFIR.h"

#include <gtest/gtest.h>

#include "tests/dsp/convolution/ConvolutionRig.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::Signal;
using tests::Stereo;

// Runs in place: the outputs are the inputs.
void RunInPlace(DirectFIR& fir, Stereo& signal, bool isMono, tests::RandomBlocks blocks) {
  const size_t length = signal[0].size();
  for (size_t done = 0; done < length;) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(blocks(), length - done));
    float* left = signal[0].data() + done;
    float* right = signal[1].data() + done;
    fir.Process({left, isMono ? nullptr : right}, {left, right}, count);
    done += count;
  }
}

TEST(DirectFIR, EqualsTheExactConvolutionForAnyKernelLengthAndBlocks) {
  for (const size_t taps :
       {0u, 1u, 2u, 127u, 128u, 129u, 255u, 256u, 257u, 384u, 385u, 768u, 769u, 2048u, 3072u, 3073u, 7000u}) {
    const Stereo impulse{Noise(taps + 10, 1), Noise(taps / 2 + 1, 2)},
        input{Noise(taps + 6000, 3), Noise(taps + 6000, 4)};
    DirectFIR fir(impulse[0].data(), impulse[0].size(), impulse[1].data(), impulse[1].size(), taps, false);
    fir.Configure(200);
    Stereo output = input;
    RunInPlace(fir, output, false, tests::RandomBlocks(300, static_cast<uint32_t>(taps)));
    for (size_t c = 0; c < 2; ++c) {
      Signal kernel = impulse[c];
      kernel.resize(taps);
      EXPECT_LT(tests::ErrorDb(output[c], input[c], kernel), -120.0) << taps << " taps, channel " << c;
    }
  }
}

TEST(DirectFIR, OneInputFeedsBothKernelsOrIsCopied) {
  const Stereo impulse{Noise(500, 5), Noise(500, 6)};
  const Signal input = Noise(3000, 7);
  for (const bool monoKernel : {false, true}) {
    DirectFIR fir(impulse[0].data(), 500, impulse[1].data(), 500, 500, monoKernel);
    fir.Configure(64);
    Stereo output{input, Signal(input.size())};
    RunInPlace(fir, output, true, tests::RandomBlocks(64, 8));
    EXPECT_LT(tests::ErrorDb(output[0], input, impulse[0]), -120.0);
    EXPECT_LT(tests::ErrorDb(output[1], input, impulse[monoKernel ? 0 : 1]), -120.0);
  }
}

TEST(DirectFIR, ASecondChannelThatComesBackStartsClean) {
  const Stereo impulse{Noise(2600, 9), Noise(2600, 10)};
  DirectFIR fir(impulse[0].data(), 2600, impulse[1].data(), 2600, 2600, false);
  fir.Configure(100);
  Stereo first{Noise(3000, 11), Noise(3000, 12)};
  RunInPlace(fir, first, false, tests::RandomBlocks(100, 13));
  Signal alone = Noise(333, 14);
  for (size_t done = 0; done < 300; done += 50) {
    fir.Process({alone.data() + done, nullptr}, {alone.data() + done, nullptr}, 50);
  }
  const Stereo input{Noise(4000, 15), Noise(4000, 16)};
  Stereo output = input;
  RunInPlace(fir, output, false, tests::RandomBlocks(100, 17));
  EXPECT_LT(tests::ErrorDb(output[1], input[1], impulse[1]), -120.0);
}

}  // namespace
}  // namespace Vantora::dsp
