#include "host/ParameterQueue.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "host/HostError.h"

namespace Vantora::host {

ParameterQueue::ParameterQueue(size_t room)
    : capacity(room), arrivals(std::clamp<size_t>(room, 1, kLargestCapacity)) {
  if (room < 1 || room > kLargestCapacity) {
    throw HostError("A parameter queue has room for 1 to " + std::to_string(kLargestCapacity) + " writes.");
  }
  waiting.resize(capacity);  // touches the pages now, so that the audio thread doesn't fault them in
  waiting.clear();
}

ParameterQueue::~ParameterQueue() {
  CollectArrivals(0);
  for (const Entry& entry : waiting) delete entry.group;
  FreeSpentGroups();
}

bool ParameterQueue::Push(const ParameterWrite& write) { return Offer(write, nullptr); }

bool ParameterQueue::PushTogether(std::vector<ParameterWrite> writes, uint64_t position) {
  FreeSpentGroups();
  auto group = std::make_unique<Group>();
  group->writes = std::move(writes);
  if (!Offer({0, 0.0f, position}, group.get())) return false;
  group.release();  // the queue's now
  return true;
}

bool ParameterQueue::Offer(const ParameterWrite& write, Group* group) {
  // Relaxed: only the number counts; the queue itself publishes the entry.
  if (occupied.fetch_add(1, std::memory_order_relaxed) >= capacity || !arrivals.Push({write, group, 0})) {
    occupied.fetch_sub(1, std::memory_order_relaxed);
    return false;
  }
  return true;
}

void ParameterQueue::CollectArrivals(uint64_t begin) {
  Entry entry;
  // The bound on `occupied` is the bound on this loop's harvest, but writers may go on while it runs.
  for (size_t taken = 0; waiting.size() < capacity && taken < capacity && arrivals.Pop(entry); ++taken) {
    entry.write.position = std::max(entry.write.position, begin);
    entry.sequence = sequence++;
    waiting.push_back(entry);
    std::push_heap(waiting.begin(), waiting.end(), IsLater);
  }
}

const ParameterQueue::Entry* ParameterQueue::NextDue(uint64_t end) const {
  return !waiting.empty() && waiting.front().write.position < end ? &waiting.front() : nullptr;
}

void ParameterQueue::RemoveFirst() {
  if (Group* group = waiting.front().group; group != nullptr) {
    // Pushed, never popped one by one: a plain stack has no ABA problem here. Release publishes `next`.
    group->next = spent.load(std::memory_order_relaxed);
    while (!spent.compare_exchange_weak(group->next, group, std::memory_order_release,
                                        std::memory_order_relaxed)) {
    }
  }
  std::pop_heap(waiting.begin(), waiting.end(), IsLater);
  waiting.pop_back();
  occupied.fetch_sub(1, std::memory_order_relaxed);
}

void ParameterQueue::FreeSpentGroups() {
  for (Group* group = spent.exchange(nullptr, std::memory_order_acquire); group != nullptr;) {
    delete std::exchange(group, group->next);
  }
}

}  // namespace Vantora::host
