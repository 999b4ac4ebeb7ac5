#pragma once

#include <unistd.h>

#include <utility>

namespace Vantora::host {

/// FileDescriptor: an open file by its POSIX number, closed at the end of its scope. A negative number, as a
/// failed `open` gives it, is none. Any thread, one at a time.
class FileDescriptor {
 public:
  explicit FileDescriptor(int opened) : number(opened) {}
  ~FileDescriptor() {
    if (number >= 0) close(number);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  operator int() const { return number; }  // for the calls that take one
  /// The number, which the caller closes from now on.
  int Release() { return std::exchange(number, -1); }

 private:
  int number;
};

}  // namespace Vantora::host
