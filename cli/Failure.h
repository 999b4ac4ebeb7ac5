#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "host/HostError.h"

namespace Vantora::cli {

/// Failure: what stops a command. One sentence for the user and the exit status that goes with it.
class Failure : public std::runtime_error {
 public:
  static constexpr int kRuntime = 1;  ///< a file, a library or the machine is at fault
  static constexpr int kUsage = 2;    ///< the command line is at fault

  explicit Failure(const std::string& text, int exitStatus = kRuntime)
      : std::runtime_error(text), status(exitStatus) {}

  int Status() const { return status; }

 private:
  int status;
};

/// UsageError: the command line asks for something that can't be.
class UsageError : public Failure {
 public:
  explicit UsageError(const std::string& text) : Failure(text, kUsage) {}
};

/// The result of `ask()`; what it finds wrong is the command line's fault.
template <typename Ask>
auto AsUsage(Ask&& ask) {
  try {
    return std::forward<Ask>(ask)();
  } catch (const host::HostError& error) {
    throw UsageError(error.what());
  }
}

}  // namespace Vantora::cli
