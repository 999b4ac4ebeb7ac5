#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vantora::cli {

/// OutputFile: bytes on their way to a descriptor, buffered, for libsndfile to write through.
///
/// Encoders ignore results of writes, and a closing call tells of nothing: so the first error is kept here,
/// nothing is written after it, and whoever ends a file asks for it. In a stream (a pipe, a device) a seek
/// changes nothing: bytes go out in order and can't be taken back.
class OutputFile {
 public:
  /// `descriptor` stays the caller's. What lies before its present place is another's and isn't touched.
  OutputFile(int descriptor, bool isStream);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Takes `count` bytes at the present place. False from the first failed write on.
  bool Write(const void* bytes, size_t count);
  /// Hands over what is buffered. False from the first failed write on.
  bool Flush();

  /// errno of the first error; 0 while all went well.
  int Error() const { return error; }

  /// libsndfile's view of it; the user pointer is this object.
  static SF_VIRTUAL_IO Calls();

 private:
  sf_count_t Seek(sf_count_t offset, int whence);
  sf_count_t Read(void* bytes, sf_count_t count);
  bool Move(uint64_t to);
  bool Fail(int reason);

  int descriptor;
  bool isStream;
  uint64_t base = 0;      // of the descriptor's file, where our first byte lies
  uint64_t position = 0;  // of the next byte, the buffered ones counted
  uint64_t length = 0;
  std::vector<char> buffer;
  int error = 0;
};

}  // namespace Vantora::cli
