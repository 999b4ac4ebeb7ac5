#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tools/CSingleton.h"
#include "tools/ResourcePaths.h"

namespace Vantora {

/// Resources: where on this machine a file of ours lies. The library can stand
/// in a plug-in bundle, in an installed tree or in a developer's working copy;
/// it finds its surroundings from its own location, and nothing is configured.
///
/// Log      every step, in the category "description"
/// Threads  all operations may run on any thread, but SetResourcesFolder beside any other
class Resources : public CSingleton<Resources> {
 public:
  /// Works from this library's own file.
  Resources();
  /// Works from another file, as if this code had been loaded from it.
  explicit Resources(std::string libraryFile);
  virtual ~Resources() = default;

  /// The file all of this is found from.
  const std::string& LibraryPath() const { return libraryPath; }
  /// The machine-wide data folder, without a trailing separator.
  const std::string& ProgramDataPath() const { return programDataPath; }
  /// The stem of the library's file name; empty if there is no path.
  const std::string& ProductName() const { return productName; }

  /// The folder tried before all others; empty, and an error in the log, until it is set.
  const std::string& GetResourcesFolder() const;
  /// Sets it, with its trailing separator. Call it before others search.
  void SetResourcesFolder(std::string folder) { resourcesFolder = std::move(folder); }

  /// The root of the tree that surrounds the library.
  std::string GetWorkingCopyRoot() const { return WorkingCopyRootOf(libraryPath); }

  /// The folders of FindFile, in their order, each with its
  /// trailing separator, one empty; built at first use.
  const std::vector<std::string>& SearchFolders();

  /// Whether the file exists; `path` is then its full path, otherwise as it was. A name that begins with '/'
  /// or '~' is taken as it stands, the '~' too, and empties `path` when there is nothing. Anything that
  /// `stat` finds counts, folders as well. Unless `silent`, the log tells what was found, or not found: as a
  /// warning if `warnIfMissing`.
  bool FindFile(const std::string& name, std::string& path, bool warnIfMissing, bool silent);

  /// The five places of a shared library of the family, in the order in which they are tried.
  std::array<SharedPlace, 5> SharedPlaces(const std::string& libraryName) const;

  /// The folder of a shared library of the family; `libraryName` has no ending. Throws
  /// std::runtime_error("ERROR : unable to find " + libraryName + " folder")
  /// if none of the five places has it.
  std::string FindSharedFolder(const std::string& libraryName) const;

  /// FindSharedFolder, "/" and the library's file name.
  std::string GetSharedLibraryPath(const std::string& libraryName) const;

 private:
  std::string programDataPath;
  std::string productName;
  std::vector<std::string> searchFolders;
  std::string resourcesFolder;
  std::mutex mutex;                             // the one building of searchFolders
  std::atomic<bool> searchFoldersReady{false};  // released when searchFolders is whole, and final
  std::string libraryPath;
};

}  // namespace Vantora
