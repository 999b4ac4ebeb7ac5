#include "cli/audio/OutputFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace Vantora::cli {
namespace {

constexpr size_t kBufferBytes = 256 * 1024;

}  // namespace

OutputFile::OutputFile(int itsDescriptor, bool stream) : descriptor(itsDescriptor), isStream(stream) {
  buffer.reserve(kBufferBytes);
  if (isStream) return;
  const off_t place = lseek(descriptor, 0, SEEK_CUR);
  place < 0 ? static_cast<void>(Fail(errno)) : static_cast<void>(base = static_cast<uint64_t>(place));
}

bool OutputFile::Fail(int reason) {
  if (error == 0) error = reason != 0 ? reason : EIO;
  buffer.clear();
  return false;
}

bool OutputFile::Flush() {
  if (error != 0) return false;
  for (size_t sent = 0; sent < buffer.size();) {
    const ssize_t now = ::write(descriptor, buffer.data() + sent, buffer.size() - sent);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return Fail(now < 0 ? errno : ENOSPC);
    sent += static_cast<size_t>(now);
  }
  buffer.clear();
  return true;
}

bool OutputFile::Write(const void* bytes, size_t count) {
  if (error != 0) return false;
  const auto* from = static_cast<const char*>(bytes);
  for (size_t taken = 0; taken < count;) {
    const size_t now = std::min(count - taken, kBufferBytes - buffer.size());
    buffer.insert(buffer.end(), from + taken, from + taken + now);
    taken += now;
    if (buffer.size() == kBufferBytes && !Flush()) return false;
  }
  position += count;
  length = std::max(length, position);
  return true;
}

bool OutputFile::Move(uint64_t to) {
  if (to == position) return true;
  if (!Flush()) return false;
  if (lseek(descriptor, static_cast<off_t>(base + to), SEEK_SET) < 0) return Fail(errno);
  position = to;
  return true;
}

sf_count_t OutputFile::Seek(sf_count_t offset, int whence) {
  const auto here = static_cast<sf_count_t>(position);
  if (isStream) return here;
  const sf_count_t from = whence == SEEK_CUR   ? here
                          : whence == SEEK_END ? static_cast<sf_count_t>(length)
                                               : 0;
  return from + offset >= 0 && Move(static_cast<uint64_t>(from + offset)) ? from + offset : -1;
}

sf_count_t OutputFile::Read(void* bytes, sf_count_t count) {
  if (isStream || !Flush()) return 0;
  const ssize_t got = ::read(descriptor, bytes, static_cast<size_t>(count));
  if (got < 0) Fail(errno);
  if (got > 0) position += static_cast<uint64_t>(got);
  return std::max<sf_count_t>(got, 0);
}

SF_VIRTUAL_IO OutputFile::Calls() {
  SF_VIRTUAL_IO calls{};
  calls.get_filelen = [](void* user) {
    return static_cast<sf_count_t>(static_cast<OutputFile*>(user)->length);
  };
  calls.tell = [](void* user) { return static_cast<sf_count_t>(static_cast<OutputFile*>(user)->position); };
  calls.seek = [](sf_count_t offset, int whence, void* user) {
    return static_cast<OutputFile*>(user)->Seek(offset, whence);
  };
  calls.read = [](void* bytes, sf_count_t count, void* user) {
    return static_cast<OutputFile*>(user)->Read(bytes, count);
  };
  calls.write = [](const void* bytes, sf_count_t count, void* user) {
    return static_cast<OutputFile*>(user)->Write(bytes, static_cast<size_t>(count)) ? count : sf_count_t{0};
  };
  return calls;
}

}  // namespace Vantora::cli
