#include "cli/audio/DeclaredLength.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string_view>

namespace Vantora::cli {
namespace {

/// Header: little pieces of a file, by place.
class Header {
 public:
  explicit Header(int itsDescriptor) : descriptor(itsDescriptor) {
    struct stat status {};
    const off_t place = lseek(descriptor, 0, SEEK_CUR);
    if (place < 0 || fstat(descriptor, &status) != 0 || status.st_size < place) return;
    base = static_cast<uint64_t>(place);
    size = static_cast<uint64_t>(status.st_size) - base;
  }

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

  bool Is(uint64_t place, std::string_view four) const {
    std::array<char, 4> text{};
    return Read(place, text.data(), 4) && std::memcmp(text.data(), four.data(), 4) == 0;
  }

  DeclaredLength At(uint64_t samples, uint64_t declared) const {
    return {declared, samples < size ? size - samples : 0};
  }

 private:
  bool Read(uint64_t place, void* to, size_t bytes) const {
    return pread(descriptor, to, bytes, static_cast<off_t>(base + place)) == static_cast<ssize_t>(bytes);
  }

  int descriptor;
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
      if (longLength && *length == 0xffffffffu) return file.At(body, *longLength);
      if (IsOpenLength(*length)) return std::nullopt;
      const bool isAiff = wanted == "SSND";  // an offset and a block size stand before its samples
      return isAiff ? file.At(body + 8, *length < 8 ? 0 : *length - 8) : file.At(body, *length);
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
    if (file.Is(at, "data")) return file.At(at + 24, *length - 24);
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
      return file.At(at + 16, *length - 4);  // behind a count of edits
    }
    if (isOpen || *length > file.Size()) return std::nullopt;
    at += 12 + *length;
  }
  return std::nullopt;
}

}  // namespace

std::optional<DeclaredLength> FindDeclaredLength(int descriptor) {
  const Header file(descriptor);
  if (file.Is(0, "RIFF") || file.Is(0, "RF64")) return InChunks(file, false, "data");
  if (file.Is(0, "RIFX")) return InChunks(file, true, "data");
  if (file.Is(0, "FORM")) return InChunks(file, true, "SSND");
  if (file.Is(0, "riff")) return InW64(file);
  if (file.Is(0, "caff")) return InCaf(file);
  if (file.Is(0, ".snd")) {
    const auto samples = file.Number(4, 4, true), length = file.Number(8, 4, true);
    if (!samples || !length || IsOpenLength(*length)) return std::nullopt;
    return file.At(*samples, *length);
  }
  return std::nullopt;
}

}  // namespace Vantora::cli
