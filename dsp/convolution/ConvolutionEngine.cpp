#include "dsp/convolution/ConvolutionEngine.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include "basictools/FlushDenormals.h"
#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

/// Requests for one line: twice as many as blocks fit into
/// the time from a block's first sample to its first use.
uint64_t PoolSize(uint64_t maxBlockSize, uint64_t tapOffset, uint64_t size) {
  const float blocks = static_cast<float>(maxBlockSize + tapOffset) / static_cast<float>(size);
  return std::max(2 * static_cast<uint64_t>(std::ceil(blocks)), uint64_t{4});
}

constexpr uint64_t kNever = std::numeric_limits<uint64_t>::max();

}  // namespace

ConvolutionEngine::ConvolutionEngine(const float* left, uint64_t leftCount, const float* right,
                                     uint64_t rightCount, const PartitionSchedule& schedule,
                                     std::function<void(uint64_t)> threadStartHook)
    : Module("ConvolutionEngine", kInputCount, kOutputCount),
      head(left, leftCount, right, rightCount, std::min(schedule.headLength, leftCount), false),
      lines(schedule.partitions.size()) {
  uint64_t tapOffset = head.TapCount();
  std::set<uint64_t> ids;
  for (size_t i = 0; i < lines.size(); ++i) {
    const PartitionEntry& entry = schedule.partitions[i];
    if (!std::has_single_bit(entry.size)) throw std::runtime_error("Partition size must be a power of two");
    lines[i].size = entry.size;
    lines[i].tapOffset = tapOffset;
    auto& channels = lines[i].stereo.channels;
    channels[0].Prepare(entry.size, entry.count, tapOffset, left, leftCount);
    channels[1].Prepare(entry.size, entry.count, tapOffset, right, rightCount, &channels[0]);
    tapOffset += entry.size * entry.count;
    workerOfSize.try_emplace(entry.size, entry.threadIndex);
    if (entry.threadIndex != kAudioThread) ids.insert(entry.threadIndex);
  }
  if (!ids.empty() && *ids.rbegin() >= ids.size()) throw std::runtime_error("Worker ids must count from 0");
  for (Line& line : lines) line.worker = workerOfSize[line.size];
  for (uint64_t id = 0; id < ids.size(); ++id) {
    workers.push_back(std::make_unique<FDLThread>());
    if (id % 2 == 0) workers.back()->SetStartHook(threadStartHook, id);
  }
  wakenings.resize(workers.size());
}

ConvolutionEngine::~ConvolutionEngine() { StopWorkers(); }

void ConvolutionEngine::Shutdown() { StopWorkers(); }

// Configure -------------------------------------------------------------------------------------------------

void ConvolutionEngine::Configure(uint32_t newMaxBlockSize, float sampleRate) {
  maxBlockSize = newMaxBlockSize;
  StopWorkers();
  head.Configure(maxBlockSize);
  BuildRequests();
  // The reset that follows is the one that skips the lines, so they have to be as new already.
  for (Line& line : lines) {
    line.stereo.Reset();
    line.stereo.isUsed = false;
  }
  SetPaces(sampleRate);
  StartWorkers();
  justConfigured = true;
}

void ConvolutionEngine::StopWorkers() {
  for (auto& worker : workers) worker->BeginStop();
  for (auto& worker : workers) worker->FinishStop();
  // Commands that were destroyed with the queues didn't count themselves out.
  for (Line& line : lines) {
    line.stereo.commandsHeld.store(0, std::memory_order_relaxed);
    line.stereo.resetDue.store(false, std::memory_order_relaxed);
  }
}

void ConvolutionEngine::StartWorkers() {
  try {
    for (auto& worker : workers) worker->Start("ConvoEngine");
  } catch (...) {
    StopWorkers();
    throw;
  }
}

void ConvolutionEngine::SetPaces(float sampleRate) {
  // Below four blocks of slack there would be no time to notice that a nap is too long.
  constexpr uint64_t kBlocksOfSlack = 4;
  std::fill(wakenings.begin(), wakenings.end(), Wakening{});
  for (size_t id = 0; id < workers.size(); ++id) {
    uint64_t period = 0, slack = 0;  // of the worker's shortest line, samples
    for (const Line& line : lines) {
      if (line.worker != id || (period != 0 && line.size >= period)) continue;
      period = line.size;
      slack = line.tapOffset > line.size ? line.tapOffset - line.size : 0;
    }
    const bool naps = sampleRate > 0.0f && slack >= kBlocksOfSlack * maxBlockSize;
    wakenings[id].patience = naps ? slack / kBlocksOfSlack : 0;
    const std::chrono::duration<double> time(
        naps ? static_cast<double>(period) / static_cast<double>(sampleRate) : 0.0);
    workers[id]->SetPace(std::chrono::duration_cast<WorkerPace::Clock::duration>(time));
  }
}

void ConvolutionEngine::BuildRequests() {
  size_t total = 0;
  for (Line& line : lines) {
    line.firstRequest = total;
    line.requestCount = PoolSize(maxBlockSize, line.tapOffset, line.size);
    line.latest = total;
    line.underWay.clear();
    line.underWay.reserve(line.requestCount);
    total += line.requestCount;
  }
  requests = std::vector<FDLRequest>(total);
  feeds.assign(lines.size(), Feed{});
  for (size_t i = 0; i < lines.size(); ++i) {
    for (size_t k = 0; k < lines[i].requestCount; ++k) {
      requests[lines[i].firstRequest + k].Allocate(lines[i].size, static_cast<uint32_t>(i));
    }
  }
}

// Reset -----------------------------------------------------------------------------------------------------

void ConvolutionEngine::DoReset(bool) {
  if (justConfigured) {
    justConfigured = false;
  } else {
    // Resets go first and are cancelled with everything before them, so both of a reset's callables reset.
    for (Line& line : lines) ResetLine(line);
    for (auto& worker : workers) {
      if (worker->IsRunning()) {
        worker->CancelJobs();
      } else {
        worker->DrainCancelled();
      }
    }
    for (Line& line : lines) {
      if (std::exchange(line.isResetLost, false)) line.stereo.resetDue.store(true, std::memory_order_release);
    }
    for (FDLRequest& request : requests) {
      if (request.GetState() == FDLRequest::Computing) {
        request.SetStale(true);
      } else {
        request.Clear();
      }
    }
  }
  for (size_t i = 0; i < feeds.size(); ++i) {
    EndFeed(i);
    feeds[i] = Feed{};
  }
  streamTime = 0;
  head.Reset();
}

void ConvolutionEngine::ResetLine(Line& line) noexcept {
  // A line of the audio thread's own goes on across a reset;
  // its results find their place in the new stream time.
  if (line.worker == kNoWorker) return;
  StereoFDL& stereo = line.stereo;
  if (stereo.commandsHeld.load(std::memory_order_acquire) == 0) {
    if (!stereo.isUsed) return;
    if (!useWorkers) {
      stereo.Reset();
      stereo.isUsed = false;
      return;
    }
  }
  stereo.commandsHeld.fetch_add(1, std::memory_order_relaxed);
  const auto reset = [&stereo] {
    stereo.Reset();
    stereo.commandsHeld.fetch_sub(1, std::memory_order_release);
  };
  if (workers[line.worker]->Queue().Enqueue(reset, reset)) {
    stereo.isUsed = false;
  } else {
    stereo.commandsHeld.fetch_sub(1, std::memory_order_relaxed);
    line.isResetLost = true;
  }
}

// Signal ----------------------------------------------------------------------------------------------------

uint32_t ConvolutionEngine::DoProcess(ProcessContext& context) {
  const FlushDenormals flushDenormals;
  const uint32_t count = context.sampleCount;
  const std::array<const float*, 2> inputs{context.Input(0), context.Input(1)};
  const std::array<float*, 2> outputs{context.Output(0), context.Output(1)};
  if (outputs[0] == nullptr) return 0;
  if (!useWorkers) WaitForWorkers();
  for (const Feed& feed : feeds) feed.AskFor(count);
  // The lines take their input before the head writes the output, which may be the same memory.
  const uint64_t outputChannels = outputs[1] != nullptr ? 2 : 1;
  for (size_t i = 0; i < feeds.size(); ++i) {
    if (feeds[i].room > count) {
      feeds[i].Append(inputs, count);
    } else {
      Deal(i, inputs, outputChannels, count);
    }
  }
  WakeWorkers();
  head.Process(inputs, outputs, count);
  for (size_t i = 0; i < feeds.size(); ++i) {
    if (streamTime + count <= feeds[i].quietUntil) {
      feeds[i].AddTo(outputs, count);
    } else {
      Collect(i, outputs, count);
    }
  }
  streamTime += count;
  return 1;
}

void ConvolutionEngine::Feed::Append(const std::array<const float*, 2>& inputs, uint32_t count) noexcept {
  FDLRequest::Fetch(inputs[0], write[0], count);
  FDLRequest::Fetch(inputs[1] != nullptr ? inputs[1] : inputs[0], write[1], count);
  for (float*& place : write) place += count;
  room -= count;
}

// What a worker wrote lies far away, and comes while the head runs.
void ConvolutionEngine::Feed::AskFor(uint32_t count) const noexcept {
  for (const float* place : read) {
    if (place != nullptr) prims::Prefetch(place, count);
  }
}

void ConvolutionEngine::Feed::AddTo(const std::array<float*, 2>& outputs, uint32_t count) noexcept {
  for (size_t c = 0; c < read.size(); ++c) {
    if (read[c] == nullptr) continue;
    if (outputs[c] != nullptr) prims::Add(read[c], outputs[c], count);
    read[c] += count;
  }
}

void ConvolutionEngine::WaitForWorkers() noexcept {
  for (Line& line : lines) {
    if (line.worker == kNoWorker || !workers[line.worker]->IsRunning()) continue;
    if (line.stereo.commandsHeld.load(std::memory_order_acquire) != 0) workers[line.worker]->Wake();
    while (line.stereo.commandsHeld.load(std::memory_order_acquire) != 0) std::this_thread::yield();
  }
}

bool ConvolutionEngine::AreWorkersBusy() const noexcept {
  return std::any_of(lines.begin(), lines.end(), [](const Line& line) {
    return line.stereo.commandsHeld.load(std::memory_order_acquire) != 0;
  });
}

// The request learns what the feed wrote into it.
void ConvolutionEngine::EndFeed(size_t index) noexcept {
  const Line& line = lines[index];
  FDLRequest& request = requests[line.latest];
  if (feeds[index].room != 0 && request.GetState() == FDLRequest::Filling) {
    request.SetFill(line.size - feeds[index].room);
  }
  feeds[index].room = 0;
}

void ConvolutionEngine::Deal(size_t index, const std::array<const float*, 2>& inputs, uint64_t outputChannels,
                             uint32_t count) noexcept {
  Line& line = lines[index];
  Feed& feed = feeds[index];
  EndFeed(index);
  for (uint32_t position = 0; position < count;) {
    FDLRequest* request = FindRequest(line);
    if (request == nullptr) {
      overloads->lostInputs = overloads->lostInputs + (count - position);
      return;
    }
    if (request->GetState() == FDLRequest::Idle) request->Begin(static_cast<int64_t>(streamTime + position));
    const uint64_t taken = std::min<uint64_t>(count - position, line.size - request->Fill());
    const float* left = inputs[0] != nullptr ? inputs[0] + position : nullptr;
    request->Append({left, inputs[1] != nullptr ? inputs[1] + position : left}, taken);
    position += static_cast<uint32_t>(taken);
    if (request->GetState() == FDLRequest::Full) {
      Dispatch(line, *request, outputChannels);
      feed.quietUntil = 0;
    } else {
      feed.write = {request->NextInput(0), request->NextInput(1)};
      feed.room = line.size - request->Fill();
    }
  }
}

FDLRequest* ConvolutionEngine::FindRequest(Line& line) noexcept {
  if (line.requestCount > 0 && requests[line.latest].GetState() == FDLRequest::Filling) {
    return &requests[line.latest];
  }
  FDLRequest* idle = nullptr;
  for (size_t i = line.firstRequest, end = i + line.requestCount; i < end; ++i) {
    const FDLRequest::State state = requests[i].GetState();
    if (state == FDLRequest::Idle && idle == nullptr) {
      idle = &requests[i];
      line.latest = i;
    }
  }
  return idle;
}

void ConvolutionEngine::Dispatch(Line& line, FDLRequest& request, uint64_t outputChannels) noexcept {
  constexpr uint64_t kInputChannels = 2;  // both buffers are filled, whatever the ports
  const UnderWay entry{static_cast<size_t>(&request - requests.data()),
                       static_cast<uint64_t>(request.StartTime()) + line.tapOffset};
  const bool isHeldByWorker = line.worker != kNoWorker &&
                              (useWorkers || line.stereo.commandsHeld.load(std::memory_order_acquire) != 0);
  if (!isHeldByWorker) {
    request.ComputeHere(line.stereo, kInputChannels, outputChannels);
  } else if (!request.Compute(line.stereo, kInputChannels, outputChannels, *workers[line.worker])) {
    overloads->lostCommands = overloads->lostCommands + 1;
    return;
  } else {
    wakenings[line.worker].hasNewWork = true;
  }
  // It may be on the list still, if a worker cancelled it and it was taken anew within the same block.
  const auto isSame = [&](const UnderWay& other) { return other.index == entry.index; };
  const auto found = std::find_if(line.underWay.begin(), line.underWay.end(), isSame);
  if (found == line.underWay.end()) {
    line.underWay.push_back(entry);
  } else {
    *found = entry;
  }
}

void ConvolutionEngine::WakeWorkers() noexcept {
  // From the last to the first: of those that have to be woken, the first, which has the shortest deadlines,
  // is woken by this thread and wakes the next one, so that a block enters the kernel once at most. Not even
  // once where the first looks by itself soon enough for the next one, too.
  FDLThread* next = nullptr;
  uint64_t nextPatience = 0;
  for (size_t id = workers.size(); id-- > 0;) {
    FDLThread& worker = *workers[id];
    Wakening& wakening = wakenings[id];
    if (!wakening.hasNewWork && !wakening.isLeftToItself) continue;
    bool isDue = wakening.isLeftToItself && streamTime - wakening.since >= wakening.patience;
    if (wakening.isLeftToItself && (!worker.IsNapping() || !HasCommands(id))) {
      wakening.isLeftToItself = isDue = false;
    }
    if (std::exchange(wakening.hasNewWork, false)) {
      const bool passesOn = next != nullptr && wakening.patience > 0 && nextPatience >= wakening.patience;
      if (passesOn) next->WakeThrough(worker);  // before the announcement, which it must not miss
      const FDLThread::Reached reached = worker.WakeSoon();
      if (reached == FDLThread::Reached::NotYet) isDue = true;
      if (reached == FDLThread::Reached::AtTheEndOfItsNap && !std::exchange(wakening.isLeftToItself, true)) {
        wakening.since = streamTime;
      }
      if (passesOn) next = nullptr;
    }
    if (!isDue) continue;
    wakening.isLeftToItself = false;
    if (next != nullptr) next->WakeThrough(worker);
    next = &worker;
    nextPatience = wakening.patience;
  }
  if (next != nullptr) next->Wake();
}

bool ConvolutionEngine::HasCommands(size_t worker) const noexcept {
  return std::any_of(lines.begin(), lines.end(), [worker](const Line& line) {
    return line.worker == worker && line.stereo.commandsHeld.load(std::memory_order_acquire) != 0;
  });
}

// Mixes what is ready, and finds out until when the feed may go on by itself. A result begins `tapOffset`
// after its input, as a worker pushes whole blocks: before, there is no need to know whether it is there.
void ConvolutionEngine::Collect(size_t index, const std::array<float*, 2>& outputs, uint32_t count) noexcept {
  Line& line = lines[index];
  Feed& feed = feeds[index];
  feed.read = {};
  uint64_t quietUntil = kNever;
  size_t kept = 0, sounding = 0;
  const uint64_t blockEnd = streamTime + count;
  for (const UnderWay entry : line.underWay) {
    FDLRequest& request = requests[entry.index];
    FDLRequest::State state = request.GetState();
    if (state == FDLRequest::Ready) {
      Mix(request, outputs, count);
      state = request.GetState();
    }
    // A worker may have cancelled it, and the next block taken it anew.
    if (state < FDLRequest::Computing) continue;
    line.underWay[kept++] = entry;
    if (request.IsStale()) {
      quietUntil = 0;  // to be cleared as soon as the worker has done with it
    } else if (state == FDLRequest::Ready && entry.due < blockEnd) {
      ++sounding;
      for (uint64_t c = 0; c < request.ResultChannels(); ++c) {
        feed.read[c] = request.Channel(c) + (blockEnd - entry.due);
      }
      quietUntil = std::min(quietUntil, entry.due + line.size - 1);
    } else {
      quietUntil = std::min(quietUntil, entry.due);
    }
  }
  line.underWay.resize(kept);
  feed.quietUntil = sounding > 1 ? 0 : quietUntil;
}

void ConvolutionEngine::Mix(FDLRequest& request, const std::array<float*, 2>& outputs,
                            uint32_t count) noexcept {
  if (request.IsStale()) {
    request.Clear();
    return;
  }
  const auto now = static_cast<int64_t>(streamTime);
  const auto blockEnd = now + static_cast<int64_t>(count);
  const auto size = static_cast<int64_t>(request.Size());
  const int64_t start = request.ReadyTime();
  const int64_t end = start + size;

  if (request.IsFirstLook() && start < now) {
    overloads->lateResults = overloads->lateResults + 1;
    if (end <= now) overloads->lostResults = overloads->lostResults + 1;
    overloads->lostSamples = overloads->lostSamples + static_cast<uint64_t>(std::min(now - start, size));
  }

  const int64_t from = std::max(start, now), to = std::min(end, blockEnd);
  if (from < to) {
    for (uint64_t c = 0; c < request.ResultChannels() && outputs[c] != nullptr; ++c) {
      prims::Add(request.Channel(c) + (from - start), outputs[c] + (from - now),
                 static_cast<size_t>(to - from));
    }
  }
  if (end <= blockEnd) request.Clear();
}

}  // namespace Vantora::dsp
