#include "tools/Resources.h"

#include <stdexcept>
#include <utility>

#include "tools/CLog.h"
#include "tools/Locations.h"
#include "tools/Platform.h"
#include "tools/StringTools.h"

namespace Vantora {

namespace {

constexpr const char* kCategory = "description";

}  // namespace

Resources::Resources() : Resources(GetDyLibFullPath()) {}

Resources::Resources(std::string libraryFile) : libraryPath(std::move(libraryFile)) {
  const bool found = GetSpecialFolder(kProgramDataFolder, programDataPath);
  LogInfo(kCategory, "[CONF] ProgramData Path : " + programDataPath);
  if (!found) LogError(kCategory, "[CONF] ProgramData not found - Path : " + programDataPath);
  programDataPath.resize(WithoutTrailingSeparators(programDataPath).size());

  LogNotice(kCategory, "[CONF] GetDyLibFullPath filename:" + libraryPath);
  if (libraryPath.empty()) {
    LogNotice(kCategory, "[CONF] DyLibFullPath not found - Path : " + libraryPath);
    return;
  }
  productName = ProductNameOf(libraryPath);
  LogNotice(kCategory, "[CONF] productname:" + productName);
}

const std::string& Resources::GetResourcesFolder() const {
  if (resourcesFolder.empty()) LogError(kCategory, "Resources Folder not yet defined");
  return resourcesFolder;
}

const std::vector<std::string>& Resources::SearchFolders() {
  if (!searchFoldersReady.load(std::memory_order_acquire)) {  // pairs with the release below
    const std::lock_guard lock(mutex);
    if (!searchFoldersReady.load(std::memory_order_relaxed)) {  // ordered by the mutex
      std::vector<std::string> folders;
      for (SearchFolder& folder : MakeSearchFolders(libraryPath, programDataPath, productName)) {
        if (!folder.logText.empty()) LogNotice(kCategory, std::string(folder.logText) + folder.path);
        folders.push_back(std::move(folder.path));
      }
      searchFolders = std::move(folders);
      searchFoldersReady.store(true, std::memory_order_release);  // publishes searchFolders
    }
  }
  return searchFolders;
}

bool Resources::FindFile(const std::string& name, std::string& path, bool warnIfMissing, bool silent) {
  const std::vector<std::string>& folders = SearchFolders();
  const auto logMiss = [&](const std::string& text) {
    if (!silent) (warnIfMissing ? LogWarning : LogInfo)(kCategory, text);
  };
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): `path` may be `name`
  const std::string sought = name;

  if (sought.starts_with('~') || sought.starts_with('/')) {
    path.clear();
    if (platform::Exists(sought)) {
      path = sought;
      return true;
    }
    logMiss("[CONF] File not found: " + sought);
    return false;
  }

  // An empty resourcesFolder makes this the current folder.
  const std::string* found = platform::Exists(resourcesFolder + sought) ? &resourcesFolder : nullptr;
  std::string tried;
  for (size_t i = 0; i < folders.size() && found == nullptr; ++i) {
    tried += folders[i] + sought + "\n";
    if (platform::Exists(folders[i] + sought)) found = &folders[i];
  }
  if (found == nullptr) {
    logMiss("[CONF] File not found on " + tried);
    return false;
  }
  path = *found + sought;
  if (!silent) LogInfo(kCategory, "[CONF] File found on " + path);
  return true;
}

std::array<SharedPlace, 5> Resources::SharedPlaces(const std::string& libraryName) const {
  return MakeSharedPlaces(libraryName, GetWorkingCopyRoot(), programDataPath, GetResourcesFolder());
}

std::string Resources::FindSharedFolder(const std::string& libraryName) const {
  for (SharedPlace& place : SharedPlaces(libraryName)) {
    if (platform::Exists(place.file)) return std::move(place.folder);
  }
  throw std::runtime_error("ERROR : unable to find " + libraryName + " folder");
}

std::string Resources::GetSharedLibraryPath(const std::string& libraryName) const {
  return FindSharedFolder(libraryName) + "/" + libraryName + std::string(platform::kSharedLibrarySuffix);
}

}  // namespace Vantora
