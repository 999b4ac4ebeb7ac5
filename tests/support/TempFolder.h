#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Vantora::testsupport {

/// TempFolder: a folder of its own for a test, removed with everything in it.
class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "prismel-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path = std::filesystem::canonical(name).string();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Without a trailing separator.
  const std::string& Path() const { return path; }
  std::string operator/(std::string_view name) const { return path + "/" + std::string(name); }

  /// Writes a file, and the folders it lies in; returns its path.
  std::string Write(std::string_view name, std::string_view content) const {
    const std::string file = *this / name;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

  /// A file's whole content; empty if there is none.
  static std::string Read(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  std::string path;
};

}  // namespace Vantora::testsupport
