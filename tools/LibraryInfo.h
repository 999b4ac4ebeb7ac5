#pragma once

#include <string>
#include <vector>

namespace Vantora {

/// A place that was looked at.
struct SearchedPlace {
  std::string path;  ///< empty for the current folder
  bool exists = false;
};

/// LibraryInfo: what the library finds around itself, for
/// people who want to know why a file is or isn't found.
struct LibraryInfo {
  std::string libraryPath;                   ///< the library's own file, from which the rest follows
  std::string productName;                   ///< its stem, which names the product's data folder
  std::string programDataPath;               ///< the machine-wide data folder
  std::string workingCopyRoot;               ///< the root of the tree around the library
  std::vector<SearchedPlace> searchFolders;  ///< where files are looked for, in this order
  std::vector<SearchedPlace> sndFilePlaces;  ///< where a shared libsndfile is looked for, in this order
  std::string sndFileFallback;               ///< what is opened if none of these exists; empty for nothing
  std::string sndFilePath;                   ///< the libsndfile that was opened; empty if none could be
  std::string sndFileVersion;                ///< its version text
  std::string sndFileError;  ///< why none could be opened, and what to do about it; otherwise empty
};

/// Looks around from the file `libraryPath`, or from this library's own file if that is empty. Opens
/// libsndfile to find out, and closes it again. Doesn't throw but for lack of memory.
LibraryInfo DescribeLibrary(const std::string& libraryPath = {});

}  // namespace Vantora
