// What does a convolution cost, on average and in its worst block, beside zita-convolver on the same work?
// And how long does a command take from the audio thread to its worker?
//
// Stereo, 48 kHz, blocks of 64, impulses of noise, every partition sounding. Blocks come at the pace of the
// sound, and workers do what both give to workers. Percent of a block's duration, the least of three runs in
// turns, less what reading the clock takes; "late" counts what missed its moment in all of them. The ratios
// are ours to theirs: all threads, audio thread, worst block.
//
//     bench_convolution [SECONDS of each paced run] [impulse lengths in seconds...]
//     bench_convolution awake SECONDS [impulse lengths in seconds...]
//     bench_convolution live SECONDS [impulse lengths in seconds...]
//
// The second keeps the cores from sleeping between blocks, as a studio's machine does: on each a process that
// runs when nothing else wants to. The third runs ours alone, all lengths side by side, and tells what was
// late. When the audio thread itself is held up for more than 5 ms the stream goes on from there, as with a
// sound card.

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zita-convolver.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "dsp/convolution/ConvolutionEngine.h"
#include "dsp/convolution/PartitionSchedule.h"

namespace {

using namespace Vantora::dsp;

constexpr uint32_t kBlock = 64;
constexpr double kRate = 48000.0;
constexpr double kBlockSeconds = kBlock / kRate;

double CpuSeconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::vector<float> Noise(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<float> uniform(-0.01f, 0.01f);
  std::vector<float> samples(count);
  for (float& sample : samples) sample = uniform(generator);
  return samples;
}

// One engine of either kind, block by block.
class Contender {
 public:
  virtual ~Contender() = default;
  virtual const char* Name() const = 0;
  // With `waits` the call returns when all that is due has been computed.
  virtual void Run(bool waits) = 0;
  virtual uint64_t Late() const = 0;
};

// Does nothing: what it costs is the measuring.
class Nothing final : public Contender {
 public:
  const char* Name() const override { return "nothing"; }
  void Run(bool) override {}
  uint64_t Late() const override { return 0; }
};

class Prismel final : public Contender {
 public:
  Prismel(const std::vector<float>& left, const std::vector<float>& right)
      : engine(left.data(), left.size(), right.data(), right.size(),
               MakePartitionSchedule({2048, DefaultPartitions()}, left.size(), kBlock)) {
    engine.Init(kBlock, static_cast<float>(kRate));
    for (auto& port : input) port = Noise(kBlock, 7);
    for (auto& port : output) port.resize(kBlock);
  }
  const char* Name() const override { return "prismel"; }
  void Run(bool waits) override {
    std::array<float*, 2> in{input[0].data(), input[1].data()}, out{output[0].data(), output[1].data()};
    ProcessContext context = ProcessContext().WithPorts(in, out);
    context.sampleCount = kBlock;
    engine.SetUseWorkers(!waits);
    engine.Process(context);
  }
  const OverloadCounters& Overloads() const { return engine.Overloads(); }
  uint64_t Late() const override {
    return engine.Overloads().lateResults + engine.Overloads().lostInputs + engine.Overloads().lostCommands;
  }

 private:
  ConvolutionEngine engine;
  std::array<std::vector<float>, 2> input, output;
};

class Zita final : public Contender {
 public:
  Zita(std::vector<float> left, std::vector<float> right) {
    const auto length = static_cast<uint32_t>(left.size());
    convolver.set_options(Convproc::OPT_LATE_CONTIN | Convproc::OPT_VECTOR_MODE);
    if (convolver.configure(2, 2, length, kBlock, kBlock, Convproc::MAXPART, 0.0f) != 0) std::abort();
    convolver.impdata_create(0, 0, 1, left.data(), 0, static_cast<int32_t>(length));
    convolver.impdata_create(1, 1, 1, right.data(), 0, static_cast<int32_t>(length));
    if (convolver.start_process(0, SCHED_OTHER) != 0) std::abort();
    noise = Noise(kBlock, 7);
  }
  ~Zita() override {
    convolver.stop_process();
    convolver.cleanup();
  }
  const char* Name() const override { return "zita"; }
  void Run(bool waits) override {
    for (uint32_t c = 0; c < 2; ++c) std::copy(noise.begin(), noise.end(), convolver.inpdata(c));
    const int flags = convolver.process(waits);
    late += static_cast<uint64_t>(__builtin_popcount(static_cast<unsigned>(flags) & Convproc::FL_LATE));
    sink += convolver.outdata(0)[0] + convolver.outdata(1)[0];
  }
  uint64_t Late() const override { return late; }

 private:
  Convproc convolver;
  std::vector<float> noise;
  uint64_t late = 0;
  float sink = 0.0f;
};

struct Result {
  double all = 0.0;    // processor time of all threads a block, of a block's duration
  double audio = 0.0;  // of the audio thread alone
  double worst = 0.0;  // the audio thread's worst block
  uint64_t late = 0;
};

// Both hand over to their workers here, and blocks come at the pace of the sound: like for like.
Result Measure(Contender& contender, double impulseSeconds, double pacedSeconds) {
  Result result;
  // Until the last partition sounds, and then some whole rounds of the largest one.
  const auto fill = static_cast<uint64_t>((impulseSeconds + 3.0) / kBlockSeconds);
  for (uint64_t i = 0; i < fill; ++i) contender.Run(true);

  const uint64_t lateBefore = contender.Late();
  const double allBefore = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
  const auto begin = std::chrono::steady_clock::now();
  const auto blocks = static_cast<uint64_t>(pacedSeconds / kBlockSeconds);
  double outside = 0.0;  // the audio thread's own time between blocks: pacing, not convolution
  double end = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
  for (uint64_t i = 0; i < blocks; ++i) {
    std::this_thread::sleep_until(begin +
                                  std::chrono::duration_cast<std::chrono::nanoseconds>(
                                      std::chrono::duration<double>(static_cast<double>(i) * kBlockSeconds)));
    const double start = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    outside += start - end;
    contender.Run(false);
    end = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    const double time = (end - start) / kBlockSeconds;
    result.audio += time / static_cast<double>(blocks);
    result.worst = std::max(result.worst, time);
  }
  const double all = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - allBefore - outside;
  result.all = all / static_cast<double>(blocks) / kBlockSeconds;
  result.late = contender.Late() - lateBefore;
  return result;
}

void CompareLengths(const std::vector<double>& lengths, double pacedSeconds) {
  std::printf(
      "| impulse | all threads | audio thread | worst block | late | zita: all threads | audio thread | "
      "worst block | late | ratios |\n|---|---|---|---|---|---|---|---|---|---|\n");
  for (const double seconds : lengths) {
    const auto count = static_cast<size_t>(seconds * kRate);
    const std::vector<float> left = Noise(count, 1), right = Noise(count, 2);
    // In turns, and of the worst blocks the least: what a busy machine adds is not the contender's.
    std::array<Result, 2> results{Result{1e9, 1e9, 1e9, 0}, Result{1e9, 1e9, 1e9, 0}};
    for (int round = 0; round < 3; ++round) {
      const auto take = [&](Result& best, const Result& now) {
        best = {std::min(best.all, now.all), std::min(best.audio, now.audio), std::min(best.worst, now.worst),
                best.late + now.late};
      };
      {
        Prismel ours(left, right);
        take(results[0], Measure(ours, seconds, pacedSeconds));
      }
      {
        Zita theirs(left, right);
        take(results[1], Measure(theirs, seconds, pacedSeconds));
      }
    }
    Nothing nothing;
    const Result clock = Measure(nothing, 0.0, pacedSeconds);
    for (Result& result : results) {
      result.all -= clock.audio;
      result.audio -= clock.audio;
    }
    std::printf("| %.1f s |", seconds);
    for (const Result& result : results) {
      std::printf(" %.2f | %.2f | %.2f | %lu |", 100.0 * result.all, 100.0 * result.audio,
                  100.0 * result.worst, static_cast<unsigned long>(result.late));
    }
    std::printf(" %.2f, %.2f, %.2f |\n", results[0].all / results[1].all, results[0].audio / results[1].audio,
                results[0].worst / results[1].worst);
    std::fflush(stdout);
  }
}

// Engines of all lengths side by side at the pace of the sound. Returns how many results were late.
uint64_t RunLive(const std::vector<double>& lengths, double pacedSeconds) {
  std::vector<std::unique_ptr<Prismel>> engines;
  for (const double seconds : lengths) {
    const auto count = static_cast<size_t>(seconds * kRate);
    engines.push_back(std::make_unique<Prismel>(Noise(count, 1), Noise(count, 2)));
  }
  using Clock = std::chrono::steady_clock;
  auto begin = Clock::now();
  const auto blocks = static_cast<uint64_t>(pacedSeconds / kBlockSeconds);
  uint64_t stalls = 0;
  for (uint64_t i = 0; i < blocks; ++i) {
    const auto due = begin + std::chrono::duration_cast<Clock::duration>(
                                 std::chrono::duration<double>(static_cast<double>(i) * kBlockSeconds));
    std::this_thread::sleep_until(due);
    if (const auto delay = Clock::now() - due; delay > std::chrono::milliseconds(5)) {
      begin += delay;
      ++stalls;
    }
    for (auto& engine : engines) engine->Run(false);
  }
  std::printf("the audio thread was held up %lu times\n", static_cast<unsigned long>(stalls));
  uint64_t late = 0;
  for (size_t i = 0; i < engines.size(); ++i) {
    const OverloadCounters& overloads = engines[i]->Overloads();
    std::printf("%.1f s: in %.0f s of blocks %lu results late, %lu samples of input and %lu commands lost\n",
                lengths[i], pacedSeconds, static_cast<unsigned long>(overloads.lateResults),
                static_cast<unsigned long>(overloads.lostInputs),
                static_cast<unsigned long>(overloads.lostCommands));
    late += engines[i]->Late();
  }
  return late;
}

// A process on each core that runs when nothing else wants to, while this lives.
class CoresAwake {
 public:
  CoresAwake() {
    for (unsigned core = 0; core < std::thread::hardware_concurrency(); ++core) {
      const pid_t child = fork();
      if (child == 0) Spin(core);
      if (child > 0) children.push_back(child);
    }
  }
  ~CoresAwake() {
    for (const pid_t child : children) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }
  CoresAwake(const CoresAwake&) = delete;
  CoresAwake& operator=(const CoresAwake&) = delete;

 private:
  [[noreturn]] static void Spin(unsigned core) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    const sched_param lowest{};
    if (sched_setaffinity(0, sizeof cores, &cores) != 0 || sched_setscheduler(0, SCHED_IDLE, &lowest) != 0) {
      std::fprintf(stderr, "bench_convolution: core %u can't be kept awake\n", core);
      _exit(1);
    }
    for (std::atomic<unsigned> turns{0};; turns.fetch_add(1, std::memory_order_relaxed)) {
    }
  }
  std::vector<pid_t> children;
};

void MeasureHead() {
  constexpr size_t kTaps = 2048;
  const std::vector<float> kernel = Noise(kTaps, 3);
  DirectFIR head(kernel.data(), kTaps, kernel.data(), kTaps, kTaps, false);
  head.Configure(1024);
  std::vector<float> input = Noise(1024, 4), output(1024);
  std::printf("\nhead of %zu taps, one channel:", kTaps);
  for (const uint32_t block : {44u, 48u, 64u, 256u, 1024u}) {
    double best = 1e9;
    for (int round = 0; round < 20; ++round) {
      const uint32_t blocks = 100'000 / block;
      const double start = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
      for (uint32_t i = 0; i < blocks; ++i)
        head.Process({input.data(), nullptr}, {output.data(), nullptr}, block);
      best = std::min(best,
                      (CpuSeconds(CLOCK_THREAD_CPUTIME_ID) - start) / (static_cast<double>(blocks) * block));
    }
    std::printf("  block %u %.1f ns a sample", block, 1e9 * best);
  }
  std::printf("\n");
}

void MeasureQueueLatency() {
  FDLThread worker;
  worker.Start("ConvoEngine");
  using Clock = std::chrono::steady_clock;
  std::vector<double> micros;
  std::atomic<int64_t> ran{0};
  for (int i = 0; i < 5000; ++i) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    ran = 0;
    const auto start = Clock::now();
    worker.Queue().Enqueue([&ran] { ran = Clock::now().time_since_epoch().count(); }, [] {});
    worker.Wake();
    while (ran == 0) std::this_thread::yield();
    micros.push_back(static_cast<double>(ran - start.time_since_epoch().count()) * 1e-3);
  }
  std::sort(micros.begin(), micros.end());
  std::printf(
      "from Enqueue to execution on a sleeping worker: median %.1f us, 99 %% %.1f us, worst %.1f us\n",
      micros[micros.size() / 2], micros[micros.size() * 99 / 100], micros.back());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view mode = argc > 2 ? argv[1] : "";
  const bool isLive = mode == "live", isAwake = mode == "awake";
  const int first = isLive || isAwake ? 2 : 1;
  const double pacedSeconds = argc > first ? std::atof(argv[first]) : 10.0;
  std::vector<double> lengths;
  for (int i = first + 1; i < argc; ++i) lengths.push_back(std::atof(argv[i]));
  if (lengths.empty()) lengths = {0.5, 2.0, 10.0};
  double load = 0.0;
  if (getloadavg(&load, 1) == 1) {
    std::printf("%u cores, %.1f processes at work on them\n", std::thread::hardware_concurrency(), load);
  }
  if (isLive) return RunLive(lengths, pacedSeconds) == 0 ? 0 : 1;
  if (isAwake) {
    const CoresAwake awake;
    CompareLengths(lengths, pacedSeconds);
    return 0;
  }
  CompareLengths(lengths, pacedSeconds);
  MeasureHead();
  MeasureQueueLatency();
}
