#pragma once

#include <chrono>
#include <cstddef>

namespace Vantora::cli {

class JobPool;

/// ProgressLine: one line on standard error for all jobs, only
/// on a terminal and only where there is something to wait for.
class ProgressLine {
 public:
  explicit ProgressLine(bool quiet);

  /// Draws the state of all jobs, `ended` of which are through.
  void Draw(const JobPool& pool, size_t ended);
  /// Takes the line away, before anything else is printed.
  void Clear();

 private:
  bool wanted;
  bool drawn = false;
  std::chrono::steady_clock::time_point begin;
};

}  // namespace Vantora::cli
