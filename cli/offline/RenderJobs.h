#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/offline/FileRenderer.h"
#include "offline/Effect.h"

namespace Vantora::cli {

/// FilePair: one input and the output it becomes.
struct FilePair {
  std::string input;
  std::string output;
  bool makeFolder = false;      ///< the output's folder mirrors a searched one and is made when it is missing
  std::vector<int> channels{};  ///< of the input, counted from 1, in place of the settings'; empty: those
  std::optional<bool> stereo{};    ///< two channels out of a mono input, in place of the settings'
  std::optional<uint32_t> seed{};  ///< of the effect's random elements; for the report
  size_t row = 0;                  ///< of a table of settings
};

/// Pairs what the user named: files, folders (searched to the bottom for audio files) or "-".
///
/// With `folder` each input becomes a file of the same name in it, below a searched folder at the same
/// relative place, with the ending of `type` where that isn't empty or the input's can't be written. Without
/// it the last of `names` is the output, and may itself be an existing folder. Throws UsageError.
std::vector<FilePair> PairFiles(std::vector<std::string> names, const std::string& folder,
                                const std::string& type);

/// The name that an input gets in a folder of outputs: its own, with an ending that can be written.
std::filesystem::path OutputName(std::filesystem::path name, const std::string& type);

/// Takes each pair whose input has more than two channels apart into one for channels 1 and 2, one for 3 and
/// 4, and so on; "take.wav" becomes "take-1-2.wav", "take-3-4.wav". Throws Failure for an input that can't be
/// read.
std::vector<FilePair> SplitIntoChannelPairs(const std::vector<FilePair>& pairs);

/// BatchSettings: how several files are run, and what is told of them.
struct BatchSettings {
  unsigned parallel = 1;  ///< files at a time
  bool quiet = false;
  bool skipExisting = false;                               ///< an output that is there already is done
  std::string report;                                      ///< path of a report as JSON; empty: none
  std::vector<std::pair<std::string, std::string>> about;  ///< facts for the report
};

/// Runs all pairs, each with an effect of its own made by `makeEffect` in the worker, prints one line each
/// and for several a summary to standard error, and returns the exit status: 0, or that of the worst failure.
int RunRenderJobs(std::vector<FilePair> pairs, const RenderSettings& settings, const BatchSettings& batch,
                  const std::function<std::shared_ptr<offline::Effect>(const FilePair&)>& makeEffect);

}  // namespace Vantora::cli
