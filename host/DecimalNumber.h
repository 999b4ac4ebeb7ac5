#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Vantora::host {

/// A number at the beginning of a text.
struct DecimalNumber {
  double value;
  size_t length;  ///< characters that it takes
};

/// Reads "12", "-0.5", ".5", "1e-3" or "inf" at the beginning of `text`, correctly rounded, with a point in
/// every locale; no blank or plus sign before it, no hexadecimal. Nothing when there is no number or it is
/// too large for a double. Any thread; may allocate.
std::optional<DecimalNumber> ReadDecimal(std::string_view text);

}  // namespace Vantora::host
