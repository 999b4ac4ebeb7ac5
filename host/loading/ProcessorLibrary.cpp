#include "host/loading/ProcessorLibrary.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/HostError.h"
#include "host/loading/LibraryImage.h"
#include "tools/Platform.h"

namespace Vantora::host {
namespace {

constexpr const char* kFileName = "libprismelProcessor.so";
constexpr const char* kEntryPoint = "GetProcessorFactory";
using EntryPoint = Processor::IProcessorFactory* (*)();

std::string Subject(const std::filesystem::path& path) {
  return "The processor library \"" + path.string() + '"';
}

ProcessorSource Load(const std::filesystem::path& path, bool isPrivate) {
  const auto image = std::make_shared<const LibraryImage>(path, isPrivate);
  const auto entryPoint = reinterpret_cast<EntryPoint>(image->Symbol(kEntryPoint));
  if (entryPoint == nullptr) {
    throw HostError('"' + path.string() + "\" is not a processor library: it has no entry point " +
                    kEntryPoint + '.');
  }
  try {
    return ProcessorSource(std::shared_ptr<Processor::IProcessorFactory>(entryPoint()), image, Subject(path));
  } catch (const HostError&) {
    throw;
  } catch (const std::exception& reason) {
    throw HostError(Subject(path) + " failed to make its factory: " + reason.what() + '.');
  }
}

/// Adds the folders in which a library lies that belongs to a module in `folder`.
void AddFolders(std::vector<std::filesystem::path>& folders, const std::filesystem::path& folder) {
  const std::filesystem::path above = folder.parent_path();
  for (const auto& candidate : {folder, above / "processor", above / "lib"}) folders.push_back(candidate);
#ifdef PRISMEL_INSTALL_LIBDIR
  folders.push_back(above / PRISMEL_INSTALL_LIBDIR);
#endif
}

}  // namespace

ProcessorLibrary::ProcessorLibrary(const std::filesystem::path& file, Image image)
    : path(std::filesystem::absolute(file)), source(Load(path, image == Image::kPrivate)) {}

std::filesystem::path ProcessorLibrary::Find() {
  namespace fs = std::filesystem;
  if (const char* named = std::getenv("PRISMEL_LIBRARY"); named != nullptr && *named != '\0') return named;

  std::error_code error;
  std::vector<fs::path> folders;
  // This code is linked statically, so its own address lies in the module that asks.
  if (std::string file; platform::FileOfAddress(reinterpret_cast<const void*>(&AddFolders), file)) {
    if (const fs::path module = fs::canonical(file, error); !error) AddFolders(folders, module.parent_path());
  }
  if (const fs::path program = fs::read_symlink("/proc/self/exe", error); !error) {
    if (folders.empty() || folders.front() != program.parent_path())
      AddFolders(folders, program.parent_path());
  }
#ifdef PRISMEL_INSTALL_FULL_LIBDIR
  folders.emplace_back(PRISMEL_INSTALL_FULL_LIBDIR);
#endif
  std::string sought;
  for (const fs::path& folder : folders) {
    if (fs::exists(folder / kFileName, error)) return folder / kFileName;
    sought += (sought.empty() ? "" : ", ") + folder.string();
  }
  throw HostError(std::string("The processor library ") + kFileName + " is in none of the folders " + sought +
                  "; set PRISMEL_LIBRARY to its path.");
}

}  // namespace Vantora::host
