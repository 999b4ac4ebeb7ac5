#pragma once

#include <lv2/core/lv2.h>

#include "plugin/core/HostLink.h"
#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// Lv2Instance: what the window's binary may ask of an instance that the host hands over ("instance-access").
/// Both binaries are of one build; `kMark` tells others.
struct Lv2Instance {
  static constexpr uint64_t kMark = 0x5052'4953'4d45'4c31;  // "PRISMEL1"
  uint64_t mark = kMark;

  /// [main thread] What the window shows.
  virtual WindowModel& Model() = 0;
  /// [main thread] Who tells the host what the window does; null when it closes.
  virtual void SetLink(HostLink* link) = 0;
  /// Number of the instance's first parameter port.
  virtual uint32_t FirstParameterPort() const = 0;

 protected:
  ~Lv2Instance() = default;
};

}  // namespace Vantora::plugin
