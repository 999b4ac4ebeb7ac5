#include "dsp/convolution/ConvolutionReverb.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <numbers>
#include <thread>

#include "tests/dsp/convolution/ConvolutionRig.h"
#include "tests/dsp/convolution/WavFile.h"
#include "tests/support/Eventually.h"
#include "tests/support/RealTimeGuard.h"
#include "tests/support/TempFolder.h"

namespace Vantora::dsp {
namespace {

using tests::Noise;
using tests::RandomBlocks;
using tests::RunBlocks;
using tests::Signal;
using tests::Stereo;
using Reverb = ConvolutionReverb;

// The path is the impulse: its first sample, as a number. "none" can't be read.
bool LoadNumber(const std::string& path, Impulse& impulse, std::string& problem) {
  problem = "is none";
  if (path == "none") return false;
  impulse.left = {std::stof(path)};
  return true;
}

std::unique_ptr<Reverb> WithLoader(Reverb::ImpulseLoader loader) {
  auto reverb = std::make_unique<Reverb>("Reverb");
  reverb->SetLoader(std::move(loader));
  reverb->SetParam(Reverb::kWet, 1.0f);
  return reverb;
}

Reverb::ImpulseLoader LoadThis(const Stereo& samples, float rate) {
  return [samples, rate](const std::string&, Impulse& impulse, std::string&) {
    impulse.left = samples[0];
    impulse.right = samples[1];
    impulse.fileRate = rate;
    return true;
  };
}

// Runs a constant through the reverb, `blocks` times 64 samples, and returns the left output.
Signal RunConstant(Reverb& reverb, size_t blocks, float value = 1.0f) {
  const Signal constant(blocks * 64, value);
  return RunBlocks(reverb, {constant, constant}, 2, [] { return size_t{64}; })[0];
}

void WaitForImports(const Reverb& reverb, uint64_t count) {
  ASSERT_TRUE(test::Eventually([&] { return reverb.ImportCount() >= count; }));
}

float LargestStep(const Signal& signal) {
  float largest = 0.0f;
  for (size_t i = 1; i < signal.size(); ++i)
    largest = std::max(largest, std::fabs(signal[i] - signal[i - 1]));
  return largest;
}

TEST(ConvolutionReverb, WithoutAnImpulseTheWetSignalIsTheDelayedInputAtTheImpulseGain) {
  const Stereo input{Noise(9000, 1), Noise(9000, 2)};
  Reverb reverb("");
  reverb.Init(64, 48000.0f);
  EXPECT_EQ(RunBlocks(reverb, input, 2, RandomBlocks(64, 3)), input) << "Wet 0 is the input, bit for bit";
  reverb.SetParam(Reverb::kWet, 1.0f);
  reverb.SetParamInternal(Reverb::kIRGain, -20.0f);
  reverb.SetParamInternal(Reverb::kPreDelayMs, 10.0f);
  reverb.ResetState(true);
  const Stereo output = RunBlocks(reverb, input, 2, RandomBlocks(64, 4));
  for (size_t i = 0; i < 9000; ++i) {
    ASSERT_NEAR(output[1][i], i < 480 ? 0.0f : 0.1f * input[1][i - 480], 1e-5f) << i;
  }
  // One input feeds both outputs; one output takes the left input.
  reverb.ResetState(true);
  EXPECT_EQ(RunBlocks(reverb, {input[0], Signal()}, 2, RandomBlocks(64, 4))[1], output[0]);
  reverb.ResetState(true);
  EXPECT_EQ(RunBlocks(reverb, input, 1, RandomBlocks(64, 4))[0], output[0]);
}

TEST(ConvolutionReverb, ConvolvesWithTheShapedImpulseWithoutLatency) {
  const Stereo samples{Noise(12000, 5), Noise(12000, 6)}, input{Noise(30000, 7), Noise(30000, 8)};
  const auto reverb = WithLoader(LoadThis(samples, 48000.0f));
  ASSERT_TRUE(reverb->SetImpulseFile("x"));
  reverb->SetParamInternal(Reverb::kDecay, 0.5f);
  reverb->SetParamInternal(Reverb::kLengthFactor, 0.75f);
  reverb->Init(64, 48000.0f);
  EXPECT_EQ(reverb->ImpulseLength(), 9000u);
  const Stereo output = RunBlocks(*reverb, input, 2, RandomBlocks(64, 9), true);
  Stereo shaped = samples;
  for (size_t c = 0; c < 2; ++c) {
    shaped[c].resize(9000);
    for (size_t i = 0; i < 9000; ++i)
      shaped[c][i] *= static_cast<float>(std::exp(-2.5 * static_cast<double>(i) / 48000));
    EXPECT_LT(tests::ErrorDb(output[c], input[c], shaped[c]), -110.0);
  }
  EXPECT_EQ(reverb->WetLatency(), 0u);
  EXPECT_EQ(reverb->ImportCount(), 1u) << "no knob has moved since Init";
  // Rendered again from a reset, bit for bit the same, also after a stretch with workers.
  RunBlocks(*reverb, input, 2, RandomBlocks(64, 10));
  reverb->ResetState(true);
  EXPECT_EQ(RunBlocks(*reverb, input, 2, RandomBlocks(64, 9), true), output);
}

TEST(ConvolutionReverb, ReducedRateDelaysTheWetSignalByWhatItSaysAndNoMore) {
  struct Case {
    float rate;
    uint64_t divisor;
    uint32_t latency;
  };
  for (const auto& [rate, divisor, latency] :
       {Case{88200, 2, 94}, Case{192000, 4, 204}, Case{288000, 6, 280}, Case{384000, 8, 388}}) {
    const float fileRate = rate / static_cast<float>(divisor);
    for (const bool isFours : {true, false}) {
      const auto reverb = WithLoader(LoadThis({Signal{1.0f}, Signal{1.0f}}, fileRate));
      reverb->SetImpulseFile("click");
      reverb->Init(44, rate);
      EXPECT_EQ(reverb->RateDivisor(), divisor);
      Signal sine(20000);
      for (size_t i = 0; i < sine.size(); ++i) {
        sine[i] =
            static_cast<float>(std::sin(2.0 * std::numbers::pi * 1000.0 * static_cast<double>(i) / rate));
      }
      RandomBlocks any(44, 11);
      const auto blocks = [&] { return isFours ? any() & ~size_t{3} : any(); };
      const Stereo output = RunBlocks(*reverb, {sine, sine}, 2, blocks, true);
      const uint32_t delay = reverb->WetLatency();
      if (isFours) {
        EXPECT_EQ(delay, latency) << rate;
      }
      for (size_t i = 5000; i < sine.size(); ++i) {
        ASSERT_NEAR(output[1][i], sine[i - delay], 2e-3f) << rate << " " << i;
      }
    }
  }
}

// -----------------------------------------------------------------------------------------------------------
// Changes while it sounds.

TEST(ConvolutionReverb, AChangeOfTheImpulseFadesWithTheCrossfadesSlopeAndNoStep) {
  const auto reverb = WithLoader(LoadNumber);
  reverb->SetParam(Reverb::kEngineCrossfadeDuration, 0.1f);
  reverb->SetImpulseFile("1.0");
  reverb->Init(64, 48000.0f);
  EXPECT_NEAR(RunConstant(*reverb, 4).back(), 1.0f, 1e-6f);
  reverb->SetParamInternal(Reverb::kIRGain, -20.0f);
  Signal heard = RunConstant(*reverb, 1);
  WaitForImports(*reverb, 2);
  const Signal fade = RunConstant(*reverb, 100);
  heard.insert(heard.end(), fade.begin(), fade.end());
  EXPECT_NEAR(heard.back(), 0.1f, 1e-6f);
  EXPECT_NEAR(LargestStep(heard), 0.9f / 4800.0f, 1e-5f);
  EXPECT_TRUE(std::is_sorted(heard.rbegin(), heard.rend(), [](float a, float b) { return a < b - 1e-6f; }));
}

TEST(ConvolutionReverb, FadesOutAndInWhenToldTo) {
  const auto reverb = WithLoader(LoadNumber);
  reverb->SetParam(Reverb::kEngineCrossfadeDuration, 0.1f);
  reverb->SetParam(Reverb::kImpulseFadeBehaviour, 1.0f);
  reverb->SetImpulseFile("1.0");
  reverb->Init(64, 48000.0f);
  RunConstant(*reverb, 1);
  reverb->SetImpulseFile("0.5");
  WaitForImports(*reverb, 2);
  Signal heard = RunConstant(*reverb, 100);
  EXPECT_LT(LargestStep(heard), 1.0f / 4800.0f + 1e-5f);
  EXPECT_NEAR(*std::min_element(heard.begin(), heard.end()), 0.0f, 1e-3f);
  // Two more come while the new one fades in: the last one wins.
  for (const char* path : {"0.3", "0.25"}) reverb->SetImpulseFile(path);
  WaitForImports(*reverb, 4);
  heard = RunConstant(*reverb, 400);
  EXPECT_LT(LargestStep(heard), 1.0f / 4800.0f + 1e-5f);
  EXPECT_NEAR(heard.back(), 0.25f, 1e-6f);
}

TEST(ConvolutionReverb, EnginesThatComeDuringACrossfadeWaitTheirTurn) {
  const auto reverb = WithLoader(LoadNumber);
  reverb->SetParam(Reverb::kEngineCrossfadeDuration, 0.05f);
  reverb->SetImpulseFile("0");
  reverb->Init(64, 48000.0f);
  RunConstant(*reverb, 1);
  for (const char* path : {"1.0", "0.7", "0.2"}) reverb->SetImpulseFile(path);
  WaitForImports(*reverb, 4);
  const Signal heard = RunConstant(*reverb, 100);
  // Up to the first, then straight to the last: the second was replaced while it waited.
  EXPECT_NEAR(*std::max_element(heard.begin(), heard.end()), 1.0f, 1e-6f);
  EXPECT_NEAR(heard.back(), 0.2f, 1e-6f);
  EXPECT_LT(LargestStep(heard), 1.0f / 2400.0f + 1e-5f);
  const auto peak = std::max_element(heard.begin(), heard.end());
  const auto isClearlyLess = [](float a, float b) { return a < b - 1e-6f; };
  EXPECT_TRUE(std::is_sorted(heard.begin(), peak, isClearlyLess));
  EXPECT_TRUE(std::is_sorted(heard.rbegin(), std::reverse_iterator(peak), isClearlyLess));
}

TEST(ConvolutionReverb, AResetDuringAFadeLandsOnTheNewEngine) {
  const auto reverb = WithLoader(LoadNumber);
  reverb->SetImpulseFile("1.0");
  reverb->Init(64, 48000.0f);
  reverb->SetImpulseFile("0.5");
  WaitForImports(*reverb, 2);
  RunConstant(*reverb, 10);
  reverb->ResetState(false);
  const Signal heard = RunConstant(*reverb, 2);
  EXPECT_NEAR(heard.front(), 0.5f, 1e-6f);
  EXPECT_NEAR(heard.back(), 0.5f, 1e-6f);
}

TEST(ConvolutionReverb, PollingWaitsForMoreThanItsPeriod) {
  const auto reverb = WithLoader(LoadNumber);
  reverb->SetParam(Reverb::kImpulseUpdateBehaviour, 1.0f);
  reverb->SetParamInternal(Reverb::kImpulseUpdatePollingTime, 100.0f);
  reverb->SetImpulseFile("1.0");
  reverb->Init(64, 48000.0f);  // a period of 4800 samples, exactly 75 blocks
  reverb->SetParamInternal(Reverb::kIRGain, -6.0f);
  RunConstant(*reverb, 75);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(reverb->ImportCount(), 1u);
  RunConstant(*reverb, 1);
  WaitForImports(*reverb, 2);
}

TEST(ConvolutionReverb, ABadFileLeavesTheOldImpulseAndSaysWhy) {
  const testsupport::TempFolder folder;
  Reverb reverb("");
  reverb.SetParam(Reverb::kWet, 1.0f);
  reverb.SetParam(Reverb::kEngineCrossfadeDuration, 0.0f);
  const std::string good = folder.Write("good.wav", tests::WavBytes({0.5f}, 1, 48000));
  ASSERT_TRUE(reverb.SetImpulseFile(good));
  reverb.Init(64, 48000.0f);
  EXPECT_EQ(reverb.ImpulseProblem(), "");
  const std::string bad = folder.Write("bad.wav", tests::WavBytes({1.0f, 1.0f, 1.0f}, 3, 48000));
  ASSERT_TRUE(reverb.SetImpulseFile(bad));
  WaitForImports(reverb, 2);
  EXPECT_EQ(reverb.ImpulseProblem(), bad + ": has 3 channels instead of one or two");
  EXPECT_NEAR(RunConstant(reverb, 4).back(), 0.5f, 1e-6f);
  // Mended, the same path is read again.
  folder.Write("bad.wav", tests::WavBytes({0.25f}, 1, 48000));
  ASSERT_TRUE(reverb.SetImpulseFile(bad));
  WaitForImports(reverb, 3);
  EXPECT_NEAR(RunConstant(reverb, 4).back(), 0.25f, 1e-6f);
  EXPECT_EQ(reverb.ImpulseProblem(), "");
}

TEST(ConvolutionReverb, TakesPathsUpToTheirPlaceInACommand) {
  std::string seen;
  const auto reverb = WithLoader([&](const std::string& path, Impulse& impulse, std::string&) {
    seen = path;
    impulse.left = {1.0f};
    return true;
  });
  EXPECT_FALSE(reverb->SetImpulseFile(std::string(257, 'a')));
  ASSERT_TRUE(reverb->SetImpulseFile(std::string(256, 'b')));
  reverb->Init(64, 48000.0f);
  EXPECT_EQ(seen, std::string(256, 'b'));
  ASSERT_TRUE(reverb->SetImpulseFile(std::string(256, 'c')));
  WaitForImports(*reverb, 2);
  EXPECT_EQ(reverb->ImpulseProblem(), "");
  EXPECT_EQ(seen, std::string(256, 'c'));
}

TEST(ConvolutionReverb, AnExceptionInAnImportEndsNeitherTheProcessNorTheSound) {
  const auto reverb = WithLoader([](const std::string& path, Impulse& impulse, std::string&) {
    if (path == "throws") throw std::runtime_error("out of luck");
    if (path == "exhausts") throw std::bad_alloc();
    impulse.left = {1.0f};
    return true;
  });
  reverb->SetImpulseFile("good");
  reverb->Init(64, 48000.0f);
  reverb->SetImpulseFile("throws");
  WaitForImports(*reverb, 2);
  EXPECT_EQ(reverb->ImpulseProblem(), "throws: out of luck");
  reverb->SetImpulseFile("exhausts");
  WaitForImports(*reverb, 3);
  EXPECT_EQ(reverb->ImpulseProblem(), "exhausts: needs more memory than there is");
  EXPECT_NEAR(RunConstant(*reverb, 2).back(), 1.0f, 1e-6f);
}

TEST(ConvolutionReverb, InitForAnotherRateReadsTheImpulseForIt) {
  const auto reverb = WithLoader(LoadThis({Noise(44100, 12), Noise(44100, 13)}, 44100.0f));
  reverb->SetImpulseFile("x");
  for (const auto& [rate, length] : {std::pair{44100.0f, 44100u}, {48000.0f, 48000u}, {88200.0f, 88200u}}) {
    reverb->Init(64, rate);
    EXPECT_EQ(reverb->ImpulseLength(), length);
  }
}

TEST(ConvolutionReverb, AThousandChangesUnderLoadEndWithTheRightImpulseAndTheAudioThreadStaysClean) {
  const auto reverb = WithLoader([](const std::string& path, Impulse& impulse, std::string&) {
    impulse.left.assign(300, 0.0f);  // with delay lines and workers
    impulse.left[0] = std::stof(path);
    return true;
  });
  reverb->SetPartitions({64, {{32, 2, 0}, {64, 1, 1}}});
  reverb->SetParam(Reverb::kEngineCrossfadeDuration, 0.001f);
  reverb->SetImpulseFile("1000");
  reverb->Init(32, 48000.0f);
  RunConstant(*reverb, 1);

  std::atomic<bool> isDone{false};
  std::thread control([&] {
    for (int i = 1; i <= 1000; ++i) {
      reverb->SetImpulseFile(std::to_string(i));
      if (i % 7 == 0) std::this_thread::yield();
    }
    isDone = true;
  });
  Signal constant(32, 1.0f), output(32);
  std::array<float*, 2> inputs{constant.data(), constant.data()}, outputs{output.data(), output.data()};
  ProcessContext context = ProcessContext().WithPorts(inputs, outputs);
  context.sampleCount = 32;
  test::RealTimeViolations worst;
  const auto runBlock = [&] {
    const auto seen = test::Watch([&] { reverb->Process(context); });
    worst.allocations += seen.allocations;
    worst.releases += seen.releases;
    worst.locks += seen.locks;
    worst.throws += seen.throws;
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  };
  while (!isDone) runBlock();
  control.join();
  // How many blocks the manager's thread takes says nothing: the limit is for a test that would hang.
  constexpr int kMost = 1'000'000;
  for (int quiet = 0, i = 0; quiet < 200 && i < kMost; ++i) {
    runBlock();
    quiet = output.back() == 1000.0f ? quiet + 1 : 0;
  }
  EXPECT_EQ(output.back(), 1000.0f);
  EXPECT_EQ(worst.allocations + worst.releases + worst.locks + worst.throws, 0u) << worst.Text();
  for (int i = 0; i < kMost && reverb->ManagedCount() > 1; ++i) runBlock();
  EXPECT_EQ(reverb->ManagedCount(), 1u) << "only the engine that runs is left";
}

TEST(ConvolutionReverb, ShutsDownAtAnyMoment) {
  std::mt19937 generator(14);
  for (int round = 0; round < 40; ++round) {
    const auto reverb = WithLoader(LoadThis({Noise(30000, 15), Noise(30000, 16)}, 44100.0f));
    if (round % 4 != 0) reverb->SetImpulseFile("x");
    reverb->Init(64, 48000.0f);
    reverb->SetParamInternal(Reverb::kDecay, 0.5f);
    RunConstant(*reverb, generator() % 100);
    if (round % 2 == 0) reverb->SetImpulseFile("y");
    std::this_thread::sleep_for(std::chrono::microseconds(generator() % 12000));
    if (round % 3 == 0) reverb->Shutdown();
    if (round % 6 == 0) reverb->Shutdown();
  }
}

}  // namespace
}  // namespace Vantora::dsp
