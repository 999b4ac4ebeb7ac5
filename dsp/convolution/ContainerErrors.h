#pragma once

#include <new>

namespace Vantora::dsp {

/// Thrown when a fixed-size container, such as the path inside a command, would outgrow its place.
class ContainerBadAlloc : public std::bad_alloc {
 public:
  const char* what() const noexcept override { return "boost::container::bad_alloc thrown"; }
};

}  // namespace Vantora::dsp
