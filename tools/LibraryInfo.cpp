#include "tools/LibraryInfo.h"

#include <stdexcept>

#include "tools/Locations.h"
#include "tools/Platform.h"
#include "tools/Resources.h"
#include "tools/SndFileLibrary.h"

namespace Vantora {

LibraryInfo DescribeLibrary(const std::string& libraryPath) {
  Resources resources(libraryPath.empty() ? GetDyLibFullPath() : AbsoluteFilePath(libraryPath));

  LibraryInfo info;
  info.libraryPath = resources.LibraryPath();
  info.productName = resources.ProductName();
  info.programDataPath = resources.ProgramDataPath();
  info.workingCopyRoot = resources.GetWorkingCopyRoot();
  for (const std::string& folder : resources.SearchFolders()) {
    info.searchFolders.push_back({folder, platform::Exists(folder.empty() ? "." : folder)});
  }
  bool placeFound = false;
  for (const SharedPlace& place : resources.SharedPlaces("libsndfile-2")) {
    info.sndFilePlaces.push_back({place.file, platform::Exists(place.file)});
    placeFound = placeFound || info.sndFilePlaces.back().exists;
  }
  info.sndFileFallback = SndFileLibrary::FallbackName();
  try {
    const SndFileLibrary library(resources);
    info.sndFilePath = library.LoadedPath();
    info.sndFileVersion = library.Version();
  } catch (const std::runtime_error& error) {
    info.sndFileError = error.what();
    if (!placeFound) info.sndFileError += "; on Debian install the package libsndfile1";
  }
  return info;
}

}  // namespace Vantora
