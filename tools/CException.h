#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace Vantora {

/// CException: the library's own exception, thrown for faults
/// of construction and loading, never while audio runs.
///
/// The text names the place of the throw: message(file:line). The string is shared between copies, so that
/// copying doesn't throw: an exception that throws while it is being caught ends the host.
class CException : public std::exception {
 public:
  /// `message` is the whole sentence, `file` the source file
  /// of the throw (null: empty), `line` its number there.
  CException(const std::string& message, const char* file, uint64_t line)
      : text(std::make_shared<const std::string>(message + "(" + (file ? file : "") + ":" +
                                                 std::to_string(line) + ")")) {}
  // No move: it would leave an exception without a text behind.
  CException(const CException&) noexcept = default;
  CException& operator=(const CException&) noexcept = default;
  ~CException() override = default;

  /// The text; valid as long as this exception or a copy of it lives.
  const char* what() const noexcept override { return text->c_str(); }

 private:
  std::shared_ptr<const std::string> text;
};

}  // namespace Vantora
