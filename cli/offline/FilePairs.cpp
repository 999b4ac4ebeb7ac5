#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>

#include "cli/Failure.h"
#include "cli/audio/AudioReader.h"
#include "cli/offline/RenderJobs.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

void AddFolder(const fs::path& folder, const fs::path& target, const std::string& type,
               std::vector<FilePair>& pairs) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, error), end;
       at != end; at.increment(error)) {
    // Hidden files are other programs' business, among them renders under way.
    if (at->path().filename().string().starts_with(".")) {
      if (at->is_directory()) at.disable_recursion_pending();
      continue;
    }
    if (fs::equivalent(at->path(), target, error)) {
      at.disable_recursion_pending();  // the output folder lies inside: never render renders
      continue;
    }
    if (at->is_regular_file(error) && IsAudioEnding(at->path())) found.push_back(at->path());
  }
  if (error) throw Failure(fmt::format("{}: can't be searched: {}", folder.string(), error.message()));
  if (found.empty())
    throw Failure(fmt::format("{}: there are no audio files in this folder", folder.string()));
  std::sort(found.begin(), found.end());
  for (const fs::path& file : found) {
    pairs.push_back(
        {file.string(), (target / OutputName(file.lexically_relative(folder), type)).string(), true});
  }
}

}  // namespace

fs::path OutputName(fs::path name, const std::string& type) {
  if (!type.empty()) return name.replace_extension(type);
  static constexpr std::array<const char*, 5> kReadOnly{".oga", ".wave", ".aifc", ".snd", ".bwf"};
  const std::string ending = name.extension().string();
  const bool writable =
      IsAudioEnding(name) && std::find(kReadOnly.begin(), kReadOnly.end(), ending) == kReadOnly.end();
  return writable ? name : name.replace_extension("wav");
}

std::vector<FilePair> SplitIntoChannelPairs(const std::vector<FilePair>& pairs) {
  std::vector<FilePair> split;
  for (const FilePair& pair : pairs) {
    if (AudioReader::IsReadOnce(pair.input) || pair.output == "-")
      throw UsageError("--split: streams can't be split; give files");
    const int channels = AudioReader(pair.input, std::nullopt, true).Channels();
    if (channels <= 2) {
      split.push_back(pair);
      continue;
    }
    for (int first = 1; first <= channels; first += 2) {
      FilePair part = pair;
      part.channels = first == channels ? std::vector<int>{first} : std::vector<int>{first, first + 1};
      const fs::path output = pair.output;
      const std::string name = fmt::format("{}-{}{}", output.stem().string(), fmt::join(part.channels, "-"),
                                           output.extension().string());
      part.output = (output.parent_path() / name).string();
      split.push_back(std::move(part));
    }
  }
  return split;
}

std::vector<FilePair> PairFiles(std::vector<std::string> names, const std::string& folder,
                                const std::string& type) {
  fs::path target = folder;
  if (folder.empty()) {
    if (names.size() < 2) throw UsageError("give an output: IN OUT, or -o FOLDER for any number of inputs");
    target = names.back();
    std::error_code error;
    const bool several = names.size() > 2 || fs::is_directory(names.front(), error);
    if (!fs::is_directory(target, error)) {
      if (several) {
        throw UsageError(
            fmt::format("{}: several inputs need a folder that exists as output", target.string()));
      }
      return {{names[0], names[1]}};
    }
    names.pop_back();
  } else if (std::error_code error; !fs::is_directory(target, error)) {
    throw Failure(fmt::format("{}: the output folder doesn't exist", folder));
  }

  std::vector<FilePair> pairs;
  for (const std::string& name : names) {
    if (name == "-") throw UsageError("standard input needs an output file of its own: - OUT");
    std::error_code error;
    if (fs::is_directory(name, error)) {
      AddFolder(name, target, type, pairs);
    } else {
      pairs.push_back({name, (target / OutputName(fs::path(name).filename(), type)).string()});
    }
  }
  std::map<std::string, std::string> sources;
  for (const FilePair& pair : pairs) {
    const auto [found, isNew] = sources.emplace(pair.output, pair.input);
    if (!isNew) {
      throw UsageError(fmt::format("{} and {} would both become {}", found->second, pair.input, pair.output));
    }
  }
  return pairs;
}

}  // namespace Vantora::cli
