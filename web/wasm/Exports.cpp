// What JavaScript sees: plain functions, one thread. Pointers are addresses in the module's memory, texts
// are UTF-8 with a length. A call that fails answers 0, false or -1 as noted, and its sentence stands in the
// reply.

#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "plugin/core/ShellCore.h"
#include "web/wasm/Instrument.h"
#include "web/wasm/Render.h"
#include "web/wasm/Reply.h"
#include "web/wasm/Table.h"

#define EXPORT(name) extern "C" __attribute__((export_name("prismel_" #name)))

namespace Vantora::web {

std::string& Reply() {
  static std::string reply;
  return reply;
}

namespace {

/// One position for every parameter: sounds cross the border here, in both directions.
plugin::Positions sound{};

const host::Parameter* Find(uint32_t index) {
  const host::ParameterTable& table = host::ParameterTable::Get();
  return index < table.Size() ? &table[index] : nullptr;
}

/// A whole sound out of a preset; what isn't part of one stays as it is.
void Take(const host::Preset& preset) {
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (parameter.IsInPresets()) sound[parameter.Index()] = preset.ValueOf(parameter);
  }
}

}  // namespace
}  // namespace Vantora::web

using namespace Vantora;
using web::Guarded, web::Instrument, web::Render, web::Reply;

// ---- Memory and texts

EXPORT(allocate) void* Allocate(size_t bytes) { return std::malloc(bytes); }
EXPORT(free) void Free(void* memory) { std::free(memory); }
EXPORT(reply) const char* ReplyText() { return Reply().data(); }
EXPORT(reply_size) size_t ReplySize() { return Reply().size(); }

/// Replies with the table as JSON. False: failed.
EXPORT(table) bool TableText() {
  return Guarded(false, [] {
    Reply() = web::TableJson();
    return true;
  });
}

// ---- Parameters

/// Replies with the value at a position as people write it.
EXPORT(text_of) bool TextOf(uint32_t index, float position) {
  return Guarded(false, [&] {
    const host::Parameter* parameter = web::Find(index);
    if (parameter != nullptr) Reply() = parameter->Text(position);
    return parameter != nullptr;
  });
}

/// Position of a value as people write it; -1: not one, and the reply says why.
EXPORT(read_text) float ReadText(uint32_t index, const char* text, size_t size) {
  return Guarded(-1.0f, [&] {
    const host::Parameter* parameter = web::Find(index);
    if (parameter == nullptr) throw host::HostError("There is no parameter " + std::to_string(index) + '.');
    return parameter->Parse(std::string_view(text, size));
  });
}

/// Value at a position in the parameter's unit, and back.
EXPORT(value_of) float ValueOf(uint32_t index, float position) {
  const host::Parameter* parameter = web::Find(index);
  return parameter != nullptr ? parameter->ToValue(position) : 0.0f;
}
EXPORT(position_of) float PositionOf(uint32_t index, float value) {
  const host::Parameter* parameter = web::Find(index);
  return parameter != nullptr ? parameter->ToNormalized(value) : 0.0f;
}

// ---- Whole sounds

/// One position for every parameter, to be read and written by JavaScript.
EXPORT(sound) float* SoundMemory() { return web::sound.data(); }

/// The sound becomes what a preset gives that names nothing.
EXPORT(default_sound) void DefaultSound() {
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    web::sound[parameter.Index()] = parameter.PreferredNormalized();
  }
}

/// A preset's text becomes the sound; replies {"name", "description", "warnings"}. False: the sound stays,
/// the reply says why.
EXPORT(read_preset) bool ReadPreset(const char* text, size_t size) {
  return Guarded(false, [&] {
    std::vector<std::string> warnings;
    const host::Preset preset = host::Preset::Parse(std::string_view(text, size), "this preset", &warnings);
    web::Take(preset);
    Reply() =
        nlohmann::json{{"name", preset.name}, {"description", preset.description}, {"warnings", warnings}}
            .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return true;
  });
}

/// Replies with the sound as a preset's text. `about` is {"name", "description"}.
EXPORT(write_preset) bool WritePreset(const char* about, size_t size) {
  return Guarded(false, [&] {
    const nlohmann::json names = nlohmann::json::parse(std::string_view(about, size));
    host::Preset preset;
    preset.name = names.value("name", "");
    preset.description = names.value("description", "");
    for (const host::Parameter& parameter : host::ParameterTable::Get()) {
      if (parameter.IsInPresets()) preset.values[parameter.Index()] = web::sound[parameter.Index()];
    }
    Reply() = preset.ToJson();
    return true;
  });
}

// ---- The effect, live

/// A new instrument that starts with the sound; null: failed. See `Instrument`.
EXPORT(open)
Instrument* Open(float rate, uint32_t longest, uint32_t inputs, uint32_t outputs, uint32_t seed,
                 bool isLive) {
  return Guarded<Instrument*>(
      nullptr, [&] { return new Instrument(rate, longest, inputs, outputs, seed, isLive, web::sound); });
}
EXPORT(close) void Close(Instrument* instrument) { delete instrument; }
EXPORT(input) float* Input(Instrument* instrument, uint32_t channel) { return instrument->Input(channel); }
EXPORT(output) float* Output(Instrument* instrument, uint32_t channel) { return instrument->Output(channel); }
EXPORT(process) void Process(Instrument* instrument, uint32_t frames) { instrument->Process(frames); }
EXPORT(latency) uint32_t Latency(Instrument* instrument) { return instrument->Stream().Latency(); }

/// A knob, for the next block.
EXPORT(write) void Write(Instrument* instrument, uint32_t index, float position) {
  if (web::Find(index) != nullptr) instrument->Values().Write(index, position);
}
/// The whole sound, for the next block.
EXPORT(write_sound) bool WriteSound(Instrument* instrument) {
  return Guarded(false, [&] {
    instrument->Values().WriteSound(web::sound);
    return true;
  });
}
/// What every parameter is set to becomes the sound.
EXPORT(read_sound) void ReadSound(Instrument* instrument) { web::sound = instrument->Values().All(); }

/// At `offset` of the coming call, at once or in a line from `from` on.
EXPORT(step) void Step(Instrument* instrument, uint32_t index, float position, uint32_t offset) {
  if (web::Find(index) != nullptr) instrument->Stream().StepTo(index, position, offset);
}
EXPORT(ramp)
void Ramp(Instrument* instrument, uint32_t index, float position, uint32_t from, uint32_t offset) {
  if (web::Find(index) != nullptr) instrument->Stream().RampTo(index, position, from, offset);
}

/// Tempo in quarter notes a minute, position in quarter notes; NaN: goes on as it was.
EXPORT(time) void Time(Instrument* instrument, double tempo, bool isPlaying, double position) {
  plugin::HostTime time;
  if (!std::isnan(tempo)) time.tempo = tempo;
  if (!std::isnan(position)) time.songPosition = position;
  time.isPlaying = isPlaying;
  instrument->Stream().SetTime(time);
}
EXPORT(panic) void Panic(Instrument* instrument) { instrument->Stream().Panic(); }
EXPORT(live) const float* Live(Instrument* instrument) { return instrument->Live(); }

// ---- The effect over a recording

/// A new render of the sound; null: failed. See `Render`.
EXPORT(render_open)
Render* RenderOpen(uint32_t rate, uint32_t longest, uint32_t inputs, uint32_t outputs, double tailSeconds,
                   double tempo) {
  return Guarded<Render*>(
      nullptr, [&] { return new Render(rate, longest, inputs, outputs, tailSeconds, tempo, web::sound); });
}
EXPORT(render_close) void RenderClose(Render* render) { delete render; }
EXPORT(render_input) float* RenderInput(Render* render, uint32_t channel) { return render->Input(channel); }
/// 1: done; -1: failed.
EXPORT(render_feed) int RenderFeed(Render* render, uint32_t frames) {
  return Guarded(-1, [&] {
    render->Feed(frames);
    return 1;
  });
}
EXPORT(render_end) void RenderEnd(Render* render) { render->EndInput(); }
/// 1: all has been handed over; 0: more to come; -1: failed.
EXPORT(render_tail) int RenderTail(Render* render, uint32_t frames) {
  return Guarded(-1, [&] { return render->RunTail(frames) ? 1 : 0; });
}
EXPORT(render_output) const float* RenderOutput(Render* render) { return render->Output().data(); }
EXPORT(render_frames) uint32_t RenderFrames(Render* render) { return render->OutputFrames(); }
