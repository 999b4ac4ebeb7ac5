#include "tools/ResourcePaths.h"

#include "tools/Locations.h"
#include "tools/Platform.h"
#include "tools/StringTools.h"

namespace Vantora {

namespace {

std::string_view BehindLastSeparator(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0: no separator, the whole path
}

}  // namespace

std::vector<SearchFolder> MakeSearchFolders(std::string_view libraryPath, const std::string& programDataPath,
                                            const std::string& productName) {
  std::array<std::string, 7> parent;  // parent[n]: n levels above the library's file
  parent[0] = libraryPath;
  for (size_t n = 1; n < parent.size(); ++n) parent[n] = GetParentFolder(parent[n - 1]);

  const std::string binary = parent[1] + "/";
  // The level above a bundle whose library lies in Contents/MacOS, and kept whatever the tree.
  const std::string bundle = parent[4] + "/";
  const std::string bundleResources = parent[2] + "/Resources/";
  const std::string product = programDataPath + "/Vantora/" + productName + "/";
  return {
      {binary, "[CONF] Get Current Binary Folder absolute path:"},
      {binary + "resources/", ""},
      {bundle, "[CONF] Get Current Bundle absolute path:"},
      {bundle + "resources/", ""},
      {bundleResources, "[CONF] Get Current Bundle Resources path:"},
      {bundleResources + "resources/", ""},
      {parent[6] + "/data/resources/", "[CONF] Get Working copy resources folder:"},
      {"", ""},
      {parent[3] + "/data/resources/", "[CONF] Get Working copy resources folder:"},
      {product, "[CONF] Get Program Data Product Absolute path:"},
      {product + "resources/", ""},
  };
}

std::string ProductNameOf(std::string_view libraryPath) {
  std::string_view name = BehindLastSeparator(libraryPath);
  name = name.substr(0, name.rfind('.'));
  // The older product shares the newer one's folders.
  return std::string(name == "Tonal Yard 3" ? "Tonal Yard 4" : name);
}

std::string WorkingCopyRootOf(std::string_view libraryPath) {
  std::string root = GetParentFolder(libraryPath);
  if (root.ends_with("Contents/MacOS")) root = GetParentFolder(GetParentFolder(GetParentFolder(root)));
  const bool inData = BehindLastSeparator(WithoutTrailingSeparators(root)) == "data";
  root = GetParentFolder(root);
  return inData ? root : GetParentFolder(root);
}

std::array<SharedPlace, 5> MakeSharedPlaces(const std::string& libraryName,
                                            const std::string& workingCopyRoot,
                                            const std::string& programDataPath,
                                            const std::string& resourcesFolder) {
  const std::string file = libraryName + std::string(platform::kSharedLibrarySuffix);
  const auto place = [](const std::string& path) { return SharedPlace{path, GetParentFolder(path)}; };
  return {
      place(workingCopyRoot + "/../../Shared/" + file),
      SharedPlace{"./" + file, "./"},
      place((resourcesFolder.empty() ? workingCopyRoot + "/data/Shared/" : resourcesFolder + "../Shared/") +
            file),
      place(workingCopyRoot + "/Shared/" + file),
      place(programDataPath + "/Vantora/Shared/" + file),
  };
}

}  // namespace Vantora
