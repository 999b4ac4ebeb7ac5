// Opens the window over values without sound, for scripts and eyes: how fast it opens, how it looks.
//   window_probe [--seconds N] [--scale S] [--busy] [NAME=VALUE ...]
// Tells every change of a knob when it comes. Ends after N seconds, when the window is closed, or by SIGTERM.

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "plugin/window/Window.h"
#include "tests/plugin/window/FakeModel.h"

namespace {
volatile std::sig_atomic_t isWanted = 1;
}

int main(int count, char** arguments) {
  using namespace Vantora::plugin;
  using Clock = std::chrono::steady_clock;
  std::signal(SIGTERM, [](int) { isWanted = 0; });
  FakeModel model;
  double seconds = 5.0;
  bool isBusy = false;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    const size_t equals = word.find('=');
    if (word == "--seconds" && i + 1 < count) {
      seconds = std::atof(arguments[++i]);
    } else if (word == "--scale" && i + 1 < count) {
      model.scale = std::atof(arguments[++i]);
    } else if (word == "--busy") {
      isBusy = true;
    } else if (equals != std::string::npos) {
      model.SetTo(word.substr(0, equals).c_str(), word.substr(equals + 1).c_str());
    }
  }
  const auto begin = Clock::now();
  const auto since = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
  const std::unique_ptr<PluginWindow> window = OpenWindow(model, 0, 1.0);
  const double opened = since();
  window->Idle();
  const double drawn = since();
  std::printf("open %.1f ms, first frame %.1f ms\n", 1e3 * opened, 1e3 * drawn);
  std::fflush(stdout);
  std::vector<float> told = model.values;
  while (isWanted != 0 && since() < seconds && window->Idle()) {
    if (isBusy) model.SetLive(BusyView(since()));
    for (const auto& parameter : Vantora::host::ParameterTable::Get()) {
      const uint32_t index = parameter.Index();
      if (std::exchange(told[index], model.values[index]) == model.values[index]) continue;
      std::printf("%s=%s\n", parameter.UniqueName().c_str(), model.Text(index).c_str());
      std::fflush(stdout);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::printf("gestures %d, writes %d, outside %d\n", model.gestures, model.writes, model.writesOutside);
}
