#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/Parameter.h"

namespace Vantora::plugin {

/// HostParameters: the parameters that a host sees, in the order in which it lists them: the main knobs, the
/// advanced ones, then what the effect writes. Immutable; any thread.
class HostParameters {
 public:
  static const HostParameters& Get();

  size_t Size() const { return indices.size(); }
  /// Flat index of the parameter at a position of the list.
  uint32_t IndexAt(size_t position) const { return indices[position]; }
  const host::Parameter& At(size_t position) const;
  /// Of the ones the host may write (`Size` without the read-outs).
  size_t WritableCount() const { return writable; }
  /// Flat index by stable id; nothing for ids that no host was told.
  std::optional<uint32_t> IndexOfId(uint32_t id) const;
  /// Position in the list of a flat index; nothing for parameters that no host sees.
  std::optional<size_t> PositionOf(uint32_t index) const;

  uint32_t BypassIndex() const { return bypass; }

 private:
  HostParameters();
  std::vector<uint32_t> indices;
  std::vector<std::pair<uint32_t, uint32_t>> byId;  // id, flat index; sorted
  std::vector<int32_t> positions;                   // by flat index; -1: not seen
  size_t writable = 0;
  uint32_t bypass = 0;
};

}  // namespace Vantora::plugin
