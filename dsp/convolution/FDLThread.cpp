#include "dsp/convolution/FDLThread.h"

namespace Vantora::dsp {

FDLThread::~FDLThread() {
  BeginStop();
  FinishStop();
}

void FDLThread::CancelJobs() noexcept {
  cancelCounter.fetch_add(1, std::memory_order_acq_rel);
  const auto marker = [this] { LowerCancelCounter(); };
  queue.Enqueue(marker, marker);
  Wake();
}

void FDLThread::LowerCancelCounter() noexcept {
  // Not below 0: an empty ring may have ended the cancelling before a late marker comes.
  int32_t count = cancelCounter.load(std::memory_order_relaxed);
  while (count > 0 && !cancelCounter.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) {
  }
}

void FDLThread::DrainCancelled() noexcept {
  while (queue.ExecuteOne(true)) {
  }
  cancelCounter.store(0, std::memory_order_relaxed);
}

void FDLThread::BeginStop() noexcept {
  if (!IsRunning()) return;
  // The thread only ends on an empty ring, and nobody wants the results any more.
  CancelJobs();
  RequestStop();
}

void FDLThread::FinishStop() {
  Join();
  queue.Discard();
  cancelCounter.store(0, std::memory_order_relaxed);
}

}  // namespace Vantora::dsp
