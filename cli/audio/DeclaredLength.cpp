#include "cli/audio/DeclaredLength.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string_view>

namespace Vantora::cli {
namespace {

/// Header: little pieces of a file or of a stream's beginning, by place.
class Header {
 public:
  explicit Header(int itsDescriptor) : descriptor(itsDescriptor) {
    struct stat status {};
    const off_t place = lseek(descriptor, 0, SEEK_CUR);
    if (place < 0 || fstat(descriptor, &status) != 0 || status.st_size < place) return;
    base = static_cast<uint64_t>(place);
    size = static_cast<uint64_t>(status.st_size) - base;
  }
  Header(std::string_view streamBeginning, uint64_t streamSize)
      : beginning(streamBeginning), size(streamSize) {}

  uint64_t Size() const { return size; }

  /// The number of `bytes` bytes at `place`; nothing behind the end.
  std::optional<uint64_t> Number(uint64_t place, size_t bytes, bool isBigEndian) const {
    std::array<uint8_t, 8> raw{};
    if (!Read(place, raw.data(), bytes)) return std::nullopt;
    uint64_t value = 0;
    for (size_t i = 0; i < bytes; ++i) {
      value = value << 8 | raw[isBigEndian ? i : bytes - 1 - i];
    }
    return value;
  }

  bool Is(uint64_t place, std::string_view name) const {
    std::array<char, 4> text{};
    return Read(place, text.data(), name.size()) && std::memcmp(text.data(), name.data(), name.size()) == 0;
  }

  DeclaredLength At(uint64_t samples, uint64_t declared, uint64_t lengthPlace) const {
    return {declared, samples < size ? size - samples : 0, base + lengthPlace};
  }

 private:
  bool Read(uint64_t place, void* to, size_t bytes) const {
    if (descriptor < 0) {
      if (place > beginning.size() || bytes > beginning.size() - place) return false;
      std::memcpy(to, beginning.data() + place, bytes);
      return true;
    }
    return pread(descriptor, to, bytes, static_cast<off_t>(base + place)) == static_cast<ssize_t>(bytes);
  }

  int descriptor = -1;  // none: a stream
  std::string_view beginning;
  uint64_t base = 0, size = 0;
};

/// What programs write that don't know the length: all ones, or next to 2 GB.
bool IsOpenLength(uint64_t length) {
  return length >= 0xffff0000u || (length >= 0x7fff0000u && length <= 0x80010000u);
}

/// RIFF, RIFX and RF64, and FORM: a name of four letters and a length of 32 bits before each chunk.
std::optional<DeclaredLength> InChunks(const Header& file, bool isBigEndian, std::string_view wanted) {
  std::optional<uint64_t> longLength;
  constexpr int kMostChunks = 10000;
  uint64_t at = 12;
  for (int i = 0; i < kMostChunks; ++i) {
    const auto length = file.Number(at + 4, 4, isBigEndian);
    if (!length) return std::nullopt;
    const uint64_t body = at + 8;
    if (file.Is(at, "ds64")) longLength = file.Number(body + 8, 8, false);
    if (file.Is(at, wanted)) {
      if (longLength && *length == 0xffffffffu) return file.At(body, *longLength, at + 4);
      if (IsOpenLength(*length)) return std::nullopt;
      const bool isAiff = wanted == "SSND";  // an offset and a block size stand before its samples
      return isAiff ? file.At(body + 8, *length < 8 ? 0 : *length - 8, at + 4)
                    : file.At(body, *length, at + 4);
    }
    at = body + *length + *length % 2;
  }
  return std::nullopt;
}

/// W64: names of 16 letters, lengths of 64 bits that include both, chunks at multiples of 8.
std::optional<DeclaredLength> InW64(const Header& file) {
  for (uint64_t at = 40; at < file.Size();) {
    const auto length = file.Number(at + 16, 8, false);
    if (!length || *length < 24) return std::nullopt;
    if (file.Is(at, "data")) return file.At(at + 24, *length - 24, at + 16);
    if (*length > file.Size()) return std::nullopt;
    at += (*length + 7) / 8 * 8;
  }
  return std::nullopt;
}

std::optional<DeclaredLength> InCaf(const Header& file) {
  for (uint64_t at = 8; at < file.Size();) {
    const auto length = file.Number(at + 4, 8, true);
    if (!length) return std::nullopt;
    const bool isOpen = *length > uint64_t{1} << 62;  // -1
    if (file.Is(at, "data")) {
      if (isOpen || *length < 4) return std::nullopt;
      return file.At(at + 16, *length - 4, at + 4);  // behind a count of edits
    }
    if (isOpen || *length > file.Size()) return std::nullopt;
    at += 12 + *length;
  }
  return std::nullopt;
}

/// MPEG audio: the first frame may hold no sound but a table, with the bytes of all frames in it.
std::optional<DeclaredLength> InMpeg(const Header& file) {
  uint64_t at = 0;
  if (file.Is(0, "ID3")) {
    uint64_t length = 10;
    for (uint64_t i = 0; i < 4; ++i) length += file.Number(6 + i, 1, true).value_or(0) << (7 * (3 - i));
    at = length;
  }
  const auto frame = file.Number(at, 4, true);
  if (!frame || *frame >> 21 != 0x7ff) return std::nullopt;
  const bool isFirstVersion = (*frame >> 19 & 3) == 3, isMono = (*frame >> 6 & 3) == 3;
  const uint64_t side = isFirstVersion ? (isMono ? 17 : 32) : isMono ? 9 : 17;
  for (const uint64_t checksum : {0, 2}) {
    const uint64_t table = at + 4 + side + checksum;
    if (!file.Is(table, "Xing") && !file.Is(table, "Info")) continue;
    const auto flags = file.Number(table + 4, 4, true);
    if (!flags || (*flags & 2) == 0) return std::nullopt;
    const uint64_t place = table + 8 + ((*flags & 1) != 0 ? 4 : 0);
    const auto bytes = file.Number(place, 4, true);
    if (!bytes || *bytes == 0) return std::nullopt;
    return file.At(at, *bytes, place);
  }
  return std::nullopt;
}

std::optional<DeclaredLength> Find(const Header& file) {
  if (file.Is(0, "RIFF") || file.Is(0, "RF64")) return InChunks(file, false, "data");
  if (file.Is(0, "RIFX")) return InChunks(file, true, "data");
  if (file.Is(0, "FORM")) return InChunks(file, true, "SSND");
  if (file.Is(0, "riff")) return InW64(file);
  if (file.Is(0, "caff")) return InCaf(file);
  if (file.Is(0, ".snd")) {
    const auto samples = file.Number(4, 4, true), length = file.Number(8, 4, true);
    if (!samples || !length || IsOpenLength(*length)) return std::nullopt;
    return file.At(*samples, *length, 8);
  }
  return InMpeg(file);
}

}  // namespace

std::optional<DeclaredLength> FindDeclaredLength(int descriptor) { return Find(Header(descriptor)); }

std::optional<DeclaredLength> FindDeclaredLength(std::string_view beginning, uint64_t size) {
  return Find(Header(beginning, size));
}

}  // namespace Vantora::cli
