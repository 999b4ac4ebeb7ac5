#include "python/module/Modules.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "offline/NoiseStream.h"
#include "offline/Plate.h"
#include "python/module/KnobRows.h"
#include "python/module/Stream.h"

namespace Vantora::python {
namespace {

namespace py = pybind11;

using Settings = std::vector<std::pair<std::string, std::string>>;

Audio MakeNoise(uint64_t frames, int rate, const std::string& color, int channels, uint32_t seed,
                double gainDb, const Settings& knobs) {
  offline::NoiseStream noise({color, seed, rate, channels, gainDb, knobs});
  Audio audio({static_cast<py::ssize_t>(channels), static_cast<py::ssize_t>(frames)});
  if (frames == 0) return audio;
  float* const to = audio.mutable_data();
  const uint64_t blockSize = noise.BlockSize();
  const float* const* block = nullptr;
  uint64_t used = blockSize;
  InSlices(frames, [&](uint64_t at, uint64_t count) {
    for (uint64_t done = 0; done < count;) {
      if (used == blockSize) {
        block = noise.Next();
        used = 0;
      }
      const uint64_t piece = std::min(count - done, blockSize - used);
      for (int c = 0; c < channels; ++c) {
        std::copy_n(block[c] + used, piece, to + static_cast<uint64_t>(c) * frames + at + done);
      }
      used += piece;
      done += piece;
    }
  });
  return audio;
}

}  // namespace

void AddPlateAndNoise(py::module_& module) {
  using PlateStream = Stream<offline::ModuleEffect>;
  AddStream<PlateStream>(module, "PlateStream")
      .def(py::init([](int rate, const Settings& knobs, int inputs, int outputs, std::optional<double> tail,
                       uint64_t expected) {
             return std::make_unique<PlateStream>(offline::MakePlate(knobs), rate, inputs, outputs,
                                                  MakeTail(tail), expected);
           }),
           py::arg("rate"), py::arg("knobs"), py::arg("inputs"), py::arg("outputs"), py::arg("tail"),
           py::arg("expected"));
  module.def("plate_knobs", [] { return DescribeKnobs(offline::PlateKnobs()); });
  module.def(
      "parse_plate",
      [](const std::string& name, const std::string& text) {
        const offline::ModuleKnobs knobs = offline::PlateKnobs();
        const size_t index = knobs.Find(name);
        return py::make_tuple(knobs.Name(index), knobs.Parse(index, text));
      },
      py::arg("name"), py::arg("text"));
  module.def("noise", &MakeNoise, py::arg("frames"), py::arg("rate"), py::arg("color"), py::arg("channels"),
             py::arg("seed"), py::arg("gain_db"), py::arg("knobs"));
}

}  // namespace Vantora::python
