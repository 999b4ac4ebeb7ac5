#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vantora::host {

/// Levenshtein's distance: single letters to insert, delete or replace. For "did you mean". Any thread;
/// allocates.
size_t EditDistance(std::string_view a, std::string_view b);

/// The text in small letters (of ASCII only), so that names are found in any case.
std::string Lower(std::string_view text);

}  // namespace Vantora::host
