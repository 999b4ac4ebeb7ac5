#pragma once

#include <cstdint>
#include <memory>

namespace Vantora::test {

/// ParentWindow: a visible, empty window of the system, as a host puts a plug-in's into.
class ParentWindow {
 public:
  explicit ParentWindow(const char* title);  ///< Throws `std::runtime_error` without a display.
  ~ParentWindow();

  uintptr_t Handle() const;
  void Resize(uint32_t width, uint32_t height);  ///< of its inside, in pixels
  void Idle();                                   ///< takes what waits in the system's queue

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace Vantora::test
