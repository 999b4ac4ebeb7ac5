#pragma once

#include <dlfcn.h>

#include <filesystem>
#include <string>

#include "host/loading/ProcessorLibrary.h"
#include "tests/host/FakeProcessor.h"

namespace Vantora::host {

/// Path of the fake of that kind: "good", "fake_no_entry", ...
inline std::filesystem::path FakePath(const std::string& kind) {
  return std::filesystem::path(FAKE_FOLDER) / ("libfakeProcessor_" + kind + ".so");
}

/// The good fake, in the shared image, with an empty record.
class FakeLibrary {
 public:
  FakeLibrary() : handle(dlopen(FakePath("good").c_str(), RTLD_NOW)), library(FakePath("good")) {
    record = reinterpret_cast<FakeRecordFunction>(dlsym(handle, kFakeRecordFunction))();
    *record = {};
  }
  ~FakeLibrary() { dlclose(handle); }
  FakeLibrary(const FakeLibrary&) = delete;
  FakeLibrary& operator=(const FakeLibrary&) = delete;

  void* handle;
  ProcessorLibrary library;
  FakeRecord* record;
};

}  // namespace Vantora::host
