#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/transport.h>

#include <array>
#include <atomic>
#include <cmath>

#include "host/HostError.h"
#include "plugin/standalone/AudioDriver.h"

namespace Vantora::plugin {
namespace {

constexpr size_t kMostControllers = 256;  // of one block; more than a MIDI cable carries in it

/// A connection to the server, closed with its owner.
using Client = std::unique_ptr<jack_client_t, int (*)(jack_client_t*)>;

class JackDriver final : public AudioDriver {
 public:
  JackDriver(Client theClient, bool connects)
      : owned(std::move(theClient)), client(owned.get()), isConnecting(connects) {
    const auto port = [&](const char* name, const char* type, unsigned long flags) {
      jack_port_t* made = jack_port_register(client, name, type, flags, 0);
      if (made == nullptr) throw host::HostError(std::string("JACK refuses the port \"") + name + "\".");
      return made;
    };
    inputs = {port("in_left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput),
              port("in_right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput)};
    outputs = {port("out_left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput),
               port("out_right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput)};
    midi = port("midi_in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
  }
  ~JackDriver() override { owned.reset(); }  // ends the callbacks before what they read

  std::string Name() const override { return "JACK"; }
  double SampleRate() const override { return jack_get_sample_rate(client); }
  uint32_t BufferSize() const override { return jack_get_buffer_size(client); }
  bool IsAlive() const override { return alive.load(std::memory_order_relaxed); }

  void Start(Callback theCallback, uint32_t theLatency) override {
    callback = std::move(theCallback);
    latency = theLatency;
    jack_set_process_callback(
        client,
        [](jack_nframes_t frames, void* self) { return static_cast<JackDriver*>(self)->Process(frames); },
        this);
    jack_set_latency_callback(
        client,
        [](jack_latency_callback_mode_t mode, void* self) {
          static_cast<JackDriver*>(self)->TellLatency(mode);
        },
        this);
    jack_on_shutdown(
        client,
        [](void* self) { static_cast<JackDriver*>(self)->alive.store(false, std::memory_order_relaxed); },
        this);
    if (jack_activate(client) != 0) throw host::HostError("JACK doesn't let this program take part.");
    if (isConnecting) Connect();
  }

 private:
  int Process(jack_nframes_t frames) {
    for (size_t c = 0; c < 2; ++c) {
      inputPlaces[c] = static_cast<const float*>(jack_port_get_buffer(inputs[c], frames));
      outputPlaces[c] = static_cast<float*>(jack_port_get_buffer(outputs[c], frames));
    }
    size_t count = 0;
    void* events = jack_port_get_buffer(midi, frames);
    const uint32_t all = jack_midi_get_event_count(events);
    for (uint32_t i = 0; i < all && count < controllers.size(); ++i) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, events, i) != 0 || event.size != 3 || (event.buffer[0] & 0xf0) != 0xb0)
        continue;
      controllers[count++] = {event.time, static_cast<uint8_t>(event.buffer[0] & 0x0f),
                              static_cast<uint8_t>(event.buffer[1] & 0x7f),
                              static_cast<uint8_t>(event.buffer[2] & 0x7f)};
    }
    callback({inputPlaces.data(), outputPlaces.data(), frames, Time(), {controllers.data(), count}});
    return 0;
  }

  /// The transport's place. Without a master that counts bars it is seconds; the tempo is then the last
  /// known one.
  HostTime Time() const {
    jack_position_t position;
    const jack_transport_state_t state = jack_transport_query(client, &position);
    HostTime time;
    time.isPlaying = state == JackTransportRolling;
    if ((position.valid & JackPositionBBT) == 0 || !(position.beat_type > 0.0f) ||
        !(position.ticks_per_beat > 0.0)) {
      return time;
    }
    const double beats = (position.bar - 1) * static_cast<double>(position.beats_per_bar) +
                         (position.beat - 1) + position.tick / position.ticks_per_beat;
    const double quarters = 4.0 / static_cast<double>(position.beat_type);
    time.tempo = position.beats_per_minute * quarters;
    time.songPosition = beats * quarters;
    return time;
  }

  void TellLatency(jack_latency_callback_mode_t mode) {
    const auto& from = mode == JackCaptureLatency ? inputs : outputs;
    const auto& to = mode == JackCaptureLatency ? outputs : inputs;
    for (size_t c = 0; c < 2; ++c) {
      jack_latency_range_t range;
      jack_port_get_latency_range(from[c], mode, &range);
      range.min += latency;
      range.max += latency;
      jack_port_set_latency_range(to[c], mode, &range);
    }
  }

  void Connect() {
    const auto connect = [&](unsigned long flags, const auto& own, bool isOutput) {
      const char** ports =
          jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | flags);
      if (ports == nullptr) return;
      for (size_t c = 0; c < 2 && ports[c] != nullptr; ++c) {
        const char* name = jack_port_name(own[c]);
        isOutput ? jack_connect(client, name, ports[c]) : jack_connect(client, ports[c], name);
      }
      jack_free(ports);
    };
    connect(JackPortIsOutput, inputs, false);
    connect(JackPortIsInput, outputs, true);
  }

  Client owned;
  jack_client_t* client;
  bool isConnecting;
  std::array<jack_port_t*, 2> inputs{}, outputs{};
  jack_port_t* midi = nullptr;
  Callback callback;
  uint32_t latency = 0;
  std::atomic<bool> alive{true};
  // Audio thread's.
  std::array<const float*, 2> inputPlaces{};
  std::array<float*, 2> outputPlaces{};
  std::array<ControllerEvent, kMostControllers> controllers{};
};

}  // namespace

std::unique_ptr<AudioDriver> OpenJack(bool isConnecting) {
  // A missing server is no news here: the next driver is tried.
  jack_set_error_function([](const char*) {});
  jack_set_info_function([](const char*) {});
  Client client(jack_client_open("PRISMEL", JackNoStartServer, nullptr), jack_client_close);
  return client != nullptr ? std::make_unique<JackDriver>(std::move(client), isConnecting) : nullptr;
}

}  // namespace Vantora::plugin
