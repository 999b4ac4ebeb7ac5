#include "tools/StringTools.h"

#include <stdexcept>
#include <utility>

namespace Vantora {

namespace {

constexpr size_t kNone = std::string_view::npos;

void SplitAtCharacters(std::string_view text, std::vector<std::string>& tokens, std::string_view separators,
                       uint64_t limit) {
  size_t begin = text.find_first_not_of(separators);
  for (uint64_t count = 0; begin != kNone && count < limit; ++count) {
    const size_t end = text.find_first_of(separators, begin);
    tokens.emplace_back(
        Substring(text, begin, end - begin));  // an end of npos leaves a count beyond the text
    begin = end == kNone ? kNone : text.find_first_not_of(separators, end);
  }
}

void SplitAtString(std::string_view text, std::vector<std::string>& tokens, std::string_view separator,
                   uint64_t limit) {
  size_t begin = 0;
  for (uint64_t count = 0; count < limit; ++count) {
    const size_t end = separator.empty() ? kNone : text.find(separator, begin);
    tokens.emplace_back(Substring(text, begin, end - begin));
    if (end == kNone) return;
    begin = end + separator.size();
  }
}

}  // namespace

void StringSplit(std::string_view text, std::vector<std::string>& tokens, std::string_view separators,
                 bool wholeSeparator, uint64_t limit) {
  if (text.empty()) return;
  if (wholeSeparator) {
    SplitAtString(text, tokens, separators, limit);
  } else {
    SplitAtCharacters(text, tokens, separators, limit);
  }
}

void ReplaceAll(std::string& result, std::string text, std::string_view from, std::string_view to,
                bool& changed) {
  size_t found = from.empty() ? kNone : text.find(from);
  changed = found != kNone;
  if (!changed) {
    result = std::move(text);
    return;
  }
  std::string replaced;
  size_t begin = 0;
  while (found != kNone) {
    replaced.append(text, begin, found - begin).append(to);
    begin = found + from.size();
    found = text.find(from, begin);
  }
  replaced.append(text, begin);
  result = std::move(replaced);
}

std::string_view Substring(std::string_view text, size_t begin, size_t count) {
  if (begin > text.size()) throw std::out_of_range("string_view::substr");
  return text.substr(begin, count);
}

std::string_view WithoutTrailingSeparators(std::string_view path) {
  return path.substr(0, path.find_last_not_of("/\\") + 1);
}

}  // namespace Vantora
