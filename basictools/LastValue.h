#pragma once

#include <limits>

namespace Vantora {

/// LastValue: what a function made of its last argument, for one that is asked again and again for the same.
class LastValue {
 public:
  /// function(x), which must depend on nothing else.
  template <typename Function>
  float operator()(float x, Function&& function) {
    if (x != argument) {
      argument = x;
      value = function(x);
    }
    return value;
  }

 private:
  float argument = std::numeric_limits<float>::quiet_NaN();
  float value = 0.0f;
};

}  // namespace Vantora
