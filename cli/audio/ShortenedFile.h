#pragma once

#include <sndfile.h>

#include <array>
#include <cstdint>
#include <string>

#include "cli/audio/DeclaredLength.h"

namespace Vantora::cli {

/// ShortenedFile: a CAF file that ends before its time, as libsndfile wants to see it: with the length of
/// what is there in its header. libsndfile refuses it otherwise; of every other kind it takes what there is.
///
/// Lives as long as the SNDFILE that reads it.
class ShortenedFile {
 public:
  /// Whether the file at `path` is one.
  static bool IsNeeded(const std::string& path, const DeclaredLength& length);

  /// Throws Failure.
  ShortenedFile(const std::string& path, const DeclaredLength& length);
  ~ShortenedFile();
  ShortenedFile(const ShortenedFile&) = delete;
  ShortenedFile& operator=(const ShortenedFile&) = delete;

  /// As sf_open.
  SNDFILE* Open(SF_INFO* info);

 private:
  static sf_count_t Size(void* self);
  static sf_count_t Seek(sf_count_t offset, int whence, void* self);
  static sf_count_t Read(void* to, sf_count_t count, void* self);
  static sf_count_t Tell(void* self);

  int descriptor;
  sf_count_t size = 0, place = 0;
  sf_count_t lengthPlace;
  std::array<uint8_t, 8> length{};  // big-endian, in place of the file's
};

}  // namespace Vantora::cli
