#include "dsp/convolution/ResourceManager.h"

#include <chrono>
#include <limits>

namespace Vantora::dsp {

void ResourceList::Add(std::unique_ptr<ResourceBase> resource) {
  const std::lock_guard lock(mutex);
  resources.push_back(std::move(resource));
}

void ResourceList::Collect() {
  const std::lock_guard lock(mutex);
  // Below 2 the manager is the only holder left, and nobody
  // can become another one: copies are made from copies.
  std::erase_if(resources, [](const auto& resource) { return !resource || resource->UseCount() < 2; });
}

void ResourceList::Clear() {
  const std::lock_guard lock(mutex);
  resources.clear();
}

size_t ResourceList::Count() const {
  const std::lock_guard lock(mutex);
  return resources.size();
}

void SleepMilliseconds(int64_t milliseconds) {
  if (milliseconds < 1) return;
  constexpr int64_t kMost = 9'223'372'036'000;  // more milliseconds overflow 64 bits of nanoseconds
  std::this_thread::sleep_for(milliseconds >= kMost
                                  ? std::chrono::nanoseconds(std::numeric_limits<int64_t>::max())
                                  : std::chrono::nanoseconds(milliseconds * 1'000'000));
}

}  // namespace Vantora::dsp
