#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "cli/offline/JobReport.h"

namespace Vantora::cli {

/// Job: one file's work.
struct Job {
  std::string name;                             ///< in messages
  std::filesystem::path folder;                 ///< where it writes; empty for standard output
  std::function<void(JobReport& report)> work;  ///< runs in a process of its own; may throw
};

/// JobPool: runs every job in a process of its own, some at a time.
///
/// Each worker starts as a copy of this process at the moment of the call, so a job's result can't depend on
/// the jobs beside or before it: what counts per process begins anew for each. A crash takes one file along,
/// not all. Ended by a signal, this process ends its workers first, and they remove what they were writing.
///
/// Call it before this process has other threads.
class JobPool {
 public:
  static constexpr unsigned kMaxParallel = 256;

  explicit JobPool(std::vector<Job> jobs);
  ~JobPool();
  JobPool(const JobPool&) = delete;
  JobPool& operator=(const JobPool&) = delete;

  /// Runs all jobs, at most `parallel` at a time. `finished(i)` comes after job i has ended, in the order of
  /// ending, `tick` about ten times a second meanwhile.
  void Run(unsigned parallel, const std::function<void(size_t)>& finished, const std::function<void()>& tick);

  size_t Size() const { return jobs.size(); }
  const Job& At(size_t i) const { return jobs[i]; }
  const JobReport& Report(size_t i) const { return reports[i]; }

 private:
  int StartWorker(size_t i);
  void NoteEnd(size_t i, int pid, int status);

  std::vector<Job> jobs;
  JobReport* reports = nullptr;  // shared with the workers
};

}  // namespace Vantora::cli
