// real_time_run LIBRARY ROAD [BLOCKS] [SEED]: does anything in the blocks of the delivered library allocate,
// free, lock, throw, enter the kernel or touch a page that isn't there?
//
//     library      every effect at five rates; all 228 parameters move; blocks of 0 to three times the
//                  processor's own length; presets, resets, jumps of tempo and song, events. Parameter
//                  writes are watched as well
//     collector    the same through the host library's live collector, in pieces of any length, with factory
//                  presets, automation and another thread's hand
//     convolution  the convolution linked in: impulses from 0.01 to 4 s, with and without workers, resets,
//                  and the reverb around it. With workers a block may enter the kernel once, to wake one
//     times        how long the library's blocks take, worst over median
//
// BLOCKS is the number over all effects and rates, a million when not told. Exit status 1: something was
// found. Built by a clang with -fsanitize=realtime, RealtimeSanitizer watches in place of the own guard.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

#include "tests/proofs/Watched.h"

namespace Vantora::test {
namespace {

std::vector<Findings> Walk(const std::string& road, const char* library, uint64_t blocks, uint64_t seed) {
  if (road == "library") return {ThroughLibrary(library, blocks, seed)};
  if (road == "collector") return {ThroughCollector(library, blocks, seed)};
  std::vector<Findings> all;
  for (Findings& one : ThroughConvolution(blocks, seed)) all.push_back(std::move(one));
  return all;
}

uint64_t PageFaults(const std::vector<Findings>& all) {
  uint64_t sum = 0;
  for (const Findings& one : all) sum += one.sum.pageFaults;
  return sum;
}

int Run(int argc, char** argv) {
  const std::string road = argc >= 3 ? argv[2] : "";
  if (argc < 3 || argc > 5 ||
      (road != "library" && road != "collector" && road != "convolution" && road != "times")) {
    std::fprintf(stderr,
                 "usage: real_time_run LIBRARY library|collector|convolution|times [BLOCKS] [SEED]\n");
    return 2;
  }
  if (road == "times") {
    TellBlockTimes(argv[1]);
    return 0;
  }
#if defined(PRISMEL_RTSAN)
  const char* watcher = "RealtimeSanitizer";
#else
  if (!RealTimeGuard::WatchesEverything()) {
    std::fprintf(stderr, "real_time_run: neither guard nor sanitizer can watch here\n");
    return 2;
  }
  const bool isLocked = RealTimeGuard::LockMemory();
  const char* watcher =
      isLocked ? "guard, memory locked" : "guard; memory can't be locked, page faults don't count";
#endif
  const uint64_t blocks = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1000000;
  const uint64_t seed = argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1;
  std::vector<Findings> all = Walk(road, argv[1], blocks, seed);
#if !defined(PRISMEL_RTSAN)
  // The kernel moves locked pages too when it makes room for large ones, and whoever touches them waits. That
  // comes at any block, and goes on for a while; a fault of the code's own comes whenever the same road is
  // walked again.
  for (int walks = 1; isLocked && PageFaults(all) > 0 && walks < 5; ++walks) {
    std::printf("real_time_run: %llu page faults, so once more\n",
                static_cast<unsigned long long>(PageFaults(all)));
    for (Findings& one : all) one.sum.pageFaults = 0;
    std::vector<Findings> again = Walk(road, argv[1], blocks, seed);
    for (size_t i = 0; i < all.size(); ++i) all[i].sum.pageFaults = again[i].sum.pageFaults;
  }
#endif
  std::printf("real_time_run: %s\n", watcher);
  bool isClean = true;
  uint64_t watched = 0;
  for (Findings& one : all) {
#if !defined(PRISMEL_RTSAN)
    if (!isLocked) one.sum.pageFaults = 0;
#endif
    std::printf(
        "real_time_run: %s: %llu blocks in %llu watched calls: %s; at most %llu system calls in one; %llu "
        "samples not "
        "finite, "
        "loudest %.3g\n",
        one.name.c_str(), static_cast<unsigned long long>(one.blocks),
        static_cast<unsigned long long>(one.calls), one.sum.Text().c_str(),
        static_cast<unsigned long long>(one.mostSystemCalls), static_cast<unsigned long long>(one.notFinite),
        static_cast<double>(one.loudest));
    isClean = isClean && one.IsClean();
    watched += one.blocks;
  }
  if (watched < blocks - blocks / 10) {
    std::fprintf(stderr, "real_time_run: only %llu blocks were watched\n",
                 static_cast<unsigned long long>(watched));
    return 1;
  }
  return isClean ? 0 : 1;
}

}  // namespace
}  // namespace Vantora::test

int main(int argc, char** argv) {
  try {
    return Vantora::test::Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "real_time_run: %s\n", error.what());
    return 2;
  }
}
