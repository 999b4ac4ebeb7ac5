#pragma once

#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "plugin/core/Values.h"

namespace Vantora::plugin {

/// Sound: everything that one press on "undo" brings back.
struct Sound {
  Positions positions{};
  std::string name;         ///< of the preset it began as
  std::string description;  ///< the preset's line
  bool isModified = false;  ///< moved since
};

/// History: the sounds to go back to and forward to. [main thread]
class History {
 public:
  static constexpr size_t kDepth = 100;  ///< steps back; the oldest is forgotten

  /// `before` is left now for another sound: one step back leads to it, and nothing leads forward any more.
  void Leave(Sound before) {
    back.push_back(std::move(before));
    if (back.size() > kDepth) back.pop_front();
    forward.clear();
  }
  bool CanUndo() const { return !back.empty(); }
  bool CanRedo() const { return !forward.empty(); }
  /// One step; `present` is put aside for the other direction. Only where `CanUndo` (`CanRedo`) says so.
  Sound Undo(Sound present) { return Step(back, forward, std::move(present)); }
  Sound Redo(Sound present) { return Step(forward, back, std::move(present)); }

 private:
  static Sound Step(std::deque<Sound>& from, std::deque<Sound>& to, Sound present) {
    to.push_back(std::move(present));
    Sound sound = std::move(from.back());
    from.pop_back();
    return sound;
  }
  std::deque<Sound> back, forward;
};

}  // namespace Vantora::plugin
