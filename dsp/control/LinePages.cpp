#include "dsp/control/LinePages.h"

#if defined(__linux__)

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <new>

namespace Vantora::dsp {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kRegionBytes = std::size_t{64} << 20;
constexpr std::size_t kCacheLine = 64;

constexpr std::size_t RoundedUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

/// A stretch of addresses, aligned to large pages.
struct Region {
  Region* next;
  std::byte* start;
  std::size_t size;   // bytes, whole pages
  std::size_t used;   // bytes, up to where lines have been laid
  std::size_t there;  // bytes, up to where pages are in place
  bool isHuge;
  std::size_t lineCount;
  std::array<uint32_t, kRegionBytes / kHugePage> linesOn;  // each large page, of a region with several lines
};

// Both live as long as the process; neither is destroyed before the last processor that a host forgot.
constinit std::mutex regionsLock;
constinit Region* regions = nullptr;

std::byte* MapAligned(std::size_t size) noexcept {
  const std::size_t wide = size + kHugePage;
  void* const found =
      mmap(nullptr, wide, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (found == MAP_FAILED) return nullptr;
  auto* const from = static_cast<std::byte*>(found);
  const auto address = reinterpret_cast<uintptr_t>(from);
  const std::size_t ahead = RoundedUp(address, kHugePage) - address;
  if (ahead > 0) munmap(from, ahead);
  munmap(from + ahead + size, wide - ahead - size);
  return from + ahead;
}

Region* OpenRegion(std::size_t bytes, bool isHuge) noexcept {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  // Where addresses are short, as many as the line needs.
  std::size_t size = RoundedUp(std::max(bytes, kRegionBytes), page);
  std::byte* start = MapAligned(size);
  if (start == nullptr && bytes < kRegionBytes) start = MapAligned(size = RoundedUp(bytes, page));
  if (start == nullptr) return nullptr;
  auto* const region = new (std::nothrow) Region{regions, start, size, 0, 0, isHuge, 0, {}};
  if (region == nullptr) {
    munmap(start, size);
    return nullptr;
  }
  if (isHuge) madvise(start, size, MADV_HUGEPAGE);
  regions = region;
  return region;
}

void CloseRegion(Region* region) noexcept {
  Region** link = &regions;
  while (*link != region) link = &(*link)->next;
  *link = region->next;
  munmap(region->start, region->size);
  delete region;
}

// Puts pages in place as far as `end` of the region.
bool Populate(Region& region, std::size_t end) noexcept {
  if (end <= region.there) return true;
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  end = std::min(RoundedUp(end, region.isHuge ? kHugePage : page), region.size);
#if defined(MADV_POPULATE_WRITE)
  const bool isThere = madvise(region.start + region.there, end - region.there, MADV_POPULATE_WRITE) == 0;
#else
  const bool isThere = false;
#endif
  if (!isThere) {  // an older system: a write to each page does it as well
    for (std::size_t at = region.there; at < end; at += page)
      *static_cast<volatile std::byte*>(region.start + at) = std::byte{0};
  }
  region.there = end;
  return true;
}

template <typename Visit>
void ForEachLargePage(std::size_t from, std::size_t bytes, Visit&& visit) noexcept {
  for (std::size_t p = from / kHugePage; p <= (from + bytes - 1) / kHugePage; ++p) visit(p);
}

}  // namespace

void* LinePages::Take(std::size_t bytes) noexcept {
  bytes = RoundedUp(bytes, kCacheLine);
  const bool isHuge = bytes >= kHugeFrom;
  const std::lock_guard lock(regionsLock);
  Region* region = regions;
  while (region != nullptr && (region->isHuge != isHuge || region->size - region->used < bytes))
    region = region->next;
  if (region == nullptr) region = OpenRegion(bytes, isHuge);
  if (region == nullptr || !Populate(*region, region->used + bytes)) return nullptr;
  std::byte* const line = region->start + region->used;
  if (region->size <= kRegionBytes)
    ForEachLargePage(region->used, bytes, [&](std::size_t p) { ++region->linesOn[p]; });
  region->used += bytes;
  ++region->lineCount;
  return line;
}

void LinePages::Return(void* line, std::size_t bytes) noexcept {
  bytes = RoundedUp(bytes, kCacheLine);
  auto* const start = static_cast<std::byte*>(line);
  const std::lock_guard lock(regionsLock);
  Region* region = regions;
  while (start < region->start || start >= region->start + region->size) region = region->next;
  if (--region->lineCount == 0) {
    CloseRegion(region);
    return;
  }
  // Pages that nothing lies on any more, and nothing will.
  ForEachLargePage(static_cast<std::size_t>(start - region->start), bytes, [&](std::size_t p) {
    const std::size_t end = std::min((p + 1) * kHugePage, region->size);
    if (--region->linesOn[p] == 0 && end <= region->used)
      madvise(region->start + p * kHugePage, end - p * kHugePage, MADV_DONTNEED);
  });
}

}  // namespace Vantora::dsp

#else

namespace Vantora::dsp {

void* LinePages::Take(std::size_t) noexcept { return nullptr; }
void LinePages::Return(void*, std::size_t) noexcept {}

}  // namespace Vantora::dsp

#endif
