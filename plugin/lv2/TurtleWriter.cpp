// Writes the Turtle files of the LV2 bundle from the parameter table and the factory presets: manifest.ttl,
// prismel.ttl and presets.ttl, into the folder that its argument names. A second argument "window" adds the
// window.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "plugin/core/FactoryBank.h"
#include "plugin/core/ProductNames.h"
#include "plugin/core/ShellCore.h"
#include "plugin/lv2/Lv2Ports.h"

namespace Vantora::plugin {
namespace {

constexpr const char* kPrefixes = R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix foaf: <http://xmlns.com/foaf/0.1/> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix rsz: <http://lv2plug.in/ns/ext/resize-port#> .
@prefix state: <http://lv2plug.in/ns/ext/state#> .
@prefix time: <http://lv2plug.in/ns/ext/time#> .
@prefix ui: <http://lv2plug.in/ns/extensions/ui#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .

)";

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

/// The shortest decimal number that reads back to the same float; a decimal of Turtle's, not an integer.
std::string Number(float value) {
  const std::string text = fmt::format("{}", value);
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

bool IsBypass(const host::Parameter& parameter) {
  return parameter.Index() == HostParameters::Get().BypassIndex();
}

std::string SymbolOf(const host::Parameter& parameter) {
  return IsBypass(parameter) ? "enabled" : parameter.Symbol();
}

std::string GroupSymbol(std::string_view group) {
  std::string symbol = "group_";
  for (const char c : group) {
    const auto letter = static_cast<unsigned char>(c);
    symbol += std::isalnum(letter) != 0 ? static_cast<char>(std::tolower(letter)) : '_';
  }
  return symbol;
}

std::string UnitOf(const host::Parameter& parameter) {
  using host::Unit;
  switch (parameter.GetUnit()) {
    case Unit::kHertz:
      return "units:hz";
    case Unit::kDecibels:
      return "units:db";
    case Unit::kMilliseconds:
      return "units:ms";
    case Unit::kSeconds:
      return "units:s";
    case Unit::kPercent:
      return "units:pc";
    case Unit::kDegrees:
      return "units:degree";
    case Unit::kSemitones:
      return "units:semitone12TET";
    case Unit::kBits:
      return "[ a units:Unit ; rdfs:label \"bits\" ; units:symbol \"bits\" ; units:render \"%.2f bits\" ]";
    case Unit::kTimes:
      return "[ a units:Unit ; rdfs:label \"times\" ; units:symbol \"x\" ; units:render \"%.2fx\" ]";
    case Unit::kNone:
    case Unit::kRatio:
      break;
  }
  return "";
}

class Turtle {
 public:
  explicit Turtle(const std::filesystem::path& path) : file(path, std::ios::binary) { file << kPrefixes; }
  template <typename... Args>
  void Add(fmt::format_string<Args...> text, Args&&... args) {
    file << fmt::format(text, std::forward<Args>(args)...);
  }
  bool Finish() {
    file.close();
    return !file.fail();
  }

 private:
  std::ofstream file;
};

void AddControlPort(Turtle& out, uint32_t number, const host::Parameter& parameter, float start) {
  const bool isInput = parameter.IsOffered();
  const bool isBypass = IsBypass(parameter);
  out.Add("  lv2:port [\n    a lv2:{}Port , lv2:ControlPort ;\n", isInput ? "Input" : "Output");
  out.Add("    lv2:index {} ;\n    lv2:symbol {} ;\n", number, Quoted(SymbolOf(parameter)));
  out.Add("    lv2:name {} ;\n", Quoted(isBypass ? "Enabled" : parameter.Title()));
  const float low = std::min(ToPortValue(parameter, 0.0f), ToPortValue(parameter, 1.0f));
  const float high = std::max(ToPortValue(parameter, 0.0f), ToPortValue(parameter, 1.0f));
  out.Add("    lv2:minimum {} ;\n    lv2:maximum {} ;\n", Number(low), Number(high));
  if (isInput) {
    out.Add("    lv2:default {} ;\n", Number(std::clamp(ToPortValue(parameter, start), low, high)));
    if (!isBypass) {
      out.Add("    pg:group <{}#{}> ;\n", kLv2Uri, GroupSymbol(parameter.Group()));
      out.Add("    lv2:documentation {} ;\n", Quoted(parameter.Note()));
    }
  }
  if (isBypass) out.Add("    lv2:designation lv2:enabled ;\n");
  if (parameter.IsSwitch() && (isBypass || parameter.Labels().empty() || parameter.Labels()[0] == "off")) {
    out.Add("    lv2:portProperty lv2:toggled ;\n");
  } else if (parameter.IsStepped()) {
    out.Add("    lv2:portProperty lv2:integer{} ;\n", parameter.Labels().empty() ? "" : " , lv2:enumeration");
    for (size_t i = 0; i < parameter.Labels().size(); ++i) {
      out.Add("    lv2:scalePoint [ rdfs:label {} ; rdf:value {} ] ;\n", Quoted(parameter.Labels()[i]),
              Number(low + static_cast<float>(i)));
    }
  } else if (parameter.GetUnit() == host::Unit::kHertz && low > 0.0f) {
    out.Add("    lv2:portProperty pprops:logarithmic ;\n");
  }
  const std::string unit = UnitOf(parameter);
  if (!unit.empty()) out.Add("    units:unit {} ;\n", unit);
  out.Add("  ] ;\n");
}

void AddVariant(Turtle& out, const Lv2Variant& variant, const ShellCore& fresh, bool hasWindow) {
  const Lv2Ports numbers(variant);
  out.Add("<{}>\n  a lv2:Plugin , lv2:ChorusPlugin , doap:Project ;\n  doap:name {} ;\n", variant.uri,
          Quoted(variant.name));
  out.Add("  doap:license <https://spdx.org/licenses/ISC> ;\n");
  out.Add("  lv2:project <{}#project> ;\n", kLv2Uri);
  out.Add("  rdfs:comment {} ;\n", Quoted(kProductDescription));
  out.Add("  lv2:minorVersion 0 ;\n  lv2:microVersion 2 ;\n");
  out.Add("  lv2:optionalFeature lv2:hardRTCapable , urid:map ;\n");
  out.Add("  lv2:extensionData state:interface ;\n");
  if (hasWindow) out.Add("  ui:ui <{}> ;\n", kLv2WindowUri);
  const char* const sides[] = {"left", "right"};
  for (uint32_t c = 0; c < variant.inputs + variant.outputs; ++c) {
    const bool isInput = c < variant.inputs;
    const uint32_t side = isInput ? c : c - variant.inputs;
    const bool isMono = (isInput ? variant.inputs : variant.outputs) == 1;
    const std::string symbol = isMono ? "" : fmt::format("_{}", sides[side]);
    const std::string name = isMono ? "" : fmt::format(" {}", sides[side]);
    out.Add("  lv2:port [\n    a lv2:{}Port , lv2:AudioPort ;\n    lv2:index {} ;\n",
            isInput ? "Input" : "Output", c);
    out.Add("    lv2:symbol \"{}{}\" ;\n    lv2:name \"{}{}\" ;\n", isInput ? "in" : "out", symbol,
            isInput ? "Input" : "Output", name);
    if (!isMono) out.Add("    lv2:designation pg:{} ;\n", sides[side]);
    out.Add("  ] ;\n");
  }
  out.Add(
      "  lv2:port [\n    a lv2:InputPort , atom:AtomPort ;\n    atom:bufferType atom:Sequence ;\n"
      "    atom:supports time:Position ;\n    lv2:designation lv2:control ;\n    lv2:portProperty "
      "lv2:connectionOptional ;\n"
      "    lv2:index {} ;\n    lv2:symbol \"events\" ;\n    lv2:name \"Events\" ;\n  ] ;\n",
      numbers.events);
  out.Add(
      "  lv2:port [\n    a lv2:OutputPort , lv2:ControlPort ;\n    lv2:designation lv2:latency ;\n"
      "    lv2:portProperty lv2:reportsLatency , lv2:integer ;\n    lv2:minimum 0 ;\n    lv2:maximum 8192 ;\n"
      "    units:unit units:frame ;\n    lv2:index {} ;\n    lv2:symbol \"latency\" ;\n    lv2:name "
      "\"Latency\" ;\n  ] ;\n",
      numbers.latency);
  out.Add(
      "  lv2:port [\n    a lv2:InputPort , lv2:ControlPort ;\n    lv2:designation lv2:freeWheeling ;\n"
      "    lv2:portProperty lv2:toggled , pprops:notOnGUI , lv2:connectionOptional ;\n    lv2:default 0 ;\n"
      "    lv2:minimum 0 ;\n    lv2:maximum 1 ;\n    lv2:index {} ;\n    lv2:symbol \"free_wheeling\" ;\n"
      "    lv2:name \"Free-wheeling\" ;\n  ] ;\n",
      numbers.freeWheeling);
  const HostParameters& list = HostParameters::Get();
  for (size_t i = 0; i < list.Size(); ++i) {
    AddControlPort(out, numbers.firstParameter + static_cast<uint32_t>(i), list.At(i),
                   fresh.Value(list.IndexAt(i)));
  }
  out.Add("  rdfs:seeAlso <presets.ttl> .\n\n");
}

std::string PresetUri(const FactoryText& text) { return fmt::format("{}#preset-{}", kLv2Uri, text.file); }

bool Write(const std::filesystem::path& folder, bool hasWindow) {
  const ShellCore fresh;
  std::filesystem::create_directories(folder);
  Turtle manifest(folder / "manifest.ttl"), plugin(folder / "prismel.ttl"), presets(folder / "presets.ttl");
  for (const Lv2Variant& variant : kLv2Variants) {
    manifest.Add("<{}>\n  a lv2:Plugin ;\n  lv2:binary <prismel.so> ;\n  rdfs:seeAlso <prismel.ttl> .\n\n",
                 variant.uri);
    AddVariant(plugin, variant, fresh, hasWindow);
  }
  plugin.Add(
      "<{}#project>\n  a doap:Project ;\n  doap:name {} ;\n  doap:maintainer [ a foaf:Person ; foaf:name {} "
      "] .\n\n",
      kLv2Uri, Quoted(kProductName), Quoted(kProductVendor));
  std::set<std::string_view> groups;
  for (size_t i = 0; i < HostParameters::Get().WritableCount(); ++i)
    groups.insert(HostParameters::Get().At(i).Group());
  for (const std::string_view group : groups) {
    plugin.Add("<{}#{}>\n  a pg:InputGroup ;\n  lv2:symbol \"{}\" ;\n  lv2:name {} .\n\n", kLv2Uri,
               GroupSymbol(group), GroupSymbol(group), Quoted(group));
  }
  if (hasWindow) {
    manifest.Add(
        "<{}>\n  a ui:X11UI ;\n  lv2:binary <prismel_window.so> ;\n"
        "  lv2:requiredFeature ui:idleInterface , <http://lv2plug.in/ns/ext/instance-access> ;\n"
        "  lv2:optionalFeature ui:parent , ui:resize , ui:touch ;\n"
        "  lv2:extensionData ui:idleInterface , ui:resize , ui:showInterface .\n\n",
        kLv2WindowUri);
  }
  for (size_t i = 0; i < FactoryTexts().size(); ++i) {
    const host::Preset& preset = FactoryPresets()[i];
    const std::string uri = PresetUri(FactoryTexts()[i]);
    for (Turtle* file : {&manifest, &presets}) {
      file->Add("<{}>\n  a pset:Preset ;\n", uri);
      for (const Lv2Variant& variant : kLv2Variants) file->Add("  lv2:appliesTo <{}> ;\n", variant.uri);
    }
    manifest.Add("  rdfs:label {} ;\n  rdfs:seeAlso <presets.ttl> .\n\n", Quoted(preset.name));
    presets.Add("  rdfs:label {} ;\n  rdfs:comment {}", Quoted(preset.name), Quoted(preset.description));
    for (size_t k = 0; k < HostParameters::Get().WritableCount(); ++k) {
      const host::Parameter& parameter = HostParameters::Get().At(k);
      if (!parameter.IsInPresets()) continue;
      presets.Add(" ;\n  lv2:port [ lv2:symbol {} ; pset:value {} ]", Quoted(SymbolOf(parameter)),
                  Number(ToPortValue(parameter, preset.ValueOf(parameter))));
    }
    presets.Add(" .\n\n");
  }
  return manifest.Finish() && plugin.Finish() && presets.Finish();
}

}  // namespace
}  // namespace Vantora::plugin

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: %s FOLDER [window]\n", arguments[0]);
    return 1;
  }
  if (Vantora::plugin::Write(arguments[1], count > 2)) return 0;
  std::fprintf(stderr, "%s: can't write the files of %s\n", arguments[0], arguments[1]);
  return 1;
}
