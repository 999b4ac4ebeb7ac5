#include "host/ProcessorLibrary.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>

#include <vector>

#include "host/HostError.h"

namespace Vantora::host {
namespace {

constexpr const char* kFileName = "libprismelProcessor.so";
constexpr const char* kEntryPoint = "GetProcessorFactory";
using EntryPoint = Processor::IProcessorFactory* (*)();

std::string Quoted(const std::filesystem::path& path) { return '"' + path.string() + '"'; }

/// The text of a fixed field, also when its terminator is missing.
template <size_t Size>
std::string FieldText(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

/// The loader's last complaint. It begins with the path, which the sentence around it names already.
std::string LoaderMessage(const std::filesystem::path& path) {
  const char* text = dlerror();
  std::string message = text != nullptr ? text : "the dynamic loader gave no reason";
  const std::string prefix = path.string() + ": ";
  if (message.starts_with(prefix)) message.erase(0, prefix.size());
  return message;
}

/// A file descriptor that is closed with its scope.
class Descriptor {
 public:
  explicit Descriptor(int opened) : number(opened) {}
  ~Descriptor() {
    if (number >= 0) close(number);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  operator int() const { return number; }  // for the calls that take one

 private:
  int number;
};

/// Loads a copy of the file that lives in memory only. The loader tells images apart by device and inode, so
/// a copy gets code and data of its own.
void* OpenPrivately(const std::filesystem::path& path) {
  const Descriptor source(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  const Descriptor copy(memfd_create("processor", MFD_CLOEXEC));
  if (source < 0 || copy < 0 || fstat(source, &status) != 0) {
    throw HostError("The processor library " + Quoted(path) + " can't be read: " + std::strerror(errno) +
                    '.');
  }
  for (off_t left = status.st_size; left > 0;) {
    const ssize_t moved = sendfile(copy, source, nullptr, static_cast<size_t>(left));
    if (moved <= 0) {
      throw HostError("The processor library " + Quoted(path) + " can't be copied into memory.");
    }
    left -= moved;
  }
  const std::string name = "/proc/self/fd/" + std::to_string(static_cast<int>(copy));
  return dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

struct ProcessorLibrary::Loaded {
  std::filesystem::path path;
  void* handle = nullptr;
  Processor::IProcessorFactory* factory = nullptr;
  std::string name, vendor, version;
  uint32_t interfaceVersion = 0;

  Loaded(const std::filesystem::path& file, Image image) : path(std::filesystem::absolute(file)) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
      throw HostError("The processor library " + Quoted(path) + " does not exist.");
    }
    if (std::filesystem::is_directory(path, error)) {
      throw HostError("The processor library " + Quoted(path) + " is a folder.");
    }
    handle = image == Image::kPrivate ? OpenPrivately(path) : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      throw HostError("The processor library " + Quoted(path) + " can't be loaded: " + LoaderMessage(path) +
                      '.');
    }
    try {
      Meet();
    } catch (...) {
      Close();
      throw;
    }
  }

  ~Loaded() { Close(); }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

 private:
  /// Asks the library who it is.
  void Meet() {
    const auto entryPoint = reinterpret_cast<EntryPoint>(dlsym(handle, kEntryPoint));
    if (entryPoint == nullptr) {
      throw HostError(Quoted(path) + " is not a processor library: it has no entry point " + kEntryPoint +
                      '.');
    }
    try {
      factory = entryPoint();
    } catch (const std::exception& reason) {
      throw HostError("The processor library " + Quoted(path) +
                      " failed to make its factory: " + reason.what() + '.');
    }
    if (factory == nullptr) throw HostError("The processor library " + Quoted(path) + " gave no factory.");
    interfaceVersion = factory->GetInterfaceVersion();
    if (interfaceVersion != kInterfaceVersion) {
      throw HostError("The processor library " + Quoted(path) + " speaks interface version " +
                      std::to_string(interfaceVersion) + ", but version " +
                      std::to_string(kInterfaceVersion) + " is needed.");
    }
    name = FieldText(factory->name);
    vendor = FieldText(factory->vendor);
    version = FieldText(factory->version);
  }

  void Close() {
    delete factory;
    factory = nullptr;
    if (handle != nullptr) dlclose(handle);
    handle = nullptr;
  }
};

ProcessorLibrary::ProcessorLibrary(const std::filesystem::path& path, Image image)
    : loaded(std::make_shared<const Loaded>(path, image)) {}

const std::filesystem::path& ProcessorLibrary::Path() const { return loaded->path; }
const std::string& ProcessorLibrary::Name() const { return loaded->name; }
const std::string& ProcessorLibrary::Vendor() const { return loaded->vendor; }
const std::string& ProcessorLibrary::Version() const { return loaded->version; }
uint32_t ProcessorLibrary::InterfaceVersion() const { return loaded->interfaceVersion; }

Processor::IProcessor_V7* ProcessorLibrary::CreateProcessor() const {
  Processor::IProcessor_V7* processor = nullptr;
  try {
    processor = loaded->factory->CreateProcessor();
  } catch (const std::exception& reason) {
    throw HostError("The processor library " + Quoted(loaded->path) +
                    " failed to make a processor: " + reason.what() + '.');
  }
  if (processor == nullptr) throw HostError("There is not enough memory for a processor.");
  return processor;
}

std::filesystem::path ProcessorLibrary::Find() {
  namespace fs = std::filesystem;
  if (const char* named = std::getenv("PRISMEL_LIBRARY"); named != nullptr && *named != '\0') return named;

  std::error_code error;
  std::vector<fs::path> folders;
  if (const fs::path program = fs::read_symlink("/proc/self/exe", error); !error) {
    const fs::path folder = program.parent_path();
    folders = {folder, folder.parent_path() / "processor", folder.parent_path() / "lib"};
#ifdef PRISMEL_INSTALL_LIBDIR
    folders.push_back(folder.parent_path() / PRISMEL_INSTALL_LIBDIR);
#endif
  }
#ifdef PRISMEL_INSTALL_FULL_LIBDIR
  folders.emplace_back(PRISMEL_INSTALL_FULL_LIBDIR);
#endif
  std::string sought;
  for (const fs::path& folder : folders) {
    if (fs::exists(folder / kFileName, error)) return folder / kFileName;
    sought += (sought.empty() ? "" : ", ") + folder.string();
  }
  throw HostError(std::string("The processor library ") + kFileName + " is in none of the folders " + sought +
                  "; set PRISMEL_LIBRARY to its path.");
}

}  // namespace Vantora::host
