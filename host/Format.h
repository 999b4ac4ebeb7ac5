#pragma once

#include <fmt/core.h>

#include <string>

namespace Vantora::host {

/// `Format` with its arguments packed: the one place that compiles how numbers are written.
std::string FormatPacked(fmt::string_view pattern, fmt::format_args arguments);

/// `fmt::format`, checked by the compiler as there, without the cost of its body in each file that calls it:
/// the library's headers would compile it anew, and a linked library would be one more at load. Arguments are
/// numbers and texts. Any thread; throws `std::bad_alloc`.
template <typename... Arguments>
std::string Format(fmt::format_string<Arguments...> pattern, Arguments&&... arguments) {
  return FormatPacked(pattern, fmt::make_format_args(arguments...));
}

}  // namespace Vantora::host
