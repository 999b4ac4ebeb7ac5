#include "cli/offline/RenderJobs.h"
#include "cli/Console.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <set>

#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/audio/LoudnessMeter.h"
#include "cli/offline/JobPool.h"
#include "cli/offline/ProgressLine.h"
#include "cli/offline/RunReport.h"
#include "host/files/NewFile.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

std::string LoudnessText(double before, double after, const char* unit) {
  return fmt::format("{} -> {} {}", DecibelText(before), DecibelText(after), unit);
}

void PrintResult(const FilePair& pair, const JobReport& report) {
  std::string text = fmt::format("{}: {}", pair.output == "-" ? "standard output" : pair.output,
                                 DurationText(report.outputSeconds));
  if (report.inputChannels == 1 && report.outputChannels == 2) text += ", stereo from mono";
  if (report.measured) {
    text += fmt::format(", peak {}, loudness {}", LoudnessText(report.inputPeak, report.outputPeak, "dBFS"),
                        LoudnessText(report.inputLufs, report.outputLufs, "LUFS"));
  }
  Tell("{}\n", text);
}

void PrintWarnings(const FilePair& pair, const JobReport& report, bool isAlone) {
  const std::string& name = pair.output == "-" ? pair.input : pair.output;
  if (report.clipped > 0 && isAlone) {
    Tell(
        "prismel: {}: {} samples were clipped at full scale; --limit -1dB, --normalize -1dB or --format "
        "float "
        "prevents that\n",
        name, report.clipped);
  }
  if (report.nonFinite > 0) {
    Tell("prismel: {}: {} input samples were no numbers, or beyond any level, and were replaced\n",
         pair.input, report.nonFinite);
  }
  if (report.lost > 0) {
    Tell("prismel: {}: {} samples came out of the effect as no numbers and count as 0\n", name, report.lost);
  }
  if (report.tailCut) {
    Tell("prismel: {}: still sounding when the tail's limit was reached; --tail SECONDS gives it longer\n",
         name);
  }
  if (report.peakHeldGain) {
    Tell(
        "prismel: {}: brought to full scale only: the loudness asked for would clip; --limit -1dB allows "
        "it\n",
        name);
  }
}

/// Of a batch in one line, whatever the number of files.
void PrintClipped(const std::vector<FilePair>& pairs, const JobPool& pool) {
  size_t files = 0, worst = 0;
  for (size_t i = 0; i < pool.Size(); ++i) {
    if (pool.Report(i).clipped == 0) continue;
    ++files;
    if (pool.Report(i).clipped > pool.Report(worst).clipped) worst = i;
  }
  if (files == 0) return;
  Tell(
      "prismel: {} of {} files were clipped at full scale, {} the most, with {} samples; --limit -1dB, "
      "--normalize -1dB or --format float prevents that\n",
      files, pool.Size(), pairs[worst].output, pool.Report(worst).clipped);
}

/// Takes out the pairs whose output is there already.
std::vector<FilePair> TakeExisting(std::vector<FilePair>& pairs) {
  std::vector<FilePair> existing, missing;
  for (FilePair& pair : pairs) {
    std::error_code error;
    const bool isThere = pair.output != "-" && fs::is_regular_file(pair.output, error);
    (isThere ? existing : missing).push_back(std::move(pair));
  }
  pairs = std::move(missing);
  return existing;
}

std::vector<Job> MakeJobs(
    const std::vector<FilePair>& pairs, const RenderSettings& settings,
    const std::function<std::shared_ptr<offline::Effect>(const FilePair&)>& makeEffect) {
  std::vector<Job> jobs;
  for (const FilePair& pair : pairs) {
    const bool isStream = pair.output == "-";
    const fs::path folder = isStream ? fs::path() : fs::path(pair.output).parent_path();
    jobs.push_back({pair.input == "-" ? "standard input" : pair.input,
                    isStream         ? folder
                    : folder.empty() ? fs::path(".")
                                     : folder,
                    [&settings, &makeEffect, &pair, folder](JobReport& report) {
                      std::error_code ignored;
                      if (pair.makeFolder) fs::create_directories(folder, ignored);
                      RenderSettings own = settings;
                      if (!pair.channels.empty()) own.channels = pair.channels;
                      if (pair.stereo) own.stereo = *pair.stereo;
                      const auto effect = makeEffect(pair);
                      RenderFile(own, pair.input, pair.output, *effect, report);
                    }});
  }
  return jobs;
}

}  // namespace

int RunRenderJobs(std::vector<FilePair> pairs, const RenderSettings& settings, const BatchSettings& batch,
                  const std::function<std::shared_ptr<offline::Effect>(const FilePair&)>& makeEffect) {
  const auto begin = std::chrono::steady_clock::now();
  const bool isAlone = pairs.size() == 1;
  const std::vector<FilePair> skipped = batch.skipExisting ? TakeExisting(pairs) : std::vector<FilePair>{};
  std::vector<Job> jobs = MakeJobs(pairs, settings, makeEffect);
  std::set<fs::path> folders;
  for (const Job& job : jobs) {
    if (!job.folder.empty() && folders.insert(job.folder).second) host::NewFile::RemoveAbandoned(job.folder);
  }
  if (!batch.report.empty()) CheckRunReport(batch.report);
  JobPool pool(std::move(jobs));
  ProgressLine progress(batch.quiet);
  size_t ended = 0;
  std::vector<size_t> failed;
  double seconds = 0.0;
  pool.Run(
      batch.parallel,
      [&](size_t i) {
        ++ended;
        progress.Clear();
        const JobReport& report = pool.Report(i);
        if (!report.finished) {
          failed.push_back(i);
          Tell("prismel: {}\n", report.failure.data());
          return;
        }
        seconds += report.inputSeconds;
        if (!batch.quiet) PrintResult(pairs[i], report);
        PrintWarnings(pairs[i], report, isAlone);
      },
      [&] { progress.Draw(pool, ended); });
  progress.Clear();
  if (!batch.report.empty()) WriteRunReport(batch.report, batch.about, pairs, pool, skipped);
  if (!batch.quiet && !skipped.empty()) {
    Tell("{} of {} outputs were there already\n", skipped.size(), skipped.size() + pairs.size());
  }

  int status = 0;
  for (const size_t i : failed) status = std::max(status, pool.Report(i).status);
  if (isAlone || pairs.empty()) return status;
  PrintClipped(pairs, pool);
  if (!batch.quiet) {
    const double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    Tell("{} of {} files, {} of audio in {} ({:.0f} x real time)\n", pairs.size() - failed.size(),
         pairs.size(), DurationText(seconds), DurationText(taken), seconds / taken);
  }
  std::sort(failed.begin(), failed.end());
  for (const size_t i : failed) Tell("prismel: failed: {}\n", pairs[i].input);
  return failed.empty() ? 0 : Failure::kRuntime;
}

}  // namespace Vantora::cli
