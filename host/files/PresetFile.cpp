#include "host/files/PresetFile.h"

#include <fstream>

#include "host/HostError.h"
#include "host/files/NewFile.h"

namespace Vantora::host {
namespace {

constexpr size_t kLargestFile = 1 << 20;  // a preset has a few kilobytes; beyond this it is something else

std::string ReadText(const std::filesystem::path& path) {
  const auto problem = [&path](const char* what) {
    return HostError("The preset \"" + path.string() + "\" " + what);
  };
  // A pipe would be waited for, and a device has no end.
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status)) throw problem("is a folder.");
  if (std::filesystem::is_fifo(status)) throw problem("is a pipe, not a file.");
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw problem("is a device, not a file.");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw problem("can't be opened.");
  std::string text(kLargestFile + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) throw problem("can't be read.");
  text.resize(static_cast<size_t>(file.gcount()));
  if (text.size() > kLargestFile) throw HostError("\"" + path.string() + "\" is too long to be a preset.");
  return text;
}

}  // namespace

Preset ReadPreset(const std::filesystem::path& path, std::vector<std::string>* warnings) {
  return ReadPreset(EffectKnobs(), path, warnings);
}

Preset ReadPreset(const KnobSet& knobs, const std::filesystem::path& path,
                  std::vector<std::string>* warnings) {
  return Preset::Parse(knobs, ReadText(path), path, warnings);
}

void WritePreset(const Preset& preset, const std::filesystem::path& path, const KnobSet& knobs) {
  try {
    NewFile file(path, true);
    file.Write(preset.ToJson(knobs));
    file.Commit();
  } catch (const HostError& reason) {
    throw HostError(std::string("The preset can't be written: ") + reason.what() + '.');
  }
}

}  // namespace Vantora::host
