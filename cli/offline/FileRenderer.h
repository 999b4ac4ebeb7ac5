#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/audio/AudioFormat.h"
#include "cli/audio/AudioReader.h"
#include "cli/offline/JobReport.h"
#include "cli/offline/Normalize.h"
#include "offline/Effect.h"
#include "offline/Tail.h"

namespace Vantora::cli {

/// RenderSettings: everything about files and streams that a render needs, and nothing about the effect.
struct RenderSettings {
  std::optional<double> startSeconds;     ///< where in the input to begin
  std::optional<double> durationSeconds;  ///< how much of the input to take
  offline::TailLength tail;
  std::vector<int> channels;  ///< input channels to take, counted from 1; empty: all of one or two
  bool stereo = false;        ///< two channels out of a mono input
  std::optional<RawLayout> rawInput;
  std::string type;                    ///< output type in place of the ending's
  std::optional<SampleFormat> sample;  ///< output sample format in place of the input's
  bool dither = true;
  bool overwrite = false;
  bool takesDamaged = false;  ///< a file that ends before its time, or is damaged, ends there
  bool measure = true;        ///< levels before and after
  std::optional<NormalizeTarget> normalize;
  std::optional<double> limit;  ///< ceiling of a limiter behind everything, dBFS
  bool digests = false;         ///< SHA-256 of input and output files, for a report
  uint64_t pieceFrames = 4096;  ///< frames that are read and fed at a time; never heard
};

/// Runs `input` through `effect` into `output` ("-": the standard streams), in
/// constant memory, and fills `report`. The output has the input's rate and is
/// lined up with it to the sample; it is there whole or not at all. Throws Failure.
void RenderFile(const RenderSettings& settings, const std::string& input, const std::string& output,
                offline::Effect& effect, JobReport& report);

}  // namespace Vantora::cli
