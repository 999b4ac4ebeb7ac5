#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace Vantora {

/// The limit of StringSplit that isn't one.
inline constexpr uint64_t kNoTokenLimit = std::numeric_limits<uint64_t>::max();

/// Splits `text` and appends its tokens to `tokens`.
///
/// wholeSeparator false: each character of `separators` separates, a run of them counts as one, and those at
/// the ends yield no token. No separators: the text is one token. wholeSeparator true: the string
/// `separators` as a whole separates, n of them give n + 1 tokens, empty ones at both ends included. An empty
/// separator: the text is one token. `limit` ends the splitting after that many tokens; what follows yields
/// none. An empty text yields no tokens.
void StringSplit(std::string_view text, std::vector<std::string>& tokens, std::string_view separators,
                 bool wholeSeparator = false, uint64_t limit = kNoTokenLimit);

/// result = `text` with each `from` replaced by `to`; `changed` tells whether there was one, and is always
/// written. The search goes on behind each replacement, so "/./" by "/" makes "/a/./b" of "/a/././b". An
/// empty `from` replaces nothing. `result` may be the string that any of the others come from.
void ReplaceAll(std::string& result, std::string text, std::string_view from, std::string_view to,
                bool& changed);

/// Up to `count` characters of `text` from `begin` on. Throws std::out_of_range("string_view::substr") where
/// `begin` lies beyond the end; the standard library's own text names its internals.
std::string_view Substring(std::string_view text, size_t begin, size_t count = std::string_view::npos);

/// `path` without its trailing '/' and '\' characters; a path of nothing else becomes empty.
std::string_view WithoutTrailingSeparators(std::string_view path);

}  // namespace Vantora
