#include "cli/offline/ProgressLine.h"
#include "cli/Console.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "cli/offline/JobPool.h"

namespace Vantora::cli {

ProgressLine::ProgressLine(bool quiet)
    : wanted(!quiet && isatty(STDERR_FILENO) == 1), begin(std::chrono::steady_clock::now()) {}

void ProgressLine::Draw(const JobPool& pool, size_t ended) {
  using namespace std::chrono_literals;
  if (!wanted || std::chrono::steady_clock::now() - begin < 700ms) return;
  // Every file counts alike: lengths of files that haven't begun aren't known.
  double share = 0.0;
  for (size_t i = 0; i < pool.Size(); ++i) {
    const JobReport& report = pool.Report(i);
    if (report.finished || report.status != 0) {
      share += 1.0;
    } else if (const uint64_t total = report.total.load(std::memory_order_relaxed)) {
      share += static_cast<double>(report.done.load(std::memory_order_relaxed)) / static_cast<double>(total);
    }
  }
  share /= static_cast<double>(pool.Size());
  constexpr int kWidth = 30;
  const int filled = static_cast<int>(share * kWidth);
  const std::string files = pool.Size() > 1 ? fmt::format("  {} of {} files", ended, pool.Size()) : "";
  Tell("\r[{}{}] {:3.0f} %{}\033[K", std::string(static_cast<size_t>(filled), '#'),
       std::string(static_cast<size_t>(kWidth - filled), '.'), share * 100.0, files);
  drawn = true;
}

void ProgressLine::Clear() {
  if (drawn) Tell("\r\033[K");
  drawn = false;
}

}  // namespace Vantora::cli
