#include "host/DecimalNumber.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>

namespace Vantora::host {

#if defined(__EMSCRIPTEN__)

// Its library has no `from_chars` for doubles. What `strtod` takes beyond that (blanks, a plus sign,
// hexadecimal digits) is kept from it; a program of its own, it stays in the locale "C".
std::optional<DecimalNumber> ReadDecimal(std::string_view text) {
  const size_t sign = text.starts_with('-') ? 1 : 0;
  if (text.size() <= sign) return std::nullopt;
  const char first = text[sign];
  const bool isWord = first == 'i' || first == 'I' || first == 'n' || first == 'N';
  if (!isWord && first != '.' && (first < '0' || first > '9')) return std::nullopt;
  const bool isHexadecimal = text.size() > sign + 1 && first == '0' && (text[sign + 1] | 0x20) == 'x';
  const std::string copy(isHexadecimal ? text.substr(0, sign + 1) : text);  // of "0x1F" the 0 alone
  char* end = nullptr;
  const double value = std::strtod(copy.c_str(), &end);
  if (end == copy.c_str() || (std::isinf(value) && !isWord)) return std::nullopt;
  return DecimalNumber{value, static_cast<size_t>(end - copy.c_str())};
}

#else

std::optional<DecimalNumber> ReadDecimal(std::string_view text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return std::nullopt;
  return DecimalNumber{value, static_cast<size_t>(end - text.data())};
}

#endif

}  // namespace Vantora::host
