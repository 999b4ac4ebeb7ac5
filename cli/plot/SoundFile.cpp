#include "cli/plot/SoundFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/audio/AudioReader.h"

namespace Vantora::cli {

void SoundFileOptions::AddTo(Command command) {
  command.AddOption("FILE", file, "audio file; - is standard input").Required();
  command.AddOption("--start", start, "where in the file to begin: seconds or minutes:seconds")
      .Group("Which part");
  command.AddOption("--duration", duration, "how much of the file to take").Group("Which part");
}

SoundFile::SoundFile(const SoundFileOptions& options) {
  AudioReader reader(options.file);
  rate = reader.Rate();
  const auto channels = static_cast<size_t>(reader.Channels());
  if (channels > 2)
    throw Failure(fmt::format("{}: has {} channels; a picture shows two", options.file, channels));
  isStereo = channels == 2;

  const auto frames = [this](double seconds) { return static_cast<uint64_t>(std::llround(seconds * rate)); };
  if (!options.start.empty()) {
    start = ParseSeconds("--start", options.start);
    reader.SkipTo(frames(start));
  }
  const uint64_t longest = frames(SoundFileOptions::kLongest);
  const double wanted = options.duration.empty() ? SoundFileOptions::kLongest + 1.0
                                                 : ParseSeconds("--duration", options.duration);
  std::vector<float> piece(4096 * channels);
  for (uint64_t left = frames(wanted); left > 0;) {
    const uint64_t count = reader.Read(piece.data(), std::min<uint64_t>(left, 4096));
    if (count == 0) break;
    left -= count;
    for (uint64_t i = 0; i < count; ++i) {
      signal.left.push_back(piece[i * channels]);
      signal.right.push_back(piece[i * channels + channels - 1]);
    }
    if (signal.Frames() > longest) {
      throw Failure(fmt::format("{}: is longer than {:g} minutes; choose a part with --start and --duration",
                                options.file, SoundFileOptions::kLongest / 60.0));
    }
  }
  if (signal.Frames() == 0) throw Failure(fmt::format("{}: there is no audio in that part", options.file));
}

}  // namespace Vantora::cli
