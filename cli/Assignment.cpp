#include "cli/Assignment.h"

#include <fmt/format.h>

#include "cli/Failure.h"

namespace Vantora::cli {

Assignment Assignment::Parse(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
    throw UsageError(fmt::format("'{}' isn't NAME=VALUE", text));
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

}  // namespace Vantora::cli
