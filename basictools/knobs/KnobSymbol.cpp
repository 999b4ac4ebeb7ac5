#include "basictools/knobs/KnobSymbol.h"

#include <string_view>

namespace Vantora::Knobs {
namespace {

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

std::string SymbolOf(const Row& row) {
  if (row.symbol != nullptr) return row.symbol;
  const std::string_view name = row.name;
  std::string symbol;
  for (size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    if (!IsUpper(c) && !IsLower(c) && !(c >= '0' && c <= '9')) {
      if (!symbol.empty() && symbol.back() != '_') symbol += '_';
      continue;
    }
    // A word begins at a capital behind a small letter, and at the last capital of a row of them.
    const bool begins =
        i > 0 && IsUpper(c) &&
        (IsLower(name[i - 1]) || (IsUpper(name[i - 1]) && i + 1 < name.size() && IsLower(name[i + 1])));
    if (begins && symbol.back() != '_') symbol += '_';
    symbol += IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return symbol;
}

}  // namespace Vantora::Knobs
