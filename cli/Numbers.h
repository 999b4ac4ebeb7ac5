#pragma once

#include <cstdint>
#include <string>

namespace Vantora::cli {

/// The whole text as a finite number. Throws UsageError that names `option`.
double ParseNumber(const std::string& option, const std::string& text);

/// Seconds, 0 or more: "12.5", "12.5s", "500ms", "1:30", "0:01:30.5". Throws UsageError.
double ParseSeconds(const std::string& option, const std::string& text);

/// A whole number from 0 to 4294967295, the seed of random elements. Throws UsageError that names `option`.
uint32_t ParseSeed(const std::string& option, const std::string& text);

/// "3.42 s", "2 min 05 s": a length for people.
std::string DurationText(double seconds);

}  // namespace Vantora::cli
