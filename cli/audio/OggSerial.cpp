#include "cli/audio/OggSerial.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
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
  const auto fail = [&](const char* why) {
    return Failure(fmt::format("{}: the Ogg file can't be finished: {}", name, why));
  };
  // All of `count` bytes at `place`, however many calls that takes; fewer at the file's end only.
  const auto move = [&](auto&& call, uint8_t* bytes, size_t count, off_t place) {
    size_t done = 0;
    while (done < count) {
      const ssize_t now = call(descriptor, bytes + done, count - done, place + static_cast<off_t>(done));
      if (now < 0 && errno == EINTR) continue;
      if (now < 0) throw fail(std::strerror(errno));
      if (now == 0) break;
      done += static_cast<size_t>(now);
    }
    return done;
  };
  off_t at = 0;
  std::vector<uint8_t> page;
  const auto read = [&](size_t offset, size_t count) {
    page.resize(offset + count);
    const size_t got = move(pread, page.data() + offset, count, at + static_cast<off_t>(offset));
    if (got < count && offset + got > 0) throw fail("it is cut");
    return got == count;
  };
  while (read(0, kHeaderBytes)) {
    if (std::memcmp(page.data(), "OggS", 4) != 0) throw fail("it is no Ogg file");
    const size_t segments = page[kSegmentCountAt];
    read(kHeaderBytes, segments);
    size_t body = 0;
    for (size_t i = 0; i < segments; ++i) body += page[kHeaderBytes + i];
    read(kHeaderBytes + segments, body);
    Put(page, kSerialAt, 1);
    Put(page, kChecksumAt, 0);
    Put(page, kChecksumAt, Checksum(page));
    if (move(pwrite, page.data(), kHeaderBytes, at) < kHeaderBytes) throw fail("the disk is full");
    at += static_cast<off_t>(page.size());
  }
  if (at == 0) throw fail("it is empty");
}

}  // namespace Vantora::cli
