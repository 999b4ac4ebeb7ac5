#ifndef FMT_HEADER_ONLY
#define FMT_HEADER_ONLY  // here alone
#endif
#include "host/Format.h"

#include <fmt/format.h>

namespace Vantora::host {

std::string FormatPacked(fmt::string_view pattern, fmt::format_args arguments) {
  return fmt::vformat(pattern, arguments);
}

}  // namespace Vantora::host
