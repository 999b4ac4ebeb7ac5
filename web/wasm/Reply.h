#pragma once

#include <exception>
#include <new>
#include <string>

namespace Vantora::web {

/// The text that the last call left for JavaScript: what it asked for, or the sentence of an error. One for
/// the whole module, which runs on one thread.
std::string& Reply();

/// Runs `work` and answers what it returns; when it throws, `failure`, and the sentence stands in `Reply`.
/// No exception may reach JavaScript.
template <typename Result, typename Work>
Result Guarded(Result failure, Work&& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    Reply() = "There is not enough memory for this.";
  } catch (const std::exception& error) {
    Reply() = error.what();
  }
  return failure;
}

}  // namespace Vantora::web
