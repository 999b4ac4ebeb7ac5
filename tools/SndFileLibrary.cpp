#include "tools/SndFileLibrary.h"

#include <stdexcept>
#include <utility>

#include "tools/CLog.h"
#include "tools/Platform.h"
#include "tools/Resources.h"

namespace Vantora {

namespace {

constexpr const char* kCategory = "audio_engine";
constexpr const char* kLibraryName = "libsndfile-2";

std::string& FallbackNameStorage() {
  static std::string name = "libsndfile.so.1";
  return name;
}

}  // namespace

SndFileLibrary::SndFileLibrary() : SndFileLibrary(Resources::Instance()) {}

SndFileLibrary::SndFileLibrary(const Resources& resources) {
  std::string path;
  try {
    path = resources.GetSharedLibraryPath(kLibraryName);
  } catch (const std::runtime_error&) {
    const std::string& fallback = FallbackName();
    if (fallback.empty() || !library.Load(fallback.c_str(), false)) {
      LogError(kCategory, "libsndfile: neither " + std::string(kLibraryName) + " nor " + fallback +
                              " can be opened; on Debian install the package libsndfile1");
      throw;
    }
    requestedPath = fallback;
    ResolveAll();
    return;
  }
  Open(path);
}

SndFileLibrary::SndFileLibrary(const std::string& path) { Open(path); }

SndFileLibrary& SndFileLibrary::Instance() {
  static SndFileLibrary instance;
  return instance;
}

void SndFileLibrary::SetFallbackName(std::string name) { FallbackNameStorage() = std::move(name); }

const std::string& SndFileLibrary::FallbackName() { return FallbackNameStorage(); }

void SndFileLibrary::Open(const std::string& path) {
  requestedPath = path;
  if (!library.Load(path.c_str(), false)) {
    throw std::runtime_error("ERROR : unable to load libsndfile at " + path + ": " + library.Error());
  }
  ResolveAll();
}

template <typename Function>
void SndFileLibrary::Resolve(std::function<Function>& entry, const char* name) {
  if (!library.IsLoaded()) return;
  void* const address = library.GetFunction(name, true);
  if (address == nullptr) return;
  entry = reinterpret_cast<Function*>(address);
  anyEntry = address;
}

void SndFileLibrary::ResolveAll() {
  Resolve(sf_open, "sf_open");
  Resolve(sf_close, "sf_close");
  Resolve(sf_readf_float, "sf_readf_float");
  Resolve(sf_seek, "sf_seek");
  Resolve(sf_strerror, "sf_strerror");
  Resolve(sf_write_sync, "sf_write_sync");
  Resolve(sf_writef_float, "sf_writef_float");
  Resolve(sf_get_chunk_iterator, "sf_get_chunk_iterator");
  Resolve(sf_get_chunk_size, "sf_get_chunk_size");
  Resolve(sf_get_chunk_data, "sf_get_chunk_data");
  Resolve(sf_open_virtual, "sf_open_virtual");
  Resolve(sf_command, "sf_command");
  Resolve(sf_readf_short, "sf_readf_short");
}

std::string SndFileLibrary::LoadedPath() const {
  std::string path = requestedPath;
  if (anyEntry != nullptr && platform::FileOfAddress(anyEntry, path)) platform::ResolvePath(path, path);
  return path;
}

std::string SndFileLibrary::Version() const {
  char text[128] = {};
  if (sf_command) sf_command(nullptr, kSndFileGetVersion, text, static_cast<int>(sizeof text) - 1);
  return text;
}

}  // namespace Vantora
