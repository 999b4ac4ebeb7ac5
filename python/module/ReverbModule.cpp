#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "offline/ReverbEffect.h"
#include "python/module/Errors.h"
#include "python/module/KnobRows.h"
#include "python/module/Stream.h"

namespace Vantora::python {
namespace {

namespace py = pybind11;

/// An impulse in memory: (channels, frames), 1 or 2 channels, at `rate` Hz; 0: at whatever rate the audio
/// has.
std::shared_ptr<const dsp::Impulse> MakeImpulse(const Audio& audio, float rate) {
  auto impulse = std::make_shared<dsp::Impulse>();
  impulse->fileRate = rate;
  const auto frames = static_cast<size_t>(audio.shape(1));
  if (frames == 0) return impulse;
  const std::array<const float*, 2> rows = Rows(audio);
  impulse->left.assign(rows[0], rows[0] + frames);
  if (rows[1] != nullptr) impulse->right.assign(rows[1], rows[1] + frames);
  return impulse;
}

using ReverbStream = Stream<offline::ReverbEffect>;

std::unique_ptr<ReverbStream> MakeStream(int rate, std::variant<std::string, Audio> impulse,
                                         float impulseRate,
                                         const std::vector<std::pair<std::string, std::string>>& knobs,
                                         int inputs, int outputs, std::optional<double> tail,
                                         uint64_t expected) {
  offline::ReverbSettings settings;
  if (const auto* path = std::get_if<std::string>(&impulse)) {
    settings.impulse = *path;
  } else {
    settings.impulse = "impulse";
    settings.samples = MakeImpulse(std::get<Audio>(impulse), impulseRate);
  }
  const offline::ModuleKnobs table = offline::ReverbKnobs();
  for (const auto& [name, text] : knobs) {
    const size_t index = table.Find(name);
    settings.values.push_back({static_cast<uint32_t>(index), table.Parse(index, text)});
  }
  offline::TailLength length = MakeTail(tail);
  // The tail's end is known here: the impulse's. No other limit is needed.
  if (length.automatic) length.seconds = 1e6;
  return std::make_unique<ReverbStream>(std::make_unique<offline::ReverbEffect>(std::move(settings)), rate,
                                        inputs, outputs, length, expected, true);
}

}  // namespace
}  // namespace Vantora::python

PYBIND11_MODULE(_prismel_reverb, module) {
  using namespace Vantora::python;
  namespace py = pybind11;
  module.doc() = "The convolution reverb; apart from the engine because it needs libresample at run time.";
  TranslateErrors();
  AddStream<ReverbStream>(module, "ReverbStream")
      .def(py::init(&MakeStream), py::arg("rate"), py::arg("impulse"), py::arg("impulse_rate"),
           py::arg("knobs"), py::arg("inputs"), py::arg("outputs"), py::arg("tail"), py::arg("expected"));
  module.def("reverb_knobs", [] { return DescribeKnobs(Vantora::offline::ReverbKnobs()); });
  module.def(
      "parse_reverb",
      [](const std::string& name, const std::string& text) {
        const Vantora::offline::ModuleKnobs knobs = Vantora::offline::ReverbKnobs();
        const size_t index = knobs.Find(name);
        return py::make_tuple(knobs.Name(index), knobs.Parse(index, text));
      },
      py::arg("name"), py::arg("text"));
}
