#include "tools/SndFileHandle.h"

#include <functional>

#include "tools/CLog.h"
#include "tools/SndFileLibrary.h"

namespace Vantora {

namespace {

constexpr const char* kCategory = "audio_engine";

}  // namespace

SndFileHandle::~SndFileHandle() {
  try {
    Close();
  } catch (const std::bad_function_call&) {
    // A library that opens files and can't close them: the file stays open, the process lives.
  }
}

SndFileHandle& SndFileHandle::operator=(SndFileHandle&& other) noexcept {
  // Swapped, so that `other` closes what was ours.
  std::swap(file, other.file);
  std::swap(library, other.library);
  return *this;
}

SndFileHandle SndFileHandle::OpenForReading(const std::string& path, SndFileInfo& info) {
  const SndFileLibrary& library = SndFileLibrary::Instance();
  SndFileHandle handle(library.sf_open(path.c_str(), kSndFileRead, &info), library);
  if (handle.IsOpen() && CLog::Instance().IsEnabled(kCategory, kLogNotice)) {
    CLog::Instance().Write(kCategory, kLogNotice, "libsndfile: Opened sample file " + path);
  }
  return handle;
}

void SndFileHandle::Close() {
  if (file == nullptr) return;
  SNDFILE* const closing = std::exchange(file, nullptr);
  if (library->sf_close(closing) != 0 && CLog::Instance().IsEnabled(kCategory, kLogError)) {
    CLog::Instance().Write(kCategory, kLogError, "libsndfile: error while closing sample file");
  }
}

}  // namespace Vantora
