// The binary contract, seen from a shell: through raw memory
// and the virtual tables of the library opened with dlopen.
#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "tests/processor/LoadedProcessor.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {
namespace {

using namespace Processor;

/// Operation `slot`, counted from 1, of an object with a virtual table.
template <typename Result, typename... Args>
Result CallSlot(void* object, int slot, Args... args) {
  auto** table = *reinterpret_cast<void***>(object);
  return reinterpret_cast<Result (*)(void*, Args...)>(table[slot - 1])(object, args...);
}

uint32_t WordAt(const void* memory, size_t offset) {
  uint32_t word;
  std::memcpy(&word, static_cast<const char*>(memory) + offset, sizeof(word));
  return word;
}

TEST(Library, ExportsItsEntryPointAndNothingElse) {
  std::ifstream file(PRISMEL_PROCESSOR_LIBRARY, std::ios::binary);
  const std::vector<char> image(std::istreambuf_iterator<char>(file), {});
  ASSERT_GT(image.size(), sizeof(Elf64_Ehdr));
  const auto* header = reinterpret_cast<const Elf64_Ehdr*>(image.data());
  const auto* sections = reinterpret_cast<const Elf64_Shdr*>(image.data() + header->e_shoff);
  std::vector<std::string> exported;
  for (int s = 0; s < header->e_shnum; ++s) {
    if (sections[s].sh_type != SHT_DYNSYM) continue;
    const char* names = image.data() + sections[sections[s].sh_link].sh_offset;
    const auto* symbols = reinterpret_cast<const Elf64_Sym*>(image.data() + sections[s].sh_offset);
    for (size_t i = 0; i < sections[s].sh_size / sizeof(Elf64_Sym); ++i) {
      if (symbols[i].st_shndx != SHN_UNDEF) exported.emplace_back(names + symbols[i].st_name);
    }
  }
  EXPECT_EQ(exported, std::vector<std::string>{"GetProcessorFactory"});
}

TEST(Factory, SpeaksThroughItsTableAndItsTexts) {
  const LoadedLibrary library;
  void* first = library.MakeFactory();
  void* second = library.MakeFactory();
  EXPECT_NE(first, second);
  for (void* factory : {first, second}) {
    EXPECT_EQ(CallSlot<uint32_t>(factory, 1), 7u);
    EXPECT_STREQ(static_cast<char*>(factory) + 8, "1.0.0.5002");
    EXPECT_STREQ(static_cast<char*>(factory) + 8 + 256, "Vantora");
    EXPECT_STREQ(static_cast<char*>(factory) + 8 + 512, "Qfx PRISMEL");
  }
  void* processor = CallSlot<void*>(first, 2);
  CallSlot<void>(first, 4);
  CallSlot<void>(second, 4);
  ASSERT_NE(processor, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(processor) % 16, 0u);
  EXPECT_EQ(CallSlot<uint32_t>(processor, 17), 228u) << "a processor outlives its factory";
  CallSlot<void>(processor, 15);
}

TEST(Factory, AnswersNullOrPassesTheAllocatorsExceptionAndLeaksNothing) {
  if (!RealTimeGuard::WatchesEverything()) GTEST_SKIP() << "malloc isn't ours";
  const LoadedLibrary library;
  const std::unique_ptr<IProcessorFactory> factory(library.MakeFactory());
  delete factory->CreateProcessor();  // what is built once for all is built now
  uint64_t failed = 0;
  IProcessor_V7* processor = nullptr;
  for (uint64_t which = 1; processor == nullptr; which = which < 40 ? which + 1 : which + 97) {
    bool threw = false;
    const auto seen = Watch([&] {
      FailMalloc(which);
      try {
        processor = factory->CreateProcessor();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      FailMalloc(0);
    });
    if (processor != nullptr) break;  // it needs no more allocations than that
    ++failed;
    EXPECT_EQ(threw, which > 1) << "the processor's own block gives null, everything behind it throws";
    // The failed call was counted too.
    EXPECT_EQ(seen.allocations - 1, seen.releases) << which;
  }
  delete processor;
  EXPECT_GT(failed, 40u);
}

TEST(Processor, FrontHoldsTheDescriptionsAtTheirBytes) {
  const LoadedLibrary library;
  const std::unique_ptr<IProcessorFactory> factory(library.MakeFactory());
  const std::unique_ptr<IProcessor_V7> processor(factory->CreateProcessor());
  const char* front = reinterpret_cast<const char*>(processor.get());
  const auto expectBlock = [&](const void* block, uint32_t parameters, uint32_t generation) {
    const std::array<uint32_t, 6> expected = {parameters, 2, 2, 1, 44, generation};
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(WordAt(block, 4 * i), expected[i]) << i;
  };
  char* info = *reinterpret_cast<char* const*>(front + 104);
  for (const uint32_t parameters : {0u, 228u}) {
    expectBlock(front + 8, parameters, 3);
    expectBlock(front + 40, parameters, 4);
    expectBlock(front + 68, parameters, 5);
    expectBlock(info + 8, parameters, 7);
    EXPECT_EQ(WordAt(front, 64), 0u);
    EXPECT_EQ(WordAt(front, 92), 0u);
    for (const size_t offset : {24u, 32u, 36u}) EXPECT_EQ(WordAt(info + 8, offset), 0u);
    auto* sink = reinterpret_cast<LogSink*>(0x1234);
    EXPECT_TRUE(CallSlot<bool>(processor.get(), 4, sink));
  }
  EXPECT_EQ(*reinterpret_cast<const uintptr_t*>(front + 32), 0x1234u);
  EXPECT_EQ(CallSlot<char*>(processor.get(), 1), info + 8);
  EXPECT_EQ(CallSlot<char*>(processor.get(), 36), info);
}

TEST(Processor, AnswersEverySlotOfItsTable) {
  const LoadedProcessor loaded(0.0f);
  void* p = loaded.Get();
  EXPECT_EQ(CallSlot<uint64_t>(p, 2), 0u);
  for (const int slot : {6, 7, 20, 21, 24}) EXPECT_TRUE(CallSlot<bool>(p, slot)) << slot;
  EXPECT_FALSE(CallSlot<bool>(p, 22));
  for (const int slot : {18, 29, 30, 37}) EXPECT_EQ(CallSlot<uint64_t>(p, slot), 0u) << slot;
  for (const int slot : {34, 35, 38}) CallSlot<void>(p, slot);
  void* untouched = p;
  uint32_t count = 77;
  EXPECT_FALSE((CallSlot<bool, void**, uint32_t*>(p, 27, &untouched, &count)));
  EXPECT_TRUE(untouched == p && count == 77);
  const float rate = 48000.0f;
  EXPECT_TRUE((CallSlot<bool, const float*>(p, 3, &rate)));
  EXPECT_EQ(CallSlot<uint32_t>(p, 16), 7u);
  EXPECT_EQ((CallSlot<uint32_t, float>(p, 28, 48000.0f)), 48u);
  EXPECT_EQ(CallSlot<uint32_t>(p, 31), 44u);
  EXPECT_EQ(CallSlot<uint32_t>(p, 32), 0u);
  float value = -5.0f;
  EXPECT_TRUE((CallSlot<bool, uint32_t, float>(p, 9, 168u, 0.75f)));
  EXPECT_TRUE((CallSlot<bool, uint32_t, float*>(p, 8, 168u, &value)));
  EXPECT_EQ(value, 0.75f);
  EXPECT_TRUE(CallSlot<bool>(p, 5));
}

TEST(Processor, BlockSizeFollowsTheRateAndLatencyDoesnt) {
  LoadedProcessor loaded(192000.0f);
  const std::array<std::pair<float, uint32_t>, 9> sizes = {{{0.0f, 44},
                                                            {-1.0f, 44},
                                                            {1000.0f, 4},
                                                            {22050.0f, 24},
                                                            {44100.0f, 44},
                                                            {48000.0f, 48},
                                                            {96000.0f, 96},
                                                            {192000.0f, 192},
                                                            {std::nanf(""), 44}}};
  for (const auto& [rate, size] : sizes) EXPECT_EQ(loaded->GetBlockSize(rate), size) << rate;
  EXPECT_GT(loaded->GetBlockSize(std::numeric_limits<float>::infinity()), 1000000u);
  EXPECT_EQ(loaded->GetLatency(), 44u);
}

TEST(Parameters, RefuseAndSwallowIndicesAsTheContractSays) {
  LoadedProcessor p;
  float value = 3.0f;
  for (const uint32_t index : {226u, 227u, 228u}) EXPECT_TRUE(p->GetParamValue(index, &value));
  EXPECT_EQ(value, 3.0f);
  value = -1.0f;
  EXPECT_FALSE(p->GetParamValue(228, &value));
  EXPECT_TRUE(p->GetParamValue(226, &value));
  EXPECT_FALSE(p->SetParamValue(227, 0.5f));
  EXPECT_FALSE(p->SetParamValue(100000, 0.5f));
  for (const auto& [written, read] : {std::pair{-1.0f, 0.0f}, {2.0f, 1.0f}, {std::nanf(""), 0.0f}}) {
    EXPECT_TRUE(p->SetParamValue(168, written));
    EXPECT_EQ(p.Value(168), read);
  }
  EXPECT_TRUE(p->IsBlobParam(227));
  EXPECT_FALSE(p->IsBlobParam(226));
  char buffer[4];
  uint32_t size = 4;
  EXPECT_TRUE(p->GetParamBlob(227, buffer, &size));
  EXPECT_EQ(size, 4u);
  EXPECT_FALSE(p->GetParamBlob(3, buffer, &size));
  EXPECT_EQ(size, 0u);
}

TEST(Parameters, TellTheirNames) {
  LoadedProcessor p;
  EXPECT_EQ(p.NameOf(226), "ToolTipUpdate");
  EXPECT_EQ(p.NameOf(227), "ToolTipText");
  EXPECT_EQ(p.NameOf(228), "");
  EXPECT_EQ(p.NameOf(215), "Bypass");
  ParamInfo info{};
  uint32_t index = 0;
  EXPECT_TRUE(p->GetParamInfoAt(227, &index, &info));
  EXPECT_EQ(index, 227u);
  EXPECT_EQ(info.blobSize, 256u);
  EXPECT_FALSE(p->GetParamInfoAt(228, &index, &info));
}

TEST(ToolTips, AreAnsweredOnceWithAnEmptyText) {
  LoadedProcessor p;
  const BlobChange* change = nullptr;
  uint32_t count = 9;
  EXPECT_TRUE(p->SetParamValue(226, 228.0f));
  EXPECT_TRUE(p->SetParamValue(226, std::nanf("")));
  EXPECT_FALSE(p->GetChangedBlobs(&change, &count));
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(p->SetParamValue(226, 5.0f));
  ASSERT_TRUE(p->GetChangedBlobs(&change, &count));
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(change->index, 227u);
  EXPECT_EQ(change->size, 256u);
  EXPECT_STREQ(change->data, "");
  EXPECT_FALSE(p->GetChangedBlobs(&change, &count));
  EXPECT_EQ(change, nullptr);
  const auto* value = reinterpret_cast<const ValueChange*>(&count);
  EXPECT_FALSE(p->GetChangedValues(&value, &count));
  EXPECT_EQ(value, nullptr);
}

TEST(Midi, The255thMessageIsDroppedInSilence) {
  LoadedProcessor p;
  const uint8_t note[3] = {0x90, 60, 100};
  for (int i = 0; i < 300; ++i) EXPECT_TRUE(p->PushMidi(note));
  HostBlock block(48);
  p->Process(&block.data);
  EXPECT_REAL_TIME(p->Process(&block.data));
  EXPECT_EQ(block.data.outputEventCount, 0u) << "the effect sends none";
  EXPECT_NE(block.data.outputEventData, nullptr);
  EXPECT_TRUE(p->ClearEvents());
}

TEST(Process, IsSilentBeforeInitAndSkipsWhatHasTooManyPorts) {
  LoadedProcessor p(0.0f);
  HostBlock block(48);
  block.left.assign(48, 0.5f);
  EXPECT_TRUE(p->Process(&block.data));
  EXPECT_EQ(block.outLeft[47], 0.0f);
  p.Init(48000.0f);
  float* three[3] = {block.left.data(), block.left.data(), block.left.data()};
  block.data.inputs = three;
  block.data.inputCount = 3;
  block.outLeft.assign(48, -9.0f);
  EXPECT_TRUE(p->Process(&block.data));
  EXPECT_EQ(block.outLeft[0], 0.0f);
  block.data.inputCount = 0;
  EXPECT_TRUE(p->Process(&block.data));
  block.data.outputCount = 0;
  EXPECT_TRUE(p->Process(&block.data));
}

TEST(Process, ABlockAboveTheLimitSoundsLikeItsPieces) {
  LoadedProcessor whole;
  LoadedProcessor pieces;
  HostBlock big(480);
  for (uint32_t i = 0; i < 480; ++i) big.left[i] = big.right[i] = std::sin(0.05f * static_cast<float>(i));
  whole->Process(&big.data);
  HostBlock small(48);
  for (uint32_t start = 0; start < 480; start += 48) {
    std::copy_n(big.left.begin() + start, 48, small.left.begin());
    std::copy_n(big.right.begin() + start, 48, small.right.begin());
    pieces->Process(&small.data);
    for (uint32_t i = 0; i < 48; ++i) ASSERT_EQ(small.outLeft[i], big.outLeft[start + i]);
  }
}

TEST(Process, AnOverLongBlockIsCutIntoNoPieceBelowAGroupOfFour) {
  for (const uint32_t length : {97u, 98u, 99u, 145u}) {
    LoadedProcessor whole, pieces;
    HostBlock big(length), small(48);
    for (uint32_t i = 0; i < length; ++i) big.left[i] = big.right[i] = 0.5f;
    for (LoadedProcessor* p : {&whole, &pieces}) {
      uint32_t gain = 0;
      while (p->NameOf(gain) != "OutputGain") ++gain;
      (*p)->SetParamValue(gain, 0.75f);
    }
    whole->Process(&big.data);
    for (uint32_t start = 0; start < length;) {
      const uint32_t rest = length - start;
      const uint32_t count = rest > 51 ? 48 : rest > 48 ? 44 : rest;
      small.data.sampleCount = count;
      std::copy_n(big.left.begin() + start, count, small.left.begin());
      std::copy_n(big.right.begin() + start, count, small.right.begin());
      pieces->Process(&small.data);
      for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(small.outLeft[i], big.outLeft[start + i]) << length;
      start += count;
    }
    // The gain that was under way is where it was, not at 0.
    small.data.sampleCount = 4;
    whole->Process(&small.data);
    EXPECT_GT(std::fabs(small.outLeft[0]), 0.1f) << length;
  }
}

TEST(Process, BlocksWithoutSamplesBetweenOthersChangeNothingAndBlocksWithoutOutputsGoOn) {
  LoadedProcessor plain, interrupted, unheard;
  HostBlock block(48), other(48);
  const auto turn = [&](uint32_t index, float position) {
    for (LoadedProcessor* p : {&plain, &interrupted, &unheard}) (*p)->SetParamValue(index, position);
  };
  turn(169, 0.6f);  // the crusher, with the LFO at work
  for (uint32_t round = 0; round < 90; ++round) {
    if (round % 20 == 7) turn(152 + round % 17, 0.3f);
    for (uint32_t i = 0; i < 48; ++i)
      block.left[i] = block.right[i] = std::sin(0.05f * static_cast<float>(48 * round + i));
    other.left = block.left;
    other.right = block.right;
    plain->Process(&block.data);
    if (round % 3 == 0) {
      other.data.sampleCount = 0;
      interrupted->Process(&other.data);
      other.data.sampleCount = 48;
    }
    interrupted->Process(&other.data);
    ASSERT_EQ(other.outLeft, block.outLeft) << round;
    other.data.outputCount = round < 60 ? 0 : 2;
    unheard->Process(&other.data);
    other.data.outputCount = 2;
    if (round >= 60) {
      ASSERT_EQ(other.outRight, block.outRight) << round;
    }
  }
}

TEST(Process, AfterAPanicTheSoundIsBackWhateverCameInAndHoweverLongTheBlocksAre) {
  const auto level = [](float effect, uint32_t length, float nonsense) {
    LoadedProcessor p(44100.0f);
    p->SetParamValue(169, effect);
    for (const uint32_t still : {222u, 223u}) p->SetParamValue(still, 0.5f);
    p->SetParamValue(155, 1.0f);  // all wet
    HostBlock block(44);
    const auto run = [&](uint32_t blocks, float input) {
      double power = 0.0;
      for (uint32_t i = 0; i < blocks; ++i) {
        for (uint32_t k = 0; k < 44; ++k)
          block.left[k] = block.right[k] = input * std::sin(0.07f * static_cast<float>(i * 44 + k));
        p->Process(&block.data);
        for (uint32_t k = 0; k < block.data.sampleCount; ++k)
          power += double{block.outLeft[k]} * double{block.outLeft[k]};
      }
      return std::sqrt(power / (blocks * block.data.sampleCount));
    };
    run(2, nonsense);
    block.data.sampleCount = length;
    run(3, 0.3f);
    p->SetParamValue(216, 1.0f);
    p->SetParamValue(216, 0.0f);
    run(200, 0.3f);
    return run(200, 0.3f);
  };
  for (const float effect : {0.6f, 0.8f}) {
    for (const uint32_t length : {3u, 21u, 42u, 43u, 44u}) {
      const double clean = level(effect, length, 0.0f);
      for (const float nonsense : {std::numeric_limits<float>::quiet_NaN(), 3e38f}) {
        const double after = level(effect, length, nonsense);
        // Behind the last whole group stands what the effect made of the nonsense, within its own limits.
        EXPECT_NEAR(after, clean, length % 4 == 0 ? 0.01 : 4.0)
            << effect << ", " << length << ", " << nonsense;
      }
    }
  }
}

TEST(Life, InitAfterTerminateWorksAndAnEmptyBlockTouchesNothing) {
  LoadedProcessor p;
  EXPECT_TRUE(p->Terminate());
  EXPECT_TRUE(p->Terminate());
  p.Init(96000.0f);
  HostBlock block(96);
  block.data.sampleCount = 0;
  p->Process(&block.data);
  EXPECT_REAL_TIME(p->Process(&block.data));
  EXPECT_EQ(block.outLeft[0], -9.0f);
}

}  // namespace
}  // namespace Vantora::test
