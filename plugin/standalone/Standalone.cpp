// prismel-standalone: the effect with its window, for itself.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "host/HostError.h"
#include "plugin/standalone/Instrument.h"
#include "plugin/window/Window.h"

namespace Vantora::plugin {
namespace {

std::atomic<bool> isInterrupted{false};

struct Options {
  std::string driver = "auto", file, preset, sound;
  uint32_t rate = 48000, frames = 256;
  double size = 0.0, seconds = 0.0;
  bool isUnconnected = false, isWindowless = false, forgets = false;
};

/// $XDG_CONFIG_HOME/prismel, else ~/.config/prismel.
std::filesystem::path ConfigFolder() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && *config == '/') return std::filesystem::path(config) / "prismel";
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr ? home : ".") / ".config" / "prismel";
}

std::unique_ptr<AudioDriver> OpenDriver(const Options& options) {
  const bool isAny = options.driver == "auto";
  if (isAny || options.driver == "jack") {
    if (auto driver = OpenJack(!options.isUnconnected)) return driver;
    if (!isAny) throw host::HostError("No JACK server runs here; start one, or leave --driver out.");
  }
  if (isAny || options.driver == "card") {
    if (auto driver = OpenSoundCard(options.rate, options.frames)) return driver;
    if (!isAny) throw host::HostError("No sound card was found, neither by PulseAudio nor by ALSA.");
  }
  return OpenSilence(options.rate);
}

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The sound of the last time, kept beside the learnt controllers.
void KeepSound(const std::filesystem::path& path, const ShellCore& core) {
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  const std::filesystem::path beside = path.string() + ".new";
  std::ofstream file(beside);
  file << core.SaveState();
  file.close();
  if (file) std::filesystem::rename(beside, path, error);
  if (!file || error)
    fmt::print(stderr, "prismel-standalone: the sound can't be kept in \"{}\".\n", path.string());
}

void Run(const Options& options) {
  const std::filesystem::path config = ConfigFolder(), soundFile = config / "standalone.json";
  Instrument instrument(OpenDriver(options), config / "midi.json");
  ShellCore& core = instrument.Core();
  if (!options.preset.empty()) {
    if (const std::string refusal = core.LoadPresetByName(options.preset); !refusal.empty()) {
      throw host::HostError(refusal);
    }
  } else if (const std::string kept = options.forgets ? "" : ReadText(soundFile); !kept.empty()) {
    if (const std::string refusal = core.LoadState(kept); !refusal.empty()) {
      fmt::print(stderr, "prismel-standalone: the last sound isn't taken up: {}\n", refusal);
    }
  }
  if (options.size > 0.0) core.SetWindowScale(options.size);
  if (!options.file.empty()) {
    if (const std::string refusal = instrument.OpenFile(options.file); !refusal.empty()) {
      throw host::HostError(refusal);
    }
  }
  instrument.Run();
  fmt::print("prismel-standalone: {}, blocks of {}\n", instrument.DriverText(),
             instrument.Driver().BufferSize());
  std::fflush(stdout);

  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  const std::unique_ptr<PluginWindow> window =
      options.isWindowless ? nullptr : OpenWindow(core, 0, 1.0, &instrument);
  const auto isOver = [&] {
    return isInterrupted.load(std::memory_order_relaxed) ||
           (options.seconds > 0.0 &&
            std::chrono::duration<double>(Clock::now() - begin).count() > options.seconds);
  };
  while (!isOver() && (window == nullptr || window->Idle())) {
    if (const std::string news = instrument.Tick(); !news.empty())
      fmt::print(stderr, "prismel-standalone: {}\n", news);
    std::this_thread::sleep_for(std::chrono::milliseconds(8));
  }
  if (!options.forgets) KeepSound(soundFile, core);
  fmt::print("prismel-standalone: a block took at most {:.1f} % of its time\n",
             100.0 * instrument.TakeLoad());
}

}  // namespace
}  // namespace Vantora::plugin

int main(int count, char** arguments) {
  using namespace Vantora::plugin;
  Options options;
  CLI::App app(
      "Qfx PRISMEL for itself, with its window: between the sound card's input, or a file, and its output.",
      "prismel-standalone");
  app.add_option("file", options.file, "a sound file to play in a loop in place of the input");
  app.add_option("--preset", options.preset,
                 "name of a preset to begin with; otherwise the sound of the last time");
  app.add_option("--driver", options.driver, "what sounds: the first that is there, or one of them")
      ->check(CLI::IsMember({"auto", "jack", "card", "none"}))
      ->capture_default_str();
  app.add_option("--rate", options.rate, "Hz, without JACK")
      ->check(CLI::Range(8000, 384000))
      ->capture_default_str();
  app.add_option("--frames", options.frames, "samples of a block, without JACK")
      ->check(CLI::Range(16, 8192))
      ->capture_default_str();
  app.add_option("--size", options.size, "of the window, 1 is 980 x 620")->check(CLI::Range(0.75, 2.0));
  app.add_option("--seconds", options.seconds, "end after so long")->check(CLI::PositiveNumber);
  app.add_flag("--unconnected", options.isUnconnected, "connect no JACK ports");
  app.add_flag("--no-window", options.isWindowless, "sound only, until interrupted");
  app.add_flag("--forget", options.forgets, "neither take up the sound of the last time nor keep this one");
  CLI11_PARSE(app, count, arguments);
  for (const int signal : {SIGINT, SIGTERM}) {
    std::signal(signal, [](int) { isInterrupted.store(true, std::memory_order_relaxed); });
  }
  try {
    Run(options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "prismel-standalone: {}\n", error.what());
    return 1;
  }
  return 0;
}
