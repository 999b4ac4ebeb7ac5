#pragma once

#include <array>
#include <cstdint>

namespace Vantora::plugin {

/// [process] The first two of the `count` channels that a host has at `channels` (null: none), as far as
/// `wanted`, 1 or 2, goes; null for what isn't there. No loop: asked for twice in every buffer.
inline std::array<float*, 2> HostChannels(float* const* channels, uint32_t count, uint32_t wanted) {
  if (channels == nullptr || count == 0) [[unlikely]]
    return {nullptr, nullptr};
  if (wanted > 1 && count > 1) [[likely]]
    return {channels[0], channels[1]};
  return {channels[0], nullptr};
}

}  // namespace Vantora::plugin
