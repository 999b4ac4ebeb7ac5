// The JACK driver against a server of its own without a sound card. Left out, aloud, where no server can be
// started.

#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/transport.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "plugin/standalone/AudioDriver.h"

namespace Vantora::plugin {
namespace {

/// Two minutes of looks: for a test that would hang, as how long another program takes says nothing.
bool WaitFor(const std::function<bool()>& condition) {
  for (int look = 0; look < 6000; ++look) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

/// A server with the dummy backend under a name of its own.
class JackTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string name = "prismel" + std::to_string(getpid());
    setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
    server = fork();
    if (server == 0) {
      if (std::freopen("/dev/null", "w", stdout) == nullptr ||
          std::freopen("/dev/null", "w", stderr) == nullptr)
        _exit(1);
      execlp("jackd", "jackd", "-r", "-n", name.c_str(), "-d", "dummy", "-r", "48000", "-p", "256", nullptr);
      _exit(127);
    }
    if (!WaitFor([&] {
          return (driver = OpenJack(true)) != nullptr || waitpid(server, nullptr, WNOHANG) == server;
        }) ||
        driver == nullptr) {
      GTEST_SKIP() << "jackd can't be started here: the JACK driver isn't tested (scripts/setup --plugins)";
    }
  }
  void TearDown() override {
    driver.reset();
    if (helper != nullptr) jack_client_close(helper);
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
  }

  pid_t server = -1;
  std::unique_ptr<AudioDriver> driver;
  jack_client_t* helper = nullptr;
};

TEST_F(JackTest, TakesPartWithPortsControllersTransportAndLatency) {
  EXPECT_EQ(driver->Name(), "JACK");
  EXPECT_EQ(driver->SampleRate(), 48000.0);
  std::atomic<int> controllerValue{-1};
  std::atomic<double> tempo{0.0}, position{-1.0};
  std::atomic<bool> isPlaying{false};
  driver->Start(
      [&](const AudioBlock& block) {
        for (uint32_t i = 0; i < block.frames; ++i) block.outputs[0][i] = block.outputs[1][i] = 0.25f;
        for (const ControllerEvent& event : block.controllers) {
          if (event.channel == 2 && event.controller == 74) controllerValue = event.value;
        }
        isPlaying = block.time.isPlaying.value_or(false);
        if (block.time.tempo) tempo = *block.time.tempo, position = block.time.songPosition.value_or(-2.0);
      },
      48);

  // Another program that hears it, sends a controller and counts the bars: 6/8 at 90 eighths a minute.
  helper = jack_client_open("helper", JackNoStartServer, nullptr);
  ASSERT_NE(helper, nullptr);
  struct Ports {
    jack_port_t *in, *midi;
    std::atomic<float> heard{0.0f};
  } ports;
  ports.in = jack_port_register(helper, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  ports.midi = jack_port_register(helper, "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
  jack_set_process_callback(
      helper,
      [](jack_nframes_t frames, void* self) {
        auto& mine = *static_cast<Ports*>(self);
        mine.heard = static_cast<const float*>(jack_port_get_buffer(mine.in, frames))[0];
        void* out = jack_port_get_buffer(mine.midi, frames);
        jack_midi_clear_buffer(out);
        const jack_midi_data_t event[3] = {0xb2, 74, 99};
        jack_midi_event_write(out, 7, event, 3);
        return 0;
      },
      &ports);
  jack_set_timebase_callback(
      helper, 0,
      [](jack_transport_state_t, jack_nframes_t, jack_position_t* place, int, void*) {
        place->valid = JackPositionBBT;
        place->bar = 3, place->beat = 2, place->tick = 960;
        place->ticks_per_beat = 1920.0;
        place->beats_per_bar = 6.0f, place->beat_type = 8.0f;
        place->beats_per_minute = 90.0;
      },
      nullptr);
  ASSERT_EQ(jack_activate(helper), 0);
  ASSERT_EQ(jack_connect(helper, "PRISMEL:out_left", "helper:in"), 0);
  ASSERT_EQ(jack_connect(helper, "helper:midi", "PRISMEL:midi_in"), 0);
  jack_transport_start(helper);

  EXPECT_TRUE(WaitFor([&] { return ports.heard == 0.25f; }));
  EXPECT_TRUE(WaitFor([&] { return controllerValue == 99; }));
  EXPECT_TRUE(WaitFor([&] { return isPlaying.load() && tempo.load() != 0.0; }));
  // In quarters: 90 eighths are 45 quarters a minute; two bars of six and one and a half eighths are 6.75
  // quarters.
  EXPECT_DOUBLE_EQ(tempo, 45.0);
  EXPECT_DOUBLE_EQ(position, 6.75);

  // The other programs learn that what comes out is a block later.
  jack_port_t* out = jack_port_by_name(helper, "PRISMEL:out_left");
  jack_port_t* in = jack_port_by_name(helper, "PRISMEL:in_left");
  EXPECT_TRUE(WaitFor([&] {
    jack_latency_range_t before, behind;
    jack_port_get_latency_range(in, JackCaptureLatency, &before);
    jack_port_get_latency_range(out, JackCaptureLatency, &behind);
    return behind.min == before.min + 48;
  }));
  // To the first sound card's ports.
  EXPECT_NE(jack_port_connected_to(in, "system:capture_1"), 0);

  EXPECT_TRUE(driver->IsAlive());
  kill(server, SIGTERM);
  EXPECT_TRUE(WaitFor([&] { return !driver->IsAlive(); }));
}

}  // namespace
}  // namespace Vantora::plugin
