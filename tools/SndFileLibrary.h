#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/DynamicLibrary.h"
#include "tools/SndFileTypes.h"

namespace Vantora {

class Resources;

/// SndFileLibrary: libsndfile, opened at run time, so that we start on machines that have none.
///
/// The copy that the product family shares comes first ("libsndfile-2" in the
/// five places of Resources), then the one that the distribution installs. A
/// shared copy that is there but broken is an error and not passed over.
///
/// Threads  the constructor and the entry points off the audio thread; the members don't change after
///          construction
class SndFileLibrary {
 public:
  /// Opens the library found from this library's own place. Throws std::runtime_error, with one of:
  /// "ERROR : unable to find libsndfile-2 folder", no copy anywhere (the log says what to install),
  /// "ERROR : unable to load libsndfile at PATH: the loader's words", a copy that can't be opened.
  SndFileLibrary();
  /// The same from the place that `resources` works from.
  explicit SndFileLibrary(const Resources& resources);
  /// Opens exactly this file, with the second of those failures.
  explicit SndFileLibrary(const std::string& path);

  /// The one instance of the process, built at first use; a use that throws leaves the next one to try again.
  static SndFileLibrary& Instance();

  /// The distribution's library, "libsndfile.so.1" unless set; empty for none. Set it before any first use.
  static void SetFallbackName(std::string name);
  static const std::string& FallbackName();

  /// The path the library was opened by.
  const std::string& RequestedPath() const { return requestedPath; }
  /// The file it came from, which for the distribution's one the system knows.
  std::string LoadedPath() const;
  /// The library's own version text; empty if it has none.
  std::string Version() const;

  // The entry points, in the order they are resolved. One that the library lacks is empty, and calling it
  // throws std::bad_function_call: an older copy without the chunks still reads files.
  std::function<SNDFILE*(const char* path, int mode, SndFileInfo* info)> sf_open;
  std::function<int(SNDFILE* file)> sf_close;
  std::function<int64_t(SNDFILE* file, float* samples, int64_t frames)> sf_readf_float;
  std::function<int64_t(SNDFILE* file, int64_t frames, int whence)> sf_seek;
  std::function<const char*(SNDFILE* file)> sf_strerror;
  std::function<void(SNDFILE* file)> sf_write_sync;
  std::function<int64_t(SNDFILE* file, const float* samples, int64_t frames)> sf_writef_float;
  std::function<SndFileChunkIterator*(SNDFILE* file, const SndFileChunkInfo* info)> sf_get_chunk_iterator;
  std::function<int(const SndFileChunkIterator* place, SndFileChunkInfo* info)> sf_get_chunk_size;
  std::function<int(const SndFileChunkIterator* place, SndFileChunkInfo* info)> sf_get_chunk_data;
  std::function<SNDFILE*(SndFileVirtualIO* io, int mode, SndFileInfo* info, void* user)> sf_open_virtual;
  std::function<int(SNDFILE* file, int command, void* data, int dataSize)> sf_command;
  std::function<int64_t(SNDFILE* file, int16_t* samples, int64_t frames)> sf_readf_short;

 private:
  void Open(const std::string& path);
  void ResolveAll();
  template <typename Function>
  void Resolve(std::function<Function>& entry, const char* name);

  DynamicLibrary library;
  std::string requestedPath;
  const void* anyEntry = nullptr;  // an address inside the library
};

}  // namespace Vantora
