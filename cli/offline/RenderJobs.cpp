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
#include "host/files/NewFile.h"

namespace Vantora::cli {
namespace {

namespace fs = std::filesystem;

std::string LoudnessText(double before, double after, const char* unit) {
  return fmt::format("{} -> {} {}", DecibelText(before), DecibelText(after), unit);
}

void PrintResult(const FilePair& pair, const JobReport& report) {
  Tell("{}: {}", pair.output == "-" ? "standard output" : pair.output, DurationText(report.outputSeconds));
  if (report.measured) {
    Tell(", peak {}, loudness {}", LoudnessText(report.inputPeak, report.outputPeak, "dBFS"),
         LoudnessText(report.inputLufs, report.outputLufs, "LUFS"));
  }
  Tell("\n");
}

void PrintWarnings(const FilePair& pair, const JobReport& report) {
  const std::string& name = pair.output == "-" ? pair.input : pair.output;
  if (report.clipped > 0) {
    Tell(
        "prismel: {}: {} samples were clipped at full scale; --normalize -1dB or --format float "
        "keeps them\n",
        name, report.clipped);
  }
  if (report.nonFinite > 0) {
    Tell("prismel: {}: {} input samples were no numbers, or beyond any level, and were replaced\n", pair.input, report.nonFinite);
  }
  if (report.lost > 0) {
    Tell("prismel: {}: {} samples came out of the effect as no numbers and count as 0\n", name, report.lost);
  }
  if (report.tailCut) {
    Tell(
        "prismel: {}: still sounding when the tail's limit was reached; --tail SECONDS gives it "
        "longer\n",
        name);
  }
  if (report.peakHeldGain) {
    Tell("prismel: {}: brought to full scale only: the loudness asked for would clip\n", name);
  }
}

}  // namespace

int RunRenderJobs(const std::vector<FilePair>& pairs, const RenderSettings& settings, unsigned parallel,
                  bool quiet, const std::function<std::unique_ptr<offline::Effect>()>& makeEffect) {
  const auto begin = std::chrono::steady_clock::now();
  std::vector<Job> jobs;
  for (const FilePair& pair : pairs) {
    const bool isStream = pair.output == "-";
    const fs::path folder = isStream ? fs::path() : fs::path(pair.output).parent_path();
    jobs.push_back({pair.input == "-" ? "standard input" : pair.input,
                    isStream         ? folder
                    : folder.empty() ? fs::path(".")
                                     : folder,
                    [&settings, &makeEffect, pair, folder](JobReport& report) {
                      std::error_code ignored;
                      if (pair.makeFolder) fs::create_directories(folder, ignored);
                      const auto effect = makeEffect();
                      RenderFile(settings, pair.input, pair.output, *effect, report);
                    }});
  }
  std::set<fs::path> folders;
  for (const Job& job : jobs) {
    if (!job.folder.empty() && folders.insert(job.folder).second) host::NewFile::RemoveAbandoned(job.folder);
  }
  JobPool pool(std::move(jobs));
  ProgressLine progress(quiet);
  size_t ended = 0;
  std::vector<size_t> failed;
  double seconds = 0.0;
  pool.Run(
      parallel,
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
        if (!quiet) PrintResult(pairs[i], report);
        PrintWarnings(pairs[i], report);
      },
      [&] { progress.Draw(pool, ended); });
  progress.Clear();

  int status = 0;
  for (const size_t i : failed) status = std::max(status, pool.Report(i).status);
  if (pairs.size() == 1) return status;
  if (!quiet) {
    const double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    Tell("{} of {} files, {} of audio in {} ({:.0f} x real time)\n", pairs.size() - failed.size(),
         pairs.size(), DurationText(seconds), DurationText(taken), seconds / taken);
  }
  std::sort(failed.begin(), failed.end());
  for (const size_t i : failed) Tell("prismel: failed: {}\n", pairs[i].input);
  return failed.empty() ? 0 : Failure::kRuntime;
}

}  // namespace Vantora::cli
