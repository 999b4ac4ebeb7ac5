#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/Parameter.h"

namespace Vantora::host {

class HostedProcessor;

/// ParameterTable: the effect's 228 parameters, found by name, by index and by stable id. Immutable.
class ParameterTable {
 public:
  /// The one table. The first call builds it.
  static const ParameterTable& Get();

  size_t Size() const { return parameters.size(); }
  const Parameter& operator[](uint32_t index) const { return parameters[index]; }
  auto begin() const { return parameters.begin(); }
  auto end() const { return parameters.end(); }

  /// The parameter that `text` means, or null when there is none or more than one.
  /// Understood, in this order: a unique or full name, a symbol, an index ("156" or "#156"),
  /// a name in another case, and a name without its "Prismel_" or "LFO_".
  const Parameter* Find(std::string_view text) const;
  /// The same. Throws `HostError` with the nearest names, or with the names among which to choose.
  const Parameter& At(std::string_view text) const;
  /// By stable id; null when there is none.
  const Parameter* FindById(uint32_t id) const;

  /// Up to `count` names of offered parameters that look like `text`, best first.
  std::vector<std::string> Nearest(std::string_view text, size_t count = 3) const;

  /// Compares the table with the names of a loaded library. Throws `HostError` with the first difference.
  void Check(const HostedProcessor& processor) const;

 private:
  ParameterTable();
  std::vector<const Parameter*> Candidates(std::string_view text) const;

  std::vector<Parameter> parameters;
};

}  // namespace Vantora::host
