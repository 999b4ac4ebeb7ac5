#pragma once

#include <cstdint>

namespace Vantora::Processor {

/// LogSink: the shell's ear for errors. The shell owns it and keeps it alive as long as the processor it
/// attached it to. One virtual operation and no destructor: the table has exactly one slot.
class LogSink {
 public:
  /// Called with a zero-terminated text, valid during the call only. `severity` is 2, an error.
  virtual void OnMessage(const char* text, uint32_t severity) = 0;

 protected:
  ~LogSink() = default;
};

}  // namespace Vantora::Processor
