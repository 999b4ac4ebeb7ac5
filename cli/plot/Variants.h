#pragma once

#include <string>
#include <vector>

#include "cli/SoundOptions.h"

namespace Vantora::cli {

class Command;

/// Variant: one of the sounds that a picture compares.
struct Variant {
  std::string label;  ///< what is different: "CombCutoff 200 Hz"; empty where there is only one
  SoundOptions sound;

  /// Position of a parameter, 0 to 1. Throws host::HostError for an unknown name, as the next two do.
  float Normalized(const std::string& name) const;
  /// The same in its unit.
  float Value(const std::string& name) const;
  /// As people read it: "200 Hz".
  std::string Text(const std::string& name) const;
};

/// VariantOptions: --preset, --set and --each NAME=A,B,C, which draws a line or a panel for each value.
struct VariantOptions {
  SoundOptions sound;
  std::string each;

  /// Adds them to a kind's subcommand.
  void AddTo(Command command);

  /// Assignments of `usual` come first: a --set replaces them. Throws UsageError, host::HostError.
  std::vector<Variant> Variants(const std::vector<std::string>& usual = {}) const;
};

/// What leaves one stage effect alone in the path: one voice that stands still, no dry signal, open filters.
const std::vector<std::string>& StageAlone();

}  // namespace Vantora::cli
