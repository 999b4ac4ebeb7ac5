#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/offline/FileRenderer.h"
#include "offline/Effect.h"

namespace Vantora::cli {

/// FilePair: one input and the output it becomes.
struct FilePair {
  std::string input;
  std::string output;
  bool makeFolder = false;  ///< the output's folder mirrors a searched one and is made when it is missing
};

/// Pairs what the user named: files, folders (searched to the bottom for audio files) or "-".
///
/// With `folder` each input becomes a file of the same name in it, below a searched folder at the same
/// relative place, with the ending of `type` where that isn't empty or the input's can't be written. Without
/// it the last of `names` is the output, and may itself be an existing folder. Throws UsageError.
std::vector<FilePair> PairFiles(std::vector<std::string> names, const std::string& folder,
                                const std::string& type);

/// Runs all pairs, each with an effect of its own made by `makeEffect` in the worker, prints one line each
/// and for several a summary to standard error, and returns the exit status: 0, or that of the worst failure.
int RunRenderJobs(const std::vector<FilePair>& pairs, const RenderSettings& settings, unsigned parallel,
                  bool quiet, const std::function<std::unique_ptr<offline::Effect>()>& makeEffect);

}  // namespace Vantora::cli
