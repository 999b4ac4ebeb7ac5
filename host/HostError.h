#pragma once

#include <stdexcept>

namespace Vantora::host {

/// HostError: what went wrong on the host's side, as one sentence that can be shown to a user as it stands.
class HostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Vantora::host
