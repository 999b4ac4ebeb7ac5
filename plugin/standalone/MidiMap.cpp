#include "plugin/standalone/MidiMap.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

#include "host/ParameterTable.h"

namespace Vantora::plugin {

MidiMap::MidiMap(std::filesystem::path file) : path(std::move(file)) {
  for (auto& parameter : parameters) parameter.store(kNone, std::memory_order_relaxed);
  Read();
}

std::optional<uint32_t> MidiMap::Learning() const {
  const int32_t parameter = learning.load(std::memory_order_acquire);
  return parameter == kNone ? std::nullopt : std::optional(static_cast<uint32_t>(parameter));
}

void MidiMap::Forget(uint32_t parameter) {
  for (auto& slot : parameters) {
    if (slot.load(std::memory_order_relaxed) == static_cast<int16_t>(parameter)) {
      slot.store(kNone, std::memory_order_relaxed);
    }
  }
  Write();
}

std::string MidiMap::ControllerOf(uint32_t parameter) const {
  for (size_t slot = 0; slot < kControllers; ++slot) {
    if (parameters[slot].load(std::memory_order_relaxed) != static_cast<int16_t>(parameter)) continue;
    const size_t channel = slot / 128;
    return channel == 0 ? fmt::format("CC {}", slot % 128)
                        : fmt::format("CC {} on channel {}", slot % 128, channel + 1);
  }
  return {};
}

bool MidiMap::Tick() {
  const int32_t found = caught.exchange(kNone, std::memory_order_acq_rel);
  if (found == kNone) return false;
  const auto parameter = static_cast<int16_t>(found / static_cast<int32_t>(kControllers));
  const auto slot = static_cast<size_t>(found) % kControllers;
  for (auto& other : parameters) {
    if (other.load(std::memory_order_relaxed) == parameter) other.store(kNone, std::memory_order_relaxed);
  }
  parameters[slot].store(parameter, std::memory_order_relaxed);
  Write();
  return true;
}

void MidiMap::Apply(std::span<const ControllerEvent> events, ShellCore& core) {
  for (const ControllerEvent& event : events) {
    const size_t slot = SlotOf(event.channel, event.controller);
    if (const int32_t wanted = learning.exchange(kNone, std::memory_order_acq_rel); wanted != kNone) {
      caught.store(wanted * static_cast<int32_t>(kControllers) + static_cast<int32_t>(slot),
                   std::memory_order_release);
    }
    const int16_t parameter = parameters[slot].load(std::memory_order_relaxed);
    if (parameter == kNone) continue;
    core.StepTo(static_cast<uint32_t>(parameter), static_cast<float>(event.value) / 127.0f, event.offset);
  }
}

void MidiMap::Read() {
  std::ifstream file(path);
  if (!file) return;  // nothing learnt yet
  const auto content = nlohmann::json::parse(file, nullptr, false);
  const auto isEntry = [](const nlohmann::json& entry) {
    return entry.is_object() && entry.contains("channel") && entry["channel"].is_number_integer() &&
           entry.contains("controller") && entry["controller"].is_number_integer() &&
           entry.contains("parameter") && entry["parameter"].is_string();
  };
  if (!content.is_object() || !content.contains("controllers") || !content["controllers"].is_array()) {
    problem = fmt::format(
        "\"{}\" isn't a list of learnt controllers; it is left as it is until you learn a new one.",
        path.string());
    return;
  }
  for (const auto& entry : content["controllers"]) {
    if (!isEntry(entry)) continue;
    const int channel = entry["channel"], controller = entry["controller"];
    const host::Parameter* parameter =
        host::ParameterTable::Get().Find(entry["parameter"].get_ref<const std::string&>());
    if (channel < 1 || channel > 16 || controller < 0 || controller > 127 || parameter == nullptr) continue;
    parameters[SlotOf(static_cast<uint8_t>(channel - 1), static_cast<uint8_t>(controller))].store(
        static_cast<int16_t>(parameter->Index()), std::memory_order_relaxed);
  }
}

void MidiMap::Write() {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (size_t slot = 0; slot < kControllers; ++slot) {
    const int16_t parameter = parameters[slot].load(std::memory_order_relaxed);
    if (parameter == kNone) continue;
    list.push_back(
        {{"channel", slot / 128 + 1},
         {"controller", slot % 128},
         {"parameter", host::ParameterTable::Get()[static_cast<uint32_t>(parameter)].UniqueName()}});
  }
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  // Written beside and renamed: there is never half a file.
  const std::filesystem::path beside = path.string() + ".new";
  std::ofstream file(beside);
  file << nlohmann::ordered_json{{"schema", 1}, {"controllers", list}}.dump(2) << "\n";
  file.close();
  if (file) std::filesystem::rename(beside, path, error);
  if (!file || error)
    problem = fmt::format("What was learnt can't be kept: \"{}\" can't be written.", path.string());
}

}  // namespace Vantora::plugin
