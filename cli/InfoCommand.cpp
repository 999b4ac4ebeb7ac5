#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "basictools/simd/SimdTarget.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "host/HostedProcessor.h"
#include "host/files/PresetFolder.h"
#include "tools/LibraryInfo.h"

namespace Vantora::cli {
namespace {

void PrintJson(const host::ProcessorLibrary& library, const host::HostedProcessor& processor,
               const LibraryInfo& info) {
  const auto places = [](const std::vector<SearchedPlace>& list) {
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const SearchedPlace& place : list) array.push_back({{"path", place.path}, {"exists", place.exists}});
    return array;
  };
  nlohmann::ordered_json presets = nlohmann::ordered_json::array();
  for (const auto& folder : host::PresetFolders()) presets.push_back(folder.string());
  const nlohmann::ordered_json json = {
      {"name", library.Name()},
      {"vendor", library.Vendor()},
      {"version", library.Version()},
      {"interface", library.InterfaceVersion()},
      {"parameters", processor.ParameterCount()},
      {"library", library.Path().string()},
      {"vectorInstructions", SimdTargetName()},
      {"presetFolders", presets},
      {"searchFolders", places(info.searchFolders)},
      {"sndFilePlaces", places(info.sndFilePlaces)},
      {"sndFile", info.sndFilePath},
      {"sndFileVersion", info.sndFileVersion},
      {"sndFileError", info.sndFileError},
  };
  Print("{}\n", json.dump(2));
}

void PrintPlaces(const char* title, const std::vector<SearchedPlace>& places) {
  Print("{}\n", title);
  for (const SearchedPlace& place : places) {
    Print("  {} {}\n", place.exists ? "+" : "-", place.path.empty() ? "(current folder)" : place.path);
  }
}

void PrintTextReport(const host::ProcessorLibrary& library, const host::HostedProcessor& processor,
                     const LibraryInfo& info) {
  Print("{} {} by {}\n", library.Name(), library.Version(), library.Vendor());
  Print("library              {}\n", library.Path().string());
  Print("interface            version {}, {} parameters\n", library.InterfaceVersion(),
        processor.ParameterCount());
  Print("vector instructions  {}\n", SimdTargetName());
  if (info.sndFilePath.empty()) {
    Print("libsndfile           none: {}\n", info.sndFileError);
  } else {
    Print("libsndfile           {} ({})\n", info.sndFilePath, info.sndFileVersion);
  }
  for (const auto& folder : host::PresetFolders()) Print("presets              {}\n", folder.string());
  PrintPlaces("folders the library searches for files (+ exists):", info.searchFolders);
  PrintPlaces("places of a shared libsndfile (+ exists):", info.sndFilePlaces);
}

}  // namespace

void AddInfoCommand(Command app, CommandContext& context) {
  auto json = std::make_shared<bool>(false);
  const Command command =
      app.AddCommand("info", "Tell where the library lies and what it finds around itself");
  command.AddFlag("--json", *json, "as JSON, for programs");
  command.OnRun([json, &context] {
    const host::ProcessorLibrary library = context.LoadLibrary();
    const host::HostedProcessor processor(library);
    const LibraryInfo info = DescribeLibrary(library.Path().string());
    *json ? PrintJson(library, processor, info) : PrintTextReport(library, processor, info);
  });
}

}  // namespace Vantora::cli
