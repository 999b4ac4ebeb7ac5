#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/offline/JobPool.h"
#include "cli/offline/RenderJobs.h"

namespace Vantora::cli {

/// SHA-256 of a file's bytes, 64 hexadecimal digits. Throws Failure.
std::string DigestFile(const std::string& path);

/// Throws Failure where no report can be written: before the work, not after it.
void CheckRunReport(const std::string& path);

/// Writes what a run did as JSON: the facts in `about`, then for each file its names, seed, outcome, lengths,
/// levels, counts and digests. `skipped` are outputs that stood already. Throws Failure.
void WriteRunReport(const std::string& path, const std::vector<std::pair<std::string, std::string>>& about,
                    const std::vector<FilePair>& pairs, const JobPool& pool,
                    const std::vector<FilePair>& skipped);

}  // namespace Vantora::cli
