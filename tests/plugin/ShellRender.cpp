// shell_render clap|vst3 FILE OUT: one second of noise through every factory preset of the plug-in in FILE,
// as raw floats, the presets one after the other, left before right. What another system's build plays is
// compared with this one's; see scripts/windows.

#include <cstdio>
#include <cstring>
#include <exception>

#include "plugin/core/FactoryBank.h"
#include "tests/plugin/ShellHost.h"

namespace {

using namespace Vantora::test;

constexpr size_t kFrames = 48000;
constexpr uint32_t kBuffer = 256;

/// Bursts of noise out of integers: the same on every system, whatever its mathematics.
Audio Bursts() {
  Audio audio(2, std::vector<float>(kFrames));
  uint32_t random = 2463534242u;
  for (size_t i = 0; i < kFrames; ++i) {
    for (auto& channel : audio) {
      random = random * 1664525u + 1013904223u;
      const auto noise = static_cast<float>(static_cast<int32_t>(random) >> 8) / 8388608.0f;
      channel[i] = i % 12000 < 4800 ? 0.3f * noise : 0.0f;
    }
  }
  return audio;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isClap = argc == 4 && std::strcmp(argv[1], "clap") == 0;
  if (!isClap && !(argc == 4 && std::strcmp(argv[1], "vst3") == 0)) {
    std::fprintf(stderr, "usage: shell_render clap|vst3 FILE OUT\n");
    return 2;
  }
  try {
    std::FILE* out = std::fopen(argv[3], "wb");
    if (out == nullptr) throw std::runtime_error(std::string("can't write ") + argv[3]);
    const Audio input = Bursts();
    for (const auto& preset : Vantora::plugin::FactoryPresets()) {
      const auto shell = isClap ? OpenClap(argv[2]) : OpenVst3(argv[2]);
      if (!shell->Load(preset.ToJson()) || !shell->Activate())
        throw std::runtime_error(preset.name + " isn't played");
      Audio output(2, std::vector<float>(kFrames));
      for (size_t done = 0; done < kFrames; done += kBuffer) {
        const float* from[2] = {input[0].data() + done, input[1].data() + done};
        float* to[2] = {output[0].data() + done, output[1].data() + done};
        shell->Process(from, to, static_cast<uint32_t>(std::min<size_t>(kBuffer, kFrames - done)), {});
      }
      shell->Deactivate();
      for (const auto& channel : output) {
        if (std::fwrite(channel.data(), sizeof(float), kFrames, out) != kFrames)
          throw std::runtime_error("a short write");
      }
      std::printf("%s: %s\n", argv[1], preset.name.c_str());
    }
    return std::fclose(out) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "shell_render: %s\n", error.what());
    return 1;
  }
}
