#include "tools/Platform.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace Vantora::platform {

uint64_t ThreadId() {
  // One system call a thread: glibc doesn't remember it for us.
  thread_local const uint64_t id = static_cast<uint64_t>(::syscall(SYS_gettid));
  return id;
}

std::string LocalTimeText(std::time_t time) {
  char text[64];  // the standard's 26 hold a year of four digits only
  const char* const written = ::ctime_r(&time, text);
  return written ? written : std::string();
}

const char* HomeFolder() { return std::getenv("HOME"); }

FileKind KindOfFile(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return FileKind::Missing;
  if (S_ISREG(status.st_mode)) return FileKind::Regular;
  return S_ISDIR(status.st_mode) ? FileKind::Folder : FileKind::Other;
}

bool ResolvePath(const std::string& path, std::string& resolved) {
  char buffer[PATH_MAX];
  if (::realpath(path.c_str(), buffer) == nullptr) return false;
  resolved = buffer;
  return true;
}

bool FileOfAddress(const void* address, std::string& file) {
  Dl_info info;
  if (::dladdr(address, &info) == 0 || info.dli_fname == nullptr) return false;
  file = info.dli_fname;
  // A program that was found through PATH is known by its bare name, which means another file elsewhere.
  if (file.find('/') == std::string::npos) ResolvePath("/proc/self/exe", file);
  return true;
}

namespace {

/// The loader's last words, which it forgets by telling them.
std::string LoaderError() {
  const char* const text = ::dlerror();
  return text ? text : std::string();
}

}  // namespace

void* OpenLibrary(const char* path, std::string& error) {
  void* const library = ::dlopen(path, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) error = LoaderError();
  return library;
}

void* FindSymbol(void* library, const char* name, std::string& error) {
  void* const address = ::dlsym(library, name);
  if (address == nullptr) error = LoaderError();
  return address;
}

void CloseLibrary(void* library) { ::dlclose(library); }

}  // namespace Vantora::platform
