#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "dsp/convolution/DirectFIR.h"
#include "dsp/convolution/FDL.h"
#include "dsp/convolution/FDLRequest.h"
#include "dsp/convolution/FDLThread.h"
#include "dsp/convolution/OverloadCounters.h"
#include "dsp/convolution/PartitionSchedule.h"
#include "engine/Module.h"

namespace Vantora::dsp {

/// ConvolutionEngine: convolves a stereo signal with a stereo impulse of any length, without latency.
///
///     in -->+--> DirectFIR, the head -------------------------------(+)--> out
///           +--> requests of N samples --> StereoFDL, here or on a --^
///                (one pool a size)         worker; due tapOffset - N
///                                          samples after dispatch
///
/// A result carries the stream time of its first sample and is added where it belongs. The audio thread never
/// waits for a worker and wakes at most one a block, which wakes the others. While blocks come at the pace of
/// the sound it wakes none: the workers know when the next work is due and look by themselves. A result that
/// is late loses what has passed, and is counted. In an offline render (`useWorkers` false) everything is
/// computed on the calling thread, which first waits for what workers still hold; the output is the same, bit
/// for bit, as long as nothing was late.
///
/// One output: the right channel isn't computed. One input: it feeds both channels.
/// Threads: construction and Configure allocate and throw; DoProcess and DoReset don't. Configure, Shutdown,
/// DoReset and the destructor must not overlap DoProcess.
class ConvolutionEngine final : public Module {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 2;

  /// Cuts the impulse as `schedule` says; no pointer into it is kept. Every size must
  /// be a power of two and the worker ids 0, 1, 2, ... without a gap, or
  /// std::runtime_error is thrown. `threadStartHook` is given to every second worker.
  ConvolutionEngine(const float* left, uint64_t leftCount, const float* right, uint64_t rightCount,
                    const PartitionSchedule& schedule, std::function<void(uint64_t)> threadStartHook = {});
  ~ConvolutionEngine() override;

  void Shutdown() override;
  bool SetParam(uint32_t, float) override { return false; }
  float GetParam(uint32_t) override { return 0.0f; }
  void AppendParamName(uint32_t, NameBuilder&) override {}
  void SetDirty(bool) override {}
  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext&) override { return true; }
  uint32_t DoProcess(ProcessContext& context) override;

  /// [audio thread] Whether workers compute what the schedule
  /// gives them; true at first. False for offline renders.
  void SetUseWorkers(bool use) noexcept { useWorkers = use; }

  /// What was late or lost, counted from construction.
  const OverloadCounters& Overloads() const noexcept { return *overloads; }
  /// Counts into `counters` from now on, which must outlive the engine.
  void CountInto(OverloadCounters& counters) noexcept { overloads = &counters; }

  /// True while a worker holds a command.
  bool AreWorkersBusy() const noexcept;

  size_t LineCount() const noexcept { return lines.size(); }
  size_t WorkerCount() const noexcept { return workers.size(); }
  size_t RequestCount() const noexcept { return requests.size(); }

 private:
  static constexpr uint64_t kNoWorker = kAudioThread;

  // A request that was dispatched and isn't used up yet.
  struct UnderWay {
    size_t index = 0;
    uint64_t due = 0;  // stream time at which its result begins
  };

  // One entry of the schedule.
  struct Line {
    StereoFDL stereo;
    uint64_t size = 0;
    uint64_t tapOffset = 0;
    uint64_t worker = kNoWorker;
    size_t firstRequest = 0, requestCount = 0;  // its pool within `requests`
    size_t latest = 0;                          // the request that the last block went to
    std::vector<UnderWay> underWay;             // in order of dispatch; room for all requests
    bool isResetLost = false;                   // the worker's ring had no room for the reset
  };

  // What most blocks need of a line, those in which none of its requests begins or ends. A line of a cache
  // each, as between two blocks others use the caches: the rest of a line and its requests stay untouched.
  struct alignas(64) Feed {
    std::array<float*, 2> write{};       // where the input goes on in the request that is being filled
    uint64_t room = 0;                   // samples until that is full; 0 also when there is none
    std::array<const float*, 2> read{};  // where the result that sounds goes on; null when none does
    uint64_t quietUntil = 0;             // stream time until which no result begins, ends or is late

    void Append(const std::array<const float*, 2>& inputs, uint32_t count) noexcept;
    void AskFor(uint32_t count) const noexcept;
    void AddTo(const std::array<float*, 2>& outputs, uint32_t count) noexcept;
  };

  void StopWorkers();
  void StartWorkers();
  void BuildRequests();
  void WaitForWorkers() noexcept;
  void EndFeed(size_t index) noexcept;
  void Deal(size_t index, const std::array<const float*, 2>& inputs, uint64_t outputChannels,
            uint32_t count) noexcept;
  FDLRequest* FindRequest(Line& line) noexcept;
  void Dispatch(Line& line, FDLRequest& request, uint64_t outputChannels) noexcept;
  void SetPaces(float sampleRate);
  void WakeWorkers() noexcept;
  bool HasCommands(size_t worker) const noexcept;
  void Collect(size_t index, const std::array<float*, 2>& outputs, uint32_t count) noexcept;
  void Mix(FDLRequest& request, const std::array<float*, 2>& outputs, uint32_t count) noexcept;
  void ResetLine(Line& line) noexcept;

  DirectFIR head;
  std::vector<Line> lines;
  std::vector<Feed> feeds;  // as many
  uint32_t maxBlockSize = 0;
  std::vector<FDLRequest> requests;
  uint64_t streamTime = 0;                              // samples since the last reset
  std::unordered_map<uint64_t, uint64_t> workerOfSize;  // the first entry of a size decides
  std::vector<std::unique_ptr<FDLThread>> workers;
  // What the audio thread remembers of a worker.
  struct Wakening {
    bool hasNewWork = false;      // within a block
    bool isLeftToItself = false;  // it naps over work that was dispatched at `since`
    uint64_t since = 0;           // stream time
    uint64_t patience = 0;        // samples that the work may wait before the nap is ended; 0: no naps
  };
  std::vector<Wakening> wakenings;  // as many as workers
  bool useWorkers = true;
  bool justConfigured = false;
  OverloadCounters ownOverloads;
  OverloadCounters* overloads = &ownOverloads;
};

}  // namespace Vantora::dsp
