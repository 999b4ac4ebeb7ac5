#include "cli/audio/ShortenedFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli/Failure.h"

namespace Vantora::cli {

bool ShortenedFile::IsNeeded(const std::string& path, const DeclaredLength& length) {
  std::array<char, 4> name{};
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool isCaf = pread(file, name.data(), 4, 0) == 4 && std::memcmp(name.data(), "caff", 4) == 0;
  close(file);
  return isCaf && length.IsCut();
}

ShortenedFile::ShortenedFile(const std::string& path, const DeclaredLength& declared)
    : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      lengthPlace(static_cast<sf_count_t>(declared.place)) {
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    throw Failure(fmt::format("{}: {}", path, std::strerror(errno)));
  }
  size = status.st_size;
  uint64_t value = declared.present + 4;  // a count of edits stands before the samples
  for (size_t i = length.size(); i-- > 0; value >>= 8) length[i] = static_cast<uint8_t>(value);
}

ShortenedFile::~ShortenedFile() {
  if (descriptor >= 0) close(descriptor);
}

SNDFILE* ShortenedFile::Open(SF_INFO* info) {
  SF_VIRTUAL_IO calls{Size, Seek, Read, nullptr, Tell};
  return sf_open_virtual(&calls, SFM_READ, info, this);
}

sf_count_t ShortenedFile::Size(void* self) { return static_cast<ShortenedFile*>(self)->size; }

sf_count_t ShortenedFile::Tell(void* self) { return static_cast<ShortenedFile*>(self)->place; }

sf_count_t ShortenedFile::Seek(sf_count_t offset, int whence, void* self) {
  auto& file = *static_cast<ShortenedFile*>(self);
  const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.place : file.size;
  if (from + offset < 0) return -1;
  return file.place = from + offset;
}

sf_count_t ShortenedFile::Read(void* to, sf_count_t count, void* self) {
  auto& file = *static_cast<ShortenedFile*>(self);
  const ssize_t got = pread(file.descriptor, to, static_cast<size_t>(count), file.place);
  if (got <= 0) return 0;
  const sf_count_t begin = std::max(file.place, file.lengthPlace);
  const sf_count_t end = std::min<sf_count_t>(file.place + got, file.lengthPlace + 8);
  if (begin < end) {
    std::memcpy(static_cast<char*>(to) + (begin - file.place),
                file.length.data() + (begin - file.lengthPlace), static_cast<size_t>(end - begin));
  }
  file.place += got;
  return got;
}

}  // namespace Vantora::cli
