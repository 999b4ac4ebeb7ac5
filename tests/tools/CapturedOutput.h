#pragma once

#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>

namespace Vantora::testsupport {

/// CapturedOutput: standard output as a text. Puts everything about the stream back, and frees the buffer of
/// a log that left its own there: the log can't, for it doesn't know when the stream is used last.
class CapturedOutput {
 public:
  CapturedOutput() : before(std::cout.rdbuf(text.rdbuf())), flags(std::cout.flags()) {}
  ~CapturedOutput() {
    std::cout.exceptions(std::ios::goodbit);
    std::cout.flags(flags);
    std::streambuf* const left = std::cout.rdbuf(before);
    if (left != text.rdbuf()) delete left;
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  /// What was written since the last call.
  std::string Take() {
    const std::string taken = text.str();
    text.str("");
    return taken;
  }
  bool IsInPlace() const { return std::cout.rdbuf() == text.rdbuf(); }

 private:
  std::stringstream text;
  std::streambuf* before;
  std::ios::fmtflags flags;
};

}  // namespace Vantora::testsupport
