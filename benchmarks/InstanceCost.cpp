// instance_cost RATE
//
// What does an instance take before it sounds? Prints one line of CSV: the rate, MiB of an instance (mean of
// 64 at once), MiB that are still resident after all 64 have ended in an order of their own, and the least
// milliseconds of an Init of twenty.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

#include <unistd.h>

#include "tests/processor/LoadedProcessor.h"

namespace {

using namespace Vantora;
using Clock = std::chrono::steady_clock;
using Instance = std::unique_ptr<Processor::IProcessor_V7>;

double ResidentMiB() {
  std::ifstream statm("/proc/self/statm");
  long size = 0, resident = 0;
  statm >> size >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
}

Instance MakeInstance(Processor::IProcessorFactory& factory) {
  Instance instance(factory.CreateProcessor());
  instance->Attach(nullptr);
  return instance;
}

}  // namespace

int main(int argc, char** argv) {
  const float rate = argc == 2 ? std::strtof(argv[1], nullptr) : 0.0f;
  if (!(rate >= 8000.0f)) {
    std::fprintf(stderr, "instance_cost: give the sample rate in Hz, from 8000 on\n");
    return 2;
  }
  const test::LoadedLibrary library;
  const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
  const Processor::ProcessorConfig config{rate};

  double least = 1e9;
  for (int i = 0; i < 20; ++i) {
    const Instance instance = MakeInstance(*factory);
    const auto start = Clock::now();
    instance->Init(&config);
    least = std::min(least, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    instance->Terminate();
  }

  constexpr uint32_t kInstances = 64;
  std::vector<Instance> instances(kInstances);
  const double before = ResidentMiB();
  for (Instance& instance : instances) {
    instance = MakeInstance(*factory);
    instance->Init(&config);
  }
  const double each = (ResidentMiB() - before) / kInstances;
  for (uint32_t i = 0; i < kInstances; ++i) {
    Instance& instance = instances[i * 37 % kInstances];
    instance->Terminate();
    instance.reset();
  }
  std::printf("%.0f,%.1f,%.0f,%.2f\n", static_cast<double>(rate), each, ResidentMiB(), least);
  return 0;
}
