#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "host/ProcessorSource.h"

namespace Vantora::host {

/// ProcessorLibrary: a processor library, loaded by path and known through its binary interface only.
/// Wherever a `ProcessorSource` is asked for, a library can stand.
///
/// A copy shares the loaded library; it is unloaded when the last copy and the last `HostedProcessor` made
/// from it have ended. Loading and creating allocate and may take milliseconds: never on the audio thread.
class ProcessorLibrary {
 public:
  /// How the library's code and data come into the process.
  enum class Image {
    kShared,   ///< one image for all loads of the same file, as the dynamic loader does by itself
    kPrivate,  ///< an image of its own: whatever the library counts per process begins anew, so that the
               ///< first processor of every private image sounds the same, however many were made elsewhere
  };

  /// Loads the library at `path`. Throws `HostError` when the file is missing, can't be loaded, has no entry
  /// point, gives no factory, or speaks another generation of the interface.
  explicit ProcessorLibrary(const std::filesystem::path& path, Image image = Image::kShared);

  /// Where the effect's library is: the environment variable PRISMEL_LIBRARY if it is set, otherwise
  /// `libprismelProcessor.so` beside the module that holds this code (the program, or a plug-in that another
  /// program has loaded) or beside the running program, in the lib folders next to the folder of either, or
  /// where it was installed. Throws `HostError` when it is in none of them.
  static std::filesystem::path Find();

  const std::filesystem::path& Path() const { return path; }  ///< absolute
  const ProcessorSource& Source() const { return source; }
  operator const ProcessorSource&() const { return source; }

  const std::string& Name() const { return source.Name(); }                ///< the factory's display name
  const std::string& Vendor() const { return source.Vendor(); }            ///< the factory's maker
  const std::string& Version() const { return source.Version(); }          ///< the factory's version text
  uint32_t InterfaceVersion() const { return source.InterfaceVersion(); }  ///< what the factory answered

 private:
  std::filesystem::path path;
  ProcessorSource source;
};

}  // namespace Vantora::host
