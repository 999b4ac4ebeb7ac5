#include "cli/audio/OggSerial.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

// RFC 3533: a page is a header of 27 bytes, a table of segment lengths and
// the segments. The checksum is a CRC with polynomial 0x04c11db7, nothing
// reflected, start and end 0, over the page with the checksum set to 0.
constexpr size_t kHeaderBytes = 27;
constexpr size_t kSerialAt = 14;
constexpr size_t kChecksumAt = 22;
constexpr size_t kSegmentCountAt = 26;

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t r = i << 24;
    for (int bit = 0; bit < 8; ++bit) r = (r & 0x80000000u) != 0 ? (r << 1) ^ 0x04c11db7u : r << 1;
    table[i] = r;
  }
  return table;
}

uint32_t Checksum(const std::vector<uint8_t>& page) {
  static constexpr auto kTable = MakeTable();
  uint32_t crc = 0;
  for (const uint8_t byte : page) crc = (crc << 8) ^ kTable[((crc >> 24) ^ byte) & 0xff];
  return crc;
}

void Put(std::vector<uint8_t>& page, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) page[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

void FixOggSerial(int descriptor, const std::string& name) {
  // The file itself, whatever its name leads to by now.
  std::fstream file(fmt::format("/proc/self/fd/{}", descriptor),
                    std::ios::in | std::ios::out | std::ios::binary);
  const auto fail = [&] { return Failure(fmt::format("{}: the Ogg file can't be finished", name)); };
  std::streamoff at = 0;
  std::vector<uint8_t> page(kHeaderBytes);
  const auto read = [&](size_t offset, size_t count) {
    file.read(reinterpret_cast<char*>(page.data() + offset), static_cast<std::streamsize>(count));
    return file.gcount() == static_cast<std::streamsize>(count);
  };
  while (file.seekg(at), page.resize(kHeaderBytes), read(0, kHeaderBytes)) {
    if (std::memcmp(page.data(), "OggS", 4) != 0) throw fail();
    const size_t segments = page[kSegmentCountAt];
    page.resize(kHeaderBytes + segments);
    if (!read(kHeaderBytes, segments)) throw fail();
    size_t body = 0;
    for (size_t i = 0; i < segments; ++i) body += page[kHeaderBytes + i];
    page.resize(kHeaderBytes + segments + body);
    if (!read(kHeaderBytes + segments, body)) throw fail();
    Put(page, kSerialAt, 1);
    Put(page, kChecksumAt, 0);
    Put(page, kChecksumAt, Checksum(page));
    file.seekp(at);
    file.write(reinterpret_cast<const char*>(page.data()), kHeaderBytes);
    if (!file) throw fail();
    at += static_cast<std::streamoff>(page.size());
  }
  file.clear();
  file.flush();
  if (!file || at == 0) throw fail();
}

}  // namespace Vantora::cli
