#include "basictools/math/mapping/PotardMappingHolder.h"

#include <type_traits>

namespace Vantora::MappingTools {

PotardMappingHolder::PotardMappingHolder(const PotardMappingHolder& other) noexcept
    : min(other.min),
      max(other.max),
      reserved0(other.reserved0),
      reserved1(other.reserved1),
      absolute(other.absolute),
      reversed(other.reversed),
      storage(other.storage) {
  Aim();
}

PotardMappingHolder& PotardMappingHolder::operator=(const PotardMappingHolder& other) noexcept {
  min = other.min;
  max = other.max;
  reserved0 = other.reserved0;
  reserved1 = other.reserved1;
  absolute = other.absolute;
  reversed = other.reversed;
  storage = other.storage;
  Aim();
  return *this;
}

void PotardMappingHolder::Aim() noexcept {
  mapping = std::visit(
      [](const auto& curve) -> const IPotardMapping* {
        if constexpr (std::is_base_of_v<IPotardMapping, std::remove_cvref_t<decltype(curve)>>) {
          return &curve;
        } else {
          return nullptr;
        }
      },
      storage);
}

}  // namespace Vantora::MappingTools
