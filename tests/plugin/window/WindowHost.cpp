// window_host clap|vst3|lv2 FILE: a built plug-in's window inside a window of a host's, here and on Windows.
// Sound goes through all the while. Told by lines on standard input, and answers each with one, some steps
// later, when the window has drawn what was asked for:
//   open           the window opens; its size
//   resize W H     the host makes it that large
//   close          it closes; the plug-in stays
//   again          the song is saved, the plug-in thrown away, a new one made and the song loaded
//   tell NAME      a knob's value as the host knows it
//   quit

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <queue>
#include <sstream>
#include <thread>

#include "host/ParameterTable.h"
#include "tests/plugin/ShellHost.h"
#include "tests/plugin/window/ParentWindow.h"

namespace {

using namespace Vantora;
using namespace Vantora::test;

constexpr int kStepsToSettle = 10;

/// Lines as they come, from a thread of its own: a window's loop waits for none.
class Lines {
 public:
  Lines() {
    std::thread([this] {
      for (std::string line; std::getline(std::cin, line);) Push(line);
      Push("quit");
    }).detach();
  }
  std::string Take() {
    const std::lock_guard lock(mutex);
    if (lines.empty()) return "";
    std::string line = lines.front();
    lines.pop();
    return line;
  }

 private:
  void Push(const std::string& line) {
    const std::lock_guard lock(mutex);
    lines.push(line);
  }
  std::mutex mutex;
  std::queue<std::string> lines;
};

class Session {
 public:
  Session(ShellOpener itsOpener, std::string itsFile) : open(std::move(itsOpener)), file(std::move(itsFile)) {
    Make("");
  }
  ~Session() {
    if (isOpen) shell->CloseWindow();
    shell->Deactivate();
  }

  /// A line's answer.
  std::string Do(const std::string& line) {
    std::istringstream words(line);
    std::string word, name;
    ShellHost::Extent size;
    words >> word;
    if (word == "open") {
      size = shell->OpenWindow(parent.Handle());
      isOpen = size.width > 0;
      if (!isOpen) return "it didn't open";
      parent.Resize(size.width, size.height);
      return "open " + std::to_string(size.width) + " " + std::to_string(size.height);
    }
    if (word == "resize" && isOpen && words >> size.width >> size.height) {
      parent.Resize(size.width, size.height);
      shell->ResizeWindow(size);
      return "resized";
    }
    if (word == "close" && isOpen) {
      shell->CloseWindow();
      isOpen = false;
      return "closed";
    }
    if (word == "again" && !isOpen) {
      const std::string song = shell->Save();
      shell->Deactivate();
      shell.reset();
      Make(song);
      return "again";
    }
    if (word == "tell" && words >> name) {
      const host::Parameter& parameter = host::ParameterTable::Get().At(name);
      return name + "=" + parameter.Text(shell->Position(parameter.Index()));
    }
    return "what is \"" + line + "\"?";
  }

  /// A fiftieth of a second.
  void Step() {
    for (auto& channel : sound) {
      for (float& sample : channel) {
        random = random * 1664525u + 1013904223u;
        sample = 0.1f * static_cast<float>(static_cast<int32_t>(random)) / 2147483648.0f;
      }
    }
    const float* in[2] = {sound[0].data(), sound[1].data()};
    float* out[2] = {sound[0].data(), sound[1].data()};
    shell->Process(in, out, static_cast<uint32_t>(sound[0].size()), {});
    parent.Idle();
    if (isOpen) shell->Tick();
  }

 private:
  void Make(const std::string& song) {
    shell = open(file);
    if (!song.empty() && !shell->Load(song)) throw std::runtime_error("the song isn't read");
    if (!shell->Activate()) throw std::runtime_error("it isn't activated");
    shell->onResize = [this](ShellHost::Extent size) { parent.Resize(size.width, size.height); };
  }

  ShellOpener open;
  std::string file;
  ParentWindow parent{"A host's window"};
  std::unique_ptr<ShellHost> shell;
  bool isOpen = false;
  std::array<std::array<float, 960>, 2> sound{};
  uint32_t random = 1;
};

}  // namespace

int main(int count, char** arguments) {
  const std::string format = count == 3 ? arguments[1] : "";
  ShellOpener opener;
  if (format == "clap") opener = OpenClap;
  if (format == "vst3") opener = OpenVst3;
#ifdef PRISMEL_LV2
  if (format == "lv2") opener = OpenLv2;
#endif
  if (!opener) {
    std::fprintf(stderr, "usage: window_host clap|vst3|lv2 FILE\n");
    return 2;
  }
  try {
    Lines lines;
    Session session(opener, arguments[2]);
    const auto pause = [&] {
      session.Step();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    for (;;) {
      for (std::string line = lines.Take(); !line.empty(); line = lines.Take()) {
        if (line == "quit") return 0;
        const std::string answer = session.Do(line);
        for (int i = 0; i < kStepsToSettle; ++i) pause();
        std::printf("%s\n", answer.c_str());
        std::fflush(stdout);
      }
      pause();
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "window_host: %s\n", error.what());
    return 1;
  }
}
