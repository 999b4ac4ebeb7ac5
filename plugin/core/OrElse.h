#pragma once

#include <exception>
#include <utility>

namespace Vantora::plugin {

/// The answer of `call`, or `refusal` where it throws, as when memory has run out: hosts call plug-ins
/// through C, and no exception may pass there.
template <typename Answer, typename Call>
Answer OrElse(Answer refusal, Call&& call) noexcept {
  try {
    return std::forward<Call>(call)();
  } catch (const std::exception&) {
    return refusal;
  }
}

}  // namespace Vantora::plugin
