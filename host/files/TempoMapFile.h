#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "host/TempoMap.h"

namespace Vantora::host {

/// Reads a tempo map from a CSV file of `seconds,bpm` or `beats,bpm`; the first line may name the columns,
/// and then says which of the two the times are; otherwise they are seconds. The first tempo holds from the
/// beginning. Throws `HostError` with file and line for a file that can't be read, has no rows, is a
/// pipe without a writer, or whose times don't rise.
TempoMap ReadTempoMap(const std::filesystem::path& path);
/// The same from an open stream; `name` stands in messages.
TempoMap ReadTempoMap(std::istream& stream, const std::string& name);

}  // namespace Vantora::host
