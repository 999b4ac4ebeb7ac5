#include "cli/plot/Variants.h"

#include <fmt/format.h>

#include <sstream>

#include "cli/Assignment.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "host/HostError.h"
#include "host/ParameterTable.h"

namespace Vantora::cli {

float Variant::Normalized(const std::string& name) const {
  return sound.Sound().ValueOf(host::ParameterTable::Get().At(name));
}

float Variant::Value(const std::string& name) const {
  return host::ParameterTable::Get().At(name).ToValue(Normalized(name));
}

std::string Variant::Text(const std::string& name) const {
  return host::ParameterTable::Get().At(name).Text(Normalized(name));
}

void VariantOptions::AddTo(Command command) {
  sound.AddTo(command);
  command.AddOption("--each", each, "NAME=A,B,C: draw one for each of these values").Group("Sound");
}

std::vector<Variant> VariantOptions::Variants(const std::vector<std::string>& usual) const {
  SoundOptions base = sound;
  base.assignments.insert(base.assignments.begin(), usual.begin(), usual.end());
  if (each.empty()) {
    base.Sound();  // throws for what isn't a sound, before anything is computed
    return {{"", base}};
  }
  const Assignment assignment = Assignment::Parse(each);
  std::vector<Variant> variants;
  std::istringstream values(assignment.value);
  for (std::string value; std::getline(values, value, ',');) {
    Variant variant{"", base};
    variant.sound.assignments.push_back(assignment.name + '=' + value);
    variant.label = fmt::format("{} {}", assignment.name, variant.Text(assignment.name));
    variants.push_back(std::move(variant));
  }
  return variants;
}

const std::vector<std::string>& StageAlone() {
  static const std::vector<std::string> kAssignments = {
      "Voices=1", "Prismelion=0", "Wet=1", "HPFCutoff=20Hz", "LPFCutoff=20kHz",
  };
  return kAssignments;
}

}  // namespace Vantora::cli
