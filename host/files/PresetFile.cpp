#include "host/files/PresetFile.h"

#include <fstream>

#include "host/HostError.h"

namespace Vantora::host {
namespace {

constexpr size_t kLargestFile = 1 << 20;  // a preset has a few kilobytes; beyond this it is something else

std::string ReadText(const std::filesystem::path& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error))
    throw HostError("The preset \"" + path.string() + "\" is a folder.");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw HostError("The preset \"" + path.string() + "\" can't be opened.");
  std::string text(kLargestFile + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) throw HostError("The preset \"" + path.string() + "\" can't be read.");
  text.resize(static_cast<size_t>(file.gcount()));
  if (text.size() > kLargestFile) throw HostError("\"" + path.string() + "\" is too long to be a preset.");
  return text;
}

}  // namespace

Preset ReadPreset(const std::filesystem::path& path, std::vector<std::string>* warnings) {
  return Preset::Parse(ReadText(path), path, warnings);
}

void WritePreset(const Preset& preset, const std::filesystem::path& path) {
  std::filesystem::path beside = path;
  beside += ".part";
  std::ofstream file(beside, std::ios::binary | std::ios::trunc);
  file << preset.ToJson();
  file.close();
  std::error_code error;
  if (file) {
    std::filesystem::rename(beside, path, error);
    if (!error) return;
  }
  std::filesystem::remove(beside, error);
  throw HostError("The preset \"" + path.string() + "\" can't be written.");
}

}  // namespace Vantora::host
