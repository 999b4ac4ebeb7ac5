#pragma once

#include <pybind11/pybind11.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "offline/StreamRender.h"
#include "python/module/Planes.h"
#include "python/module/Turn.h"

namespace Vantora::python {

/// Stream: a recording's way through an effect, fed in pieces; the same bytes for any pieces, and the same as
/// the `prismel` command writes.
///
/// Threads  any, one at a time; a second one gets an error. The interpreter's lock is let go while the effect
/// works.
/// Fork     a child may go on with its copy, unless the effect has threads of its own: then it gets an error.
template <typename AnyEffect>
class Stream {
 public:
  /// `effect` is started for 1 or 2 channels at `rate` Hz. `tail` as in offline::TailLength. `expected` is
  /// the number of frames that will be fed if that is known, else 0.
  Stream(std::unique_ptr<AnyEffect> itsEffect, int rate, int inputChannels, int outputChannels,
         const offline::TailLength& tail, uint64_t expected, bool hasThreads = false)
      : effect(std::move(itsEffect)),
        inputs(inputChannels),
        hasOwnThreads(hasThreads),
        process(getpid()),
        planes(outputChannels, Expected(expected, tail, rate)),
        render(std::in_place, *effect, tail, rate, inputChannels, outputChannels,
               [this](const float* samples, uint64_t frames) { planes.Take(samples, frames); }) {}

  ~Stream() {
    // A child of a fork has no such threads to end, and would wait for them for ever.
    if (hasOwnThreads && process != getpid()) static_cast<void>(effect.release());
  }

  /// Takes (channels, frames); gives back what is finished, (output channels, fewer or more frames).
  Audio Feed(const Audio& audio) {
    const Turn turn(busy);
    Run(audio);
    return planes.Release();
  }

  /// The rest of what was fed, and the tail. Nothing may follow.
  Audio Finish() {
    const Turn turn(busy);
    RunOut();
    return planes.Release();
  }

  /// `Feed` and `Finish` in one.
  Audio Whole(const Audio& audio) {
    const Turn turn(busy);
    Run(audio);
    RunOut();
    return planes.Release();
  }

  uint64_t NonFiniteCount() const { return effect->NonFiniteCount(); }
  bool WasTailCut() const { return render->WasTailCut(); }
  AnyEffect& Effect() { return *effect; }
  std::atomic_flag& Busy() { return busy; }

 private:
  static uint64_t Expected(uint64_t frames, const offline::TailLength& tail, int rate) {
    if (frames == 0 || tail.automatic) return frames;
    return frames + static_cast<uint64_t>(std::llround(tail.seconds * rate));
  }

  void Begin() {
    if (hasOwnThreads && process != getpid()) {
      throw host::HostError(
          "This stream's threads stayed behind at the fork; begin a stream in each process.");
    }
    if (isOver) throw host::HostError("This stream is finished or was interrupted; begin a new one.");
    isOver = true;  // until the work has come to its end
  }

  void Run(const Audio& audio) {
    if (audio.ndim() != 2 || audio.shape(0) != inputs) {
      throw host::HostError("This stream was begun for " + std::to_string(inputs) + " channel(s), not for " +
                            std::to_string(audio.ndim() == 2 ? audio.shape(0) : 0) + ".");
    }
    Begin();
    const auto frames = static_cast<uint64_t>(audio.shape(1));
    if (frames > 0) {
      const std::array<const float*, 2> rows = Rows(audio);
      InSlices(frames, [&](uint64_t at, uint64_t count) {
        const std::array<const float*, 2> piece{rows[0] + at, rows[1] != nullptr ? rows[1] + at : nullptr};
        render->Feed(piece.data(), count);
      });
    }
    isOver = false;
  }

  void RunOut() {
    Begin();
    render->EndInput();
    bool done = false;
    while (!done) {
      InSlices(1 << 20, [&](uint64_t, uint64_t count) {
        if (!done) done = render->RunTail(count);
      });
    }
  }

  std::unique_ptr<AnyEffect> effect;
  pybind11::ssize_t inputs;
  bool hasOwnThreads;
  pid_t process;
  Planes planes;
  std::optional<offline::StreamRender> render;
  bool isOver = false;
  std::atomic_flag busy = ATOMIC_FLAG_INIT;
};

/// "auto" as nothing, else seconds.
inline offline::TailLength MakeTail(std::optional<double> seconds) {
  return seconds ? offline::TailLength{false, *seconds} : offline::TailLength{};
}

/// Adds a class of this stream to a module; the module adds its constructor.
template <typename AnyStream>
pybind11::class_<AnyStream> AddStream(pybind11::module_& module, const char* name) {
  return pybind11::class_<AnyStream>(module, name, pybind11::module_local())
      .def("feed", &AnyStream::Feed, pybind11::arg("audio").noconvert())
      .def("finish", &AnyStream::Finish)
      .def("whole", &AnyStream::Whole, pybind11::arg("audio").noconvert())
      .def_property_readonly("non_finite", &AnyStream::NonFiniteCount)
      .def_property_readonly("tail_was_cut", &AnyStream::WasTailCut);
}

}  // namespace Vantora::python
