#pragma once

#include <fmt/format.h>

#include <string>
#include <utility>

namespace Vantora::cli {

/// Writes to standard output, buffered. What can't be written is told by `FinishStandardOutput`.
void PrintText(const std::string& text);
/// Writes to standard error at once. What can't be written is lost, and the work goes on: whoever closed
/// standard error, or filled its disk, didn't mean the files to suffer.
void TellText(const std::string& text);

/// Formatted text to standard output.
template <typename... Arguments>
void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  PrintText(fmt::format(format, std::forward<Arguments>(arguments)...));
}

/// Formatted text to standard error.
template <typename... Arguments>
void Tell(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  TellText(fmt::format(format, std::forward<Arguments>(arguments)...));
}

/// "prismel: TEXT" and a line's end to standard error, at most one of each.
void Complain(const std::string& text);

/// Sees to it that descriptors 0 to 2 are taken: the first file would otherwise get a closed one's number,
/// and our messages would go into it. Comes before anything is opened.
void HoldStandardDescriptors();

/// Hands over what standard output still buffers. Throws Failure where not all of it could be written.
void FinishStandardOutput();

}  // namespace Vantora::cli
