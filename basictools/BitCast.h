#pragma once

#include <type_traits>

namespace Vantora {

/// The bytes of `from` read as a `To` of the same size: `std::bit_cast`, also where a C++20 library doesn't
/// have it yet (the one that Debian 12 compiles for WebAssembly with). Usable in constant expressions.
template <typename To, typename From>
constexpr To BitCast(const From& from) noexcept {
  static_assert(sizeof(To) == sizeof(From) && std::is_trivially_copyable_v<To> &&
                std::is_trivially_copyable_v<From>);
  return __builtin_bit_cast(To, from);
}

}  // namespace Vantora
