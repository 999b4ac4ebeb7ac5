#pragma once

#include "basictools/FlushDenormals.h"
#include "dsp/convolution/WorkerThread.h"

namespace Vantora::dsp {

/// FDLThread: the worker of a convolution engine. The audio thread is its only producer while it runs.
class FDLThread final : public WorkerThread<FDLThread> {
 public:
  using ThreadScope = FlushDenormals;

  ~FDLThread() override;

  /// [producer] Cancels everything queued so far, the running
  /// command included. What is enqueued later runs normally.
  void CancelJobs() noexcept;

  /// Runs what is queued as cancelled, on the calling thread. Only while the worker isn't running.
  void DrainCancelled() noexcept;

  /// Ends the thread as fast as the running command notices, and forgets the rest of the queue.
  void BeginStop() noexcept;
  void FinishStop();

 private:
  void LowerCancelCounter() noexcept;
};

}  // namespace Vantora::dsp
