#include "host/loading/LibraryImage.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "host/HostError.h"
#include "host/files/FileDescriptor.h"

namespace Vantora::host {
namespace {

std::string Subject(const std::filesystem::path& path) {
  return "The processor library \"" + path.string() + '"';
}

/// The loader's last complaint. It begins with the path, which the sentence around it names already.
std::string LoaderMessage(const std::string& loaded) {
  const char* text = dlerror();
  std::string message = text != nullptr ? text : "the dynamic loader gave no reason";
  const std::string prefix = loaded + ": ";
  if (message.starts_with(prefix)) message.erase(0, prefix.size());
  return message;
}

/// A copy of the file that lives in memory only.
int CopyIntoMemory(const std::filesystem::path& path) {
  const FileDescriptor source(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  FileDescriptor copy(memfd_create("processor", MFD_CLOEXEC));
  if (source < 0 || copy < 0 || fstat(source, &status) != 0) {
    throw HostError(Subject(path) + " can't be read: " + std::strerror(errno) + '.');
  }
  for (off_t left = status.st_size; left > 0;) {
    const ssize_t moved = sendfile(copy, source, nullptr, static_cast<size_t>(left));
    if (moved <= 0) throw HostError(Subject(path) + " can't be copied into memory.");
    left -= moved;
  }
  return copy.Release();
}

std::string NameOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

}  // namespace

LibraryImage::LibraryImage(const std::filesystem::path& path, bool isPrivate) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) throw HostError(Subject(path) + " does not exist.");
  if (std::filesystem::is_directory(path, error)) throw HostError(Subject(path) + " is a folder.");
  if (isPrivate) copy = CopyIntoMemory(path);
  const std::string name = isPrivate ? NameOf(copy) : path.string();
  handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const std::string reason = LoaderMessage(name);
    if (copy >= 0) close(copy);
    throw HostError(Subject(path) + " can't be loaded: " + reason + '.');
  }
}

LibraryImage::~LibraryImage() {
  dlclose(handle);
  if (copy < 0) return;
  // The loader takes a name it knows for the image it knows, before it looks at the file. So the descriptor,
  // whose number is the name, stays open as long as the image does: for good, if something in it keeps it
  // loaded.
  if (void* remains = dlopen(NameOf(copy).c_str(), RTLD_NOW | RTLD_NOLOAD); remains != nullptr) {
    dlclose(remains);
    return;
  }
  close(copy);
}

void* LibraryImage::Symbol(const char* name) const { return dlsym(handle, name); }

}  // namespace Vantora::host
