#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "python/module/Errors.h"
#include "python/module/Live.h"
#include "python/module/Modules.h"
#include "python/module/Parameters.h"
#include "python/module/Stream.h"

namespace Vantora::python {
namespace {

namespace py = pybind11;

py::tuple Levels(const host::Meters& meters) {
  return py::make_tuple(meters.InputDb(), meters.OutputDb(), meters.Prismelion(), meters.Primary());
}

void AddEngine(py::module_& module) {
  py::class_<Sound>(module, "Sound")
      .def(py::init<int, uint32_t, std::map<uint32_t, float>, std::vector<std::pair<double, double>>,
                    Sound::AutomationTracks>(),
           py::arg("rate"), py::arg("seed"), py::arg("values"), py::arg("tempo"), py::arg("automation"));

  using SoundStream = Stream<SoundEffect>;
  AddStream<SoundStream>(module, "Stream")
      .def(py::init([](const Sound& sound, int inputs, int outputs, std::optional<double> tail,
                       uint64_t expected) {
             return std::make_unique<SoundStream>(std::make_unique<SoundEffect>(sound), sound.rate, inputs,
                                                  outputs, MakeTail(tail), expected);
           }),
           py::arg("sound"), py::arg("inputs"), py::arg("outputs"), py::arg("tail"), py::arg("expected"))
      .def(
          "set",
          [](SoundStream& stream, uint32_t index, float position) {
            const Turn turn(stream.Busy());
            host::BlockCollector& blocks = stream.Effect().Stream();
            if (!blocks.Queue(index, position, blocks.NextSample())) {
              throw host::HostError("Too many changes wait for the next block; feed some audio in between.");
            }
          },
          py::arg("index"), py::arg("position"))
      .def_property_readonly("levels",
                             [](SoundStream& stream) { return Levels(stream.Effect().Stream().Levels()); });

  py::class_<Live>(module, "Live")
      .def(py::init<const Sound&, int>(), py::arg("sound"), py::arg("channels"))
      .def("process", &Live::Process, py::arg("audio").noconvert())
      .def("set", &Live::Set, py::arg("index"), py::arg("position"))
      .def("set_all", &Live::SetAll, py::arg("values"))
      .def("set_tempo", &Live::SetTempo, py::arg("tempo"))
      .def_property_readonly("latency", &Live::Latency)
      .def_property_readonly("levels", [](const Live& live) { return Levels(live.Levels()); })
      .def_property_readonly("non_finite", &Live::NonFiniteCount);
  module.def("latency", &LiveLatency, py::arg("rate"));
}

}  // namespace
}  // namespace Vantora::python

PYBIND11_MODULE(_prismel, module) {
  using namespace Vantora::python;
  module.doc() = "The engine, as thin as can be. Use the package prismel, which checks what it hands over.";
  module.attr("version") = PRISMEL_VERSION;
  TranslateErrors();
  AddParameters(module);
  AddEngine(module);
  AddPlateAndNoise(module);
}
