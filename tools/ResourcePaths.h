#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace Vantora {

/// Where Resources looks, as functions of where the library lies: no file is touched here.

/// A folder of the search for files.
struct SearchFolder {
  std::string path;          ///< ends in a separator; empty for the current folder
  std::string_view logText;  ///< what the log says before the path; empty: nothing
};

/// The folders of a search for files, in their order. `libraryPath` is
/// the library's file, `programDataPath` has no trailing separator.
std::vector<SearchFolder> MakeSearchFolders(std::string_view libraryPath, const std::string& programDataPath,
                                            const std::string& productName);

/// The product's name as the library's file name without its last ending gives it.
std::string ProductNameOf(std::string_view libraryPath);

/// The root of the tree that surrounds the library: an installed tree, a plug-in bundle or a working copy.
std::string WorkingCopyRootOf(std::string_view libraryPath);

/// A place where a library of the product family may lie.
struct SharedPlace {
  std::string file;    ///< the file to look for
  std::string folder;  ///< the answer if it is there
};

/// The five places of a shared library, in the order in which they are tried. `resourcesFolder` may be empty.
std::array<SharedPlace, 5> MakeSharedPlaces(const std::string& libraryName,
                                            const std::string& workingCopyRoot,
                                            const std::string& programDataPath,
                                            const std::string& resourcesFolder);

}  // namespace Vantora
