#pragma once

#include <string>

namespace Vantora {

/// LogListener: hears every line that the log writes, on
/// the thread that writes it, several at once if need be.
class LogListener {
 public:
  virtual ~LogListener() = default;

  /// `line` is complete, with its line end and without colours; valid during the call.
  virtual void OnLogLine(const std::string& line) = 0;
};

}  // namespace Vantora
