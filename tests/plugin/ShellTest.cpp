// What every format must do alike, asked of the built files by the smallest host of each.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "host/ParameterTable.h"
#include "plugin/core/HostParameters.h"
#include "tests/plugin/ShellHost.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {

Audio ShellHost::Render(const Audio& input, const std::vector<uint32_t>& pieces, bool isInPlace,
                        const std::vector<ShellEvent>& events) {
  const size_t frames = input[0].size();
  Audio output(2, std::vector<float>(frames));
  std::vector<ShellEvent> now;
  size_t sent = 0;
  for (size_t done = 0, piece = 0; done < frames; ++piece) {
    uint64_t end = std::min<size_t>(done + pieces[piece % pieces.size()], frames);
    now.clear();
    for (; sent < events.size() && events[sent].at < end; ++sent) {
      if (!HasOffsets() && events[sent].at > done) {
        end = events[sent].at;  // such a host cuts its buffers where a value changes
        break;
      }
      now.push_back({events[sent].at - done, events[sent].index, events[sent].position});
    }
    const float* in[2];
    float* out[2];
    for (size_t c = 0; c < 2; ++c) {
      out[c] = output[c].data() + done;
      if (isInPlace) std::copy(input[c].data() + done, input[c].data() + end, out[c]);
      in[c] = isInPlace ? out[c] : input[c].data() + done;
    }
    const auto found = Watch([&] { Process(in, out, static_cast<uint32_t>(end - done), now); });
    if (!found.None()) violations.push_back(found.Text());
    done = end;
  }
  return output;
}

namespace {

constexpr size_t kBlock = 48;  // samples at 48 kHz

struct Format {
  const char* name;
  const char* file;
  std::unique_ptr<ShellHost> (*open)(const std::string&);
};
void PrintTo(const Format& format, std::ostream* out) { *out << format.name; }

class Shell : public testing::TestWithParam<Format> {
 protected:
  static std::unique_ptr<ShellHost> Open() { return GetParam().open(GetParam().file); }
};

std::vector<uint32_t> RandomPieces(uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint32_t> pieces(200);
  for (uint32_t& piece : pieces) piece = random() % 1500;
  return pieces;
}

TEST_P(Shell, PresetsAreTheCommandsRenderInAnyBuffersAndInPlace) {
  const Audio input = Plucks(12000);
  uint32_t seed = 1;
  for (const host::Preset& preset : plugin::FactoryPresets()) {
    const auto shell = Open();
    ASSERT_TRUE(shell->Load(preset.ToJson())) << preset.name;
    ASSERT_TRUE(shell->Activate());
    const Audio output = shell->Render(input, RandomPieces(seed), seed % 2 == 0);
    // A preset's text has fewer digits than a position: what it became is the reference.
    EXPECT_EQ(
        Differences(RenderReference(host::Preset::Parse(preset.ToJson(), "test"), input), output, kBlock), 0u)
        << preset.name << ", pieces of seed " << seed;
    EXPECT_THAT(shell->violations, testing::IsEmpty()) << preset.name;
    EXPECT_EQ(shell->Latency(), kBlock);
    ++seed;
  }
}

TEST_P(Shell, StepsAreHeardOnTheBlockGridWhateverTheBuffer) {
  const host::Preset& preset = FactoryPreset("Formant Fan");
  const Audio input = Plucks(24000);
  const uint32_t cutoff = host::ParameterTable::Get().At("Prismel_BandpassCutoff").Index();
  const std::vector<ShellEvent> events{
      {4000, cutoff, 0.25f}, {5376, cutoff, 0.5f}, {5500, cutoff, 0.75f}, {11111, cutoff, 0.125f}};
  std::vector<host::ParameterWrite> writes;
  for (const ShellEvent& event : events) {
    writes.push_back({event.index, Open()->AsPassed(event.index, event.position), event.at});
  }
  const Audio reference = RenderReference(preset, input, 2, 48000.0f, writes);
  for (const std::vector<uint32_t>& pieces : {std::vector<uint32_t>{1024}, {64}, RandomPieces(7)}) {
    const auto shell = Open();
    ASSERT_TRUE(shell->Load(preset.ToJson()));
    ASSERT_TRUE(shell->Activate());
    EXPECT_EQ(Differences(reference, shell->Render(input, pieces, false, events), kBlock), 0u)
        << pieces.front();
    EXPECT_THAT(shell->violations, testing::IsEmpty());
  }
}

TEST_P(Shell, TheHostsBypassLeavesTheDrySoundAndComesBack) {
  const uint32_t bypass = host::ParameterTable::Get().At("Bypass").Index();
  const size_t on = 4800, off = 19200, settled = 4800;
  const Audio input = Plucks(24000);
  const auto shell = Open();
  ASSERT_TRUE(shell->Load(FactoryPreset("Formant Fan").ToJson()));
  ASSERT_TRUE(shell->Activate());
  const Audio output = shell->Render(input, {96}, false, {{on, bypass, 1.0f}, {off, bypass, 0.0f}});
  const auto countOfDry = [&](size_t begin, size_t end) {
    size_t count = 0;
    for (size_t i = begin; i < end; ++i) count += output[0][i] == input[0][i - kBlock] ? 1 : 0;
    return count;
  };
  EXPECT_LT(countOfDry(kBlock, on), on / 10) << "the effect is heard";
  EXPECT_EQ(countOfDry(on + settled, off), off - on - settled) << "nothing but the dry sound";
  EXPECT_LT(countOfDry(off + kBlock, input[0].size()), (input[0].size() - off) / 10) << "heard again";
}

TEST_P(Shell, AHostsThreadsWorkSideBySide) {
  constexpr int kCalls = 800;
  const auto shell = Open();
  const std::vector<std::string> songs{shell->Save(), FactoryPreset("Major Sky").ToJson(),
                                       FactoryPreset("Wide Copies").ToJson()};
  ASSERT_TRUE(shell->Activate());
  std::atomic<bool> isDone{false};
  std::vector<std::string> violations;
  std::thread audio([&] {
    std::mt19937 random(3);
    const Audio input = Plucks(1500);
    Audio output(2, std::vector<float>(1500));
    const float* in[2] = {input[0].data(), input[1].data()};
    float* out[2] = {output[0].data(), output[1].data()};
    for (int call = 0; call < kCalls; ++call) {
      const uint32_t frames = random() % 300;
      std::vector<ShellEvent> events;
      for (uint32_t i = 0; frames > 0 && i < random() % 4; ++i) {
        const plugin::HostParameters& list = plugin::HostParameters::Get();
        events.push_back({random() % frames, list.IndexAt(random() % list.WritableCount()),
                          static_cast<float>(random() % 1001) / 1000.0f});
      }
      std::sort(events.begin(), events.end(), [](auto& a, auto& b) { return a.at < b.at; });
      const auto found = Watch([&] { shell->Process(in, out, frames, events); });
      if (!found.None()) violations.push_back(found.Text());
      for (const auto& channel : output) {
        for (uint32_t i = 0; i < frames; ++i) {
          if (!std::isfinite(channel[i])) violations.push_back("not a number");
        }
      }
    }
    isDone = true;
  });
  std::mt19937 random(4);
  int rounds = 0;
  for (; !isDone || rounds < 100; ++rounds) {
    shell->Poke(static_cast<uint32_t>(random()));
    if (rounds % 8 == 0) {
      EXPECT_TRUE(shell->Load(songs[random() % songs.size()]));
    }
    if (rounds % 8 == 4) {
      EXPECT_FALSE(shell->Save().empty());
    }
  }
  audio.join();
  EXPECT_THAT(violations, testing::IsEmpty());
  EXPECT_GE(rounds, 100);
  // And afterwards it is as new.
  shell->Deactivate();
  const auto calm = Open();
  ASSERT_TRUE(calm->Load(songs[1]));
  ASSERT_TRUE(calm->Activate());
  const Audio input = Plucks(9600);
  EXPECT_EQ(Differences(RenderReference(host::Preset::Parse(songs[1], "test"), input),
                        calm->Render(input, {256}), kBlock),
            0u);
}

TEST_P(Shell, LoadsAndUnloadsTwentyTimesWithoutARest) {
  const std::string file = GetParam().file;
  const auto mappings = [&] {
    std::ifstream maps("/proc/self/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);) count += line.ends_with(file) ? 1 : 0;
    return count;
  };
  for (int i = 0; i < 20; ++i) {
    {
      const auto shell = Open();
      EXPECT_GT(mappings(), 0u);
      for (int turn = 0; turn < 3; ++turn) {
        ASSERT_TRUE(shell->Activate());
        shell->Render(Audio(2, std::vector<float>(500)), {64});
        shell->Deactivate();
      }
    }
    ASSERT_EQ(mappings(), 0u) << "load " << i;
  }
}

std::vector<Format> Formats() {
  std::vector<Format> formats;
#ifdef PRISMEL_CLAP
  formats.push_back({"Clap", PRISMEL_CLAP, OpenClap});
  formats.push_back({"Vst3", PRISMEL_VST3, OpenVst3});
#endif
#ifdef PRISMEL_LV2
  formats.push_back({"Lv2", PRISMEL_LV2, OpenLv2});
#endif
  return formats;
}
INSTANTIATE_TEST_SUITE_P(Formats, Shell, testing::ValuesIn(Formats()),
                         [](const auto& format) { return std::string(format.param.name); });

}  // namespace
}  // namespace Vantora::test
