// The loading half of ConvolutionReverb: what runs on the manager's thread and within Configure.

#include <bit>
#include <gsl/narrow>
#include <gsl/util>
#include <stdexcept>
#include <thread>
#include <utility>

#include "dsp/convolution/ConvolutionReverb.h"
#include "tools/CLog.h"
#include "tools/SndFileLibrary.h"

namespace Vantora::dsp {
namespace {

constexpr const char* kLogCategory = "audio_engine";
constexpr float kHighestEngineRate = 48000.0f;  // Hz; above it engines run at a divided rate

}  // namespace

PartitionScheduleFunction ConvolutionReverb::MakeConvoEngineConfig(ConvoEngineConfig config) {
  for (const PartitionEntry& entry : config.partitions) {
    if (!std::has_single_bit(entry.size)) throw std::runtime_error("Partition size must be a power of two");
  }
  return [config = std::move(config)](uint64_t length, uint64_t blockSize, float) {
    PartitionSchedule schedule = MakePartitionSchedule(config, length, blockSize);
    if (schedule.headLength < length && schedule.partitions.empty()) {
      CLog::Instance().Log(kLogCategory, kLogWarning,
                           "impulse cut to the head: no partitions are configured");
    }
    return schedule;
  };
}

bool ConvolutionReverb::SetImpulseFile(std::string_view path) {
  if (path.size() > kLongestPath) {
    LogError(kLogCategory, "impulse path longer than 256 bytes: " + std::string(path));
    return false;
  }
  try {
    if (needsSndFile) SndFileLibrary::Instance();
  } catch (const std::exception& error) {
    LogError(kLogCategory, error.what());
    return false;
  }
  while (producing.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
  requestedPath.assign(path.begin(), path.end());
  if (sampleRate.load(std::memory_order_relaxed) > 0.0f && !EnqueueImport(false, true)) {
    isReloadDue.store(true, std::memory_order_relaxed);
  }
  producing.clear(std::memory_order_release);
  return true;
}

std::string ConvolutionReverb::ImpulseProblem() const {
  const std::lock_guard lock(loadingMutex);
  return importProblem;
}

bool ConvolutionReverb::EnqueueImport(bool force, bool crossfade) noexcept {
  return manager.Queue().Enqueue(this, &ConvolutionReverb::ProcessImpulse, requestedPath, force,
                                 sampleRate.load(std::memory_order_relaxed), static_cast<float>(gainDb),
                                 static_cast<float>(decay), static_cast<float>(stretch),
                                 static_cast<float>(lengthFactor), crossfade);
}

void ConvolutionReverb::ProcessImpulse(ImpulsePath path, bool force, float rate, float gain, float decayValue,
                                       float stretchValue, float lengthValue, bool crossfade) {
  const auto countOnReturn = gsl::finally([this] { importCount.fetch_add(1, std::memory_order_release); });
  std::unique_lock lock(loadingMutex);
  if (path.empty() || path.front() == '\0') return;
  // A command from before the last Configure, which has imported the impulse itself.
  if (rate != sampleRate.load(std::memory_order_relaxed)) return;
  const std::string text(path.begin(), path.end());
  if (text == loadedPath && rate == loadedRate && !force) return;
  try {
    Import(lock, text, rate, gain, decayValue, stretchValue, lengthValue, crossfade);
  } catch (const std::exception& error) {
    // On this thread nobody else could catch it, and one file is no reason to end the host.
    if (!lock.owns_lock()) lock.lock();
    ReportProblem(text, error.what());
  }
}

void ConvolutionReverb::Import(std::unique_lock<std::mutex>& lock, const std::string& path, float rate,
                               float gain, float decayValue, float stretchValue, float lengthValue,
                               bool crossfade) {
  loadedPath = path;
  loadedRate = rate;
  importProblem.clear();
  const uint64_t thisImport = ++generation;
  ImpulseShape shape{rate, 0, gain, decayValue, stretchValue, lengthValue};
  shape.rateDivisor = ChooseRateDivisor(rate, kHighestEngineRate);
  ConvolverPointer convolver;
  try {
    convolver = BuildConvolver(path, shape);
  } catch (const std::bad_alloc&) {
    ReportProblem(path, "needs more memory than there is");
  } catch (const gsl::narrowing_error&) {
    ReportProblem(path, "is too long at this stretch");
  }
  if (!convolver) return;

  manager.Manage(convolver);
  rateDivisor = shape.rateDivisor;
  // A host that has stopped calling leaves the queue full. Nobody waits for us meanwhile, but a newer import,
  // or a Configure, makes this one obsolete.
  while (!manager.AudioQueue().Enqueue(this, &ConvolutionReverb::SetConvolver, convolver, crossfade)) {
    lock.unlock();
    if (manager.IsStopRequested()) return;
    SleepMilliseconds(10);
    lock.lock();
    if (generation != thisImport) return;
  }
}

ConvolutionReverb::ConvolverPointer ConvolutionReverb::BuildConvolver(const std::string& path,
                                                                      const ImpulseShape& shape) {
  Impulse impulse;
  std::string problem;
  if (!loadImpulse(path, impulse, problem) || impulse.left.empty()) {
    ReportProblem(path, problem.empty() ? "has no samples" : problem);
    return nullptr;
  }
  if (manager.IsStopRequested()) return nullptr;
  ShapeImpulse(impulse, shape, resampler);
  if (manager.IsStopRequested()) return nullptr;

  const uint32_t blockSize = maxBlockSize.load(std::memory_order_relaxed);
  const uint64_t length = std::max(impulse.left.size(), impulse.right.size());
  auto convolver = std::make_shared<Convolver>(impulse, makeSchedule(length, blockSize, shape.sampleRate),
                                               shape.rateDivisor);
  convolver->Engine().CountInto(overloads);
  convolver->Configure(blockSize, shape.sampleRate);
  convolver->Reset();
  impulseLength = length * std::max<uint64_t>(shape.rateDivisor, 1);
  return convolver;
}

void ConvolutionReverb::ReportProblem(const std::string& path, const std::string& problem) {
  importProblem = path + ": " + problem;
  loadedPath.clear();  // asked for again, the same file gets another chance
  LogError(kLogCategory, "impulse refused: " + importProblem);
}

}  // namespace Vantora::dsp
