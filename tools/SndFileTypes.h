#pragma once

#include <cstddef>
#include <cstdint>

namespace Vantora {

/// The records of libsndfile's C interface, laid out as it publishes them. Ours, because the library is
/// opened at run time and building needs nothing of it.

/// An open file; only libsndfile knows what is inside.
struct SNDFILE;

/// What is known of a file's sound.
struct SndFileInfo {
  int64_t frames = 0;  ///< samples per channel, as far as the file's header tells the truth
  int32_t sampleRate = 0;
  int32_t channels = 0;
  int32_t format = 0;
  int32_t sections = 0;
  int32_t seekable = 0;
};
static_assert(sizeof(SndFileInfo) == 32 && offsetof(SndFileInfo, sampleRate) == 8 &&
              offsetof(SndFileInfo, seekable) == 24);

/// File operations of the caller's, for sf_open_virtual.
struct SndFileVirtualIO {
  int64_t (*length)(void* user) = nullptr;
  int64_t (*seek)(int64_t offset, int whence, void* user) = nullptr;
  int64_t (*read)(void* data, int64_t bytes, void* user) = nullptr;
  int64_t (*write)(const void* data, int64_t bytes, void* user) = nullptr;
  int64_t (*tell)(void* user) = nullptr;
};
static_assert(sizeof(SndFileVirtualIO) == 5 * sizeof(void*));

/// A chunk of a file besides its sound.
struct SndFileChunkInfo {
  char id[64] = {};
  uint32_t idSize = 0;
  uint32_t dataLength = 0;  // bytes
  void* data = nullptr;     // the caller's
};
static_assert(sizeof(SndFileChunkInfo) == 80 && offsetof(SndFileChunkInfo, dataLength) == 68);

/// A place among the chunks of a file; belongs to it.
struct SndFileChunkIterator;

/// Modes of sf_open.
enum SndFileMode : int32_t { kSndFileRead = 0x10, kSndFileWrite = 0x20 };

/// Commands of sf_command.
enum SndFileCommand : int32_t { kSndFileGetVersion = 0x1000 };

}  // namespace Vantora
