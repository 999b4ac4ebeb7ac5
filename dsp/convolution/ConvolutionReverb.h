#pragma once

#include <atomic>
#include <boost/container/static_vector.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "dsp/control/DelayLine.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"
#include "dsp/convolution/ConvolutionReverbRows.h"
#include "dsp/convolution/Convolver.h"
#include "dsp/convolution/ImpulseFile.h"
#include "dsp/convolution/ImpulseShaping.h"
#include "dsp/convolution/OverloadCounters.h"
#include "dsp/convolution/ResourceManager.h"
#include "engine/UnitModule.h"

namespace Vantora::dsp {

/// ConvolutionReverb: stereo reverb with an impulse from a sound file, without latency.
///
///     in -+-> pre-delay --> Convolver --(fade)--> * sin(wet pi/2) -(+)--> out
///         +-----------------------------------> * cos(wet pi/2) ----^
///
/// Wet                       0..1, equal power; dry and wet glide within 10 ms
/// IRGain                    dB on the impulse; on the delayed input while there is no impulse
/// PreDelayMs                ms, glides within 0.1 s
/// Decay                     1 leaves the impulse alone, 0 has it fall by exp(-5) in a second
/// Stretch, LengthFactor     resampling factor, and length factor of the impulse
/// EngineCrossfadeDuration   seconds of a change from one impulse to the next
/// ImpulseUpdateBehaviour    0: a knob of the impulse acts at once; 1: every ImpulseUpdatePollingTime ms
/// ImpulseFadeBehaviour      0: crossfade of two engines; 1: fade out, then fade in
///
/// A change of the impulse never touches the running engine. The manager's thread reads and shapes the file
/// anew, builds another engine and sends it to the audio thread, which fades to it; the old one is destroyed
/// on the manager's thread. Above 48 kHz the engine runs at a half to an eighth of the rate and the wet
/// signal comes WetLatency() late; the dry signal never does.
///
/// Offline renders (context's modeIsOne) compute everything on the calling thread and are repeatable.
/// Threads: as each operation says; Configure, DoReset and Shutdown must not overlap Process.
class ConvolutionReverb : public UnitModule, public ConvolutionReverbKnobs::Indices {
 public:
  static constexpr uint32_t kInputCount = 2, kOutputCount = 2;
  static constexpr uint32_t kParamCount = ConvolutionReverbKnobs::kRows.size();
  using ParamIndex = ConvolutionReverbKnobs::ParamIndex;
  static constexpr size_t kLongestPath = 256;  ///< bytes

  /// A path as commands carry it: in place, and without a terminator.
  using ImpulsePath = boost::container::static_vector<char, kLongestPath>;
  /// Reads the impulse at a path. False, with the reason, when there is none.
  using ImpulseLoader = std::function<bool(const std::string& path, Impulse& impulse, std::string& problem)>;

  /// The ten parameters as they are declared, for those who list them.
  static std::vector<ParamRecord> DeclareParams();

  /// Starts the manager's thread.
  explicit ConvolutionReverb(std::string name);
  ~ConvolutionReverb() override;

  void Shutdown() override;
  /// Reads the impulse again at once, on the calling thread, and so has it in place on return. Throws what
  /// the opening of libsndfile throws, std::bad_alloc, and std::system_error where a worker can't be started.
  void Configure(uint32_t maxBlockSize, float sampleRate) override;
  void DoReset(bool hard) override;
  bool UpdateParams(ProcessContext& context) override;
  uint32_t DoProcess(ProcessContext& context) override;

  /// [control thread] Asks for another impulse; it is faded to when it is ready. Before the first Configure
  /// the path is only kept. False for a path of more than 256 bytes, and without libsndfile: the log says
  /// why. A file that is no impulse leaves the old one running; see ImpulseProblem.
  bool SetImpulseFile(std::string_view path);

  /// [any but the audio thread] Why the last import failed, with the path in front; empty if it didn't. Waits
  /// for an import that is under way.
  std::string ImpulseProblem() const;

  /// [any thread] What was late or lost in this module's engines so far.
  const OverloadCounters& Overloads() const noexcept { return overloads; }
  /// [any thread] Imports that have ended, well or not, or had nothing to do.
  uint64_t ImportCount() const noexcept { return importCount.load(std::memory_order_acquire); }
  /// [any thread] Length of the latest impulse, in samples at the module's rate; 0 without one.
  uint64_t ImpulseLength() const noexcept { return impulseLength; }
  /// [any thread] Divisor of the latest engine's rate; 0 at the full rate.
  uint64_t RateDivisor() const noexcept { return rateDivisor; }
  /// [any thread] What the wet signal comes late by, in samples.
  uint32_t WetLatency() const noexcept { return wetLatency; }
  /// Objects that the manager keeps, the running engine among them.
  size_t ManagedCount() const { return manager.ResourceCount(); }

  /// Cuts impulses as `config` says, from the next import on. Not while imports may run. Throws
  /// std::runtime_error for a size that isn't a power of two.
  void SetPartitions(ConvoEngineConfig config) { makeSchedule = MakeConvoEngineConfig(std::move(config)); }
  /// Reads impulses with `loader` from now on. Not while imports may run.
  void SetLoader(ImpulseLoader loader) {
    loadImpulse = std::move(loader);
    needsSndFile = false;
  }

  /// The function that cuts an impulse by `config`. Throws
  /// std::runtime_error "Partition size must be a power of two".
  static PartitionScheduleFunction MakeConvoEngineConfig(ConvoEngineConfig config);

 private:
  using Manager = ResourceManager<328, 10>;
  using ConvolverPointer = std::shared_ptr<Convolver>;

  // Loading, in ConvolutionReverbImport.cpp.
  void ProcessImpulse(ImpulsePath path, bool force, float rate, float gainDb, float decay, float stretch,
                      float lengthFactor, bool crossfade);
  void Import(std::unique_lock<std::mutex>& lock, const std::string& path, float rate, float gainDb,
              float decay, float stretch, float lengthFactor, bool crossfade);
  ConvolverPointer BuildConvolver(const std::string& path, const ImpulseShape& shape);
  void ReportProblem(const std::string& path, const std::string& problem);
  bool EnqueueImport(bool force, bool crossfade) noexcept;

  // Signal.
  void SetConvolver(ConvolverPointer convolver, bool crossfade);
  void RunAudioQueue() noexcept;
  void RenderPreDelay(const std::array<float*, 2>& inputs, size_t inputChannels, uint32_t count);
  void RenderWet(const std::array<float*, 2>& inputs, const std::array<float*, 2>& wet,
                 const std::array<float*, 2>& second, uint32_t count);
  void FadeOutAndIn(const std::array<float*, 2>& wet, uint32_t count);
  void Crossfade(const std::array<float*, 2>& inputs, const std::array<float*, 2>& wet,
                 const std::array<float*, 2>& second, uint32_t count);
  float* Scratch(size_t buffer) noexcept { return scratch.Data(buffer * scratchStride); }
  bool IsFadedIn() const noexcept { return ramp.Current() == 1.0f && ramp.Target() == 1.0f; }

  // What engines count into; they are gone before it is.
  OverloadCounters overloads;

  // Settings of Configure, read by the loading thread.
  std::atomic<float> sampleRate{0.0f};    // Hz; 0 before the first Configure
  std::atomic<uint32_t> maxBlockSize{0};  // samples
  size_t scratchStride = 0;
  prims::AlignedBuffer scratch;  // twelve buffers of a block

  // Wanted: what the audio thread has read from the knobs, for imports that other threads ask for.
  Relaxed<float> gainDb = 0.0f, decay = 1.0f, stretch = 1.0f, lengthFactor = 1.0f;
  std::atomic_flag producing =
      ATOMIC_FLAG_INIT;  // whoever holds it may use requestedPath and the manager's queue
  ImpulsePath requestedPath;
  std::atomic<bool> isReloadDue{false};  // an import found no room in the queue: the next block asks again
  bool isReloadPending = false;          // waits for the next tick
  uint64_t sinceTick = 0;                // samples
  uint64_t tickPeriod = 0;               // samples

  // Loading, under the mutex, which the audio thread never takes.
  mutable std::mutex loadingMutex;
  std::string loadedPath;
  float loadedRate = 0.0f;
  uint64_t generation = 0;  // counts imports and configurations
  std::string importProblem;
  ImpulseLoader loadImpulse;
  bool needsSndFile = true;
  PartitionScheduleFunction makeSchedule;
  ImpulseResampler resampler;
  std::atomic<uint64_t> importCount{0};
  Relaxed<uint64_t> rateDivisor, impulseLength;

  // State of the audio thread.
  ConvolverPointer current, next, queued;
  SmootherSRL ramp{1.0f};      // 1: `current` alone (behaviour 1), or `next` alone (behaviour 0)
  uint32_t fadeBehaviour = 0;  // of the fade under way
  std::array<DelayLine, 2> preDelays;
  SmootherLPF preDelay{0.1f};  // samples
  SmootherLPF dry{0.01f}, wetGain{0.01f};
  Relaxed<uint32_t> wetLatency;

  Manager manager;  // its thread uses everything above
};

}  // namespace Vantora::dsp
