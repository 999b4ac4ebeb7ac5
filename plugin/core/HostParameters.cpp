#include "plugin/core/HostParameters.h"

#include <algorithm>

#include "host/ParameterTable.h"

namespace Vantora::plugin {

const HostParameters& HostParameters::Get() {
  static const HostParameters list;
  return list;
}

HostParameters::HostParameters() {
  const host::ParameterTable& table = host::ParameterTable::Get();
  for (const host::Parameter& parameter : table) {
    if (parameter.IsOffered() || parameter.GetRole() == host::Role::kReadOut)
      indices.push_back(parameter.Index());
  }
  std::stable_sort(indices.begin(), indices.end(),
                   [&](uint32_t a, uint32_t b) { return table[a].GetRole() < table[b].GetRole(); });
  positions.assign(table.Size(), -1);
  for (size_t i = 0; i < indices.size(); ++i) {
    positions[indices[i]] = static_cast<int32_t>(i);
    byId.emplace_back(table[indices[i]].Id(), indices[i]);
    if (table[indices[i]].IsOffered()) ++writable;
  }
  std::sort(byId.begin(), byId.end());
  bypass = table.At("Bypass").Index();
}

const host::Parameter& HostParameters::At(size_t position) const {
  return host::ParameterTable::Get()[indices[position]];
}

std::optional<uint32_t> HostParameters::IndexOfId(uint32_t id) const {
  const auto found = std::lower_bound(byId.begin(), byId.end(), std::pair<uint32_t, uint32_t>(id, 0));
  return found != byId.end() && found->first == id ? std::optional(found->second) : std::nullopt;
}

std::optional<size_t> HostParameters::PositionOf(uint32_t index) const {
  if (index >= positions.size() || positions[index] < 0) return std::nullopt;
  return static_cast<size_t>(positions[index]);
}

}  // namespace Vantora::plugin
