#include "tools/DynamicLibrary.h"

#include <string_view>
#include <utility>

#include "tools/Platform.h"

namespace Vantora {

DynamicLibrary::~DynamicLibrary() { Unload(); }

bool DynamicLibrary::Load(const char* path, bool openBundle) {
  Unload();
  isBundle = openBundle;
  if (isBundle) {
    error = "bundles are not supported on this platform";
    return false;
  }
  // The loader would wait at a named pipe until somebody writes to it. A bare name isn't a path to it.
  const bool isPath = path != nullptr && std::string_view(path).find('/') != std::string_view::npos;
  if (isPath && platform::KindOfFile(path) == platform::FileKind::Other) {
    error = std::string(path) + ": not a regular file";
    return false;
  }
  handle = platform::OpenLibrary(path, error);
  return handle != nullptr;
}

void* DynamicLibrary::GetFunction(const char* name, bool /*callBundleEntry*/) {
  if (handle == nullptr) {
    error = "no library is loaded";
    return nullptr;
  }
  return platform::FindSymbol(handle, name, error);
}

void DynamicLibrary::Unload() {
  if (handle != nullptr) platform::CloseLibrary(std::exchange(handle, nullptr));
}

}  // namespace Vantora
