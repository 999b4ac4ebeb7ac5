#pragma once

#include <string>

namespace Vantora::cli {

/// Assignment: "NAME=VALUE" taken apart.
struct Assignment {
  std::string name;
  std::string value;

  /// Throws UsageError where there is no name, no "=" or no value.
  static Assignment Parse(const std::string& text);
};

}  // namespace Vantora::cli
