#pragma once

#include <string>
#include <utility>

#include "tools/SndFileTypes.h"

namespace Vantora {

class SndFileLibrary;

/// SndFileHandle: the owner of one open sound file, closed with this object.
class SndFileHandle {
 public:
  /// Closed.
  SndFileHandle() = default;
  /// Takes over a file that `openedBy` opened; null is a closed one. The library must outlive the file.
  SndFileHandle(SNDFILE* openFile, const SndFileLibrary& openedBy) : file(openFile), library(&openedBy) {}
  ~SndFileHandle();

  SndFileHandle(SndFileHandle&& other) noexcept
      : file(std::exchange(other.file, nullptr)), library(other.library) {}
  SndFileHandle& operator=(SndFileHandle&& other) noexcept;

  /// Opens a file for reading with the process's library and notes it in the log (category "audio_engine").
  /// Closed on failure; `info` is as libsndfile left it. Throws what SndFileLibrary's construction throws.
  static SndFileHandle OpenForReading(const std::string& path, SndFileInfo& info);

  /// Closes the file, if one is open. A failure is only logged, for there is nothing left to do about it.
  void Close();

  bool IsOpen() const { return file != nullptr; }
  /// For the library's entry points; still owned by this object.
  SNDFILE* Get() const { return file; }

 private:
  SNDFILE* file = nullptr;
  const SndFileLibrary* library = nullptr;
};

}  // namespace Vantora
