#pragma once

#include <cstdint>

namespace Vantora::test {

/// What a machine without memory does, in a program that links FailingMemory.cpp: the allocations of all
/// threads and libraries are counted, and may be made to fail.
class FailingMemory {
 public:
  enum class Mode {
    kOne,    ///< one allocation fails: a large one, with room for small ones behind it
    kOnward  ///< it and all behind it
  };
  /// The `which`th allocation from now on fails, 1 the next one. 0: none any more.
  static void Arm(uint64_t which, Mode mode);
  /// None fails any more. Whether one did.
  static bool Disarm();

  /// Allocations since `Arm`.
  static uint64_t Count();
  /// Blocks that are allocated now.
  static int64_t LiveBlocks();

  /// False in a build whose sanitizer has an allocator of its own: nothing is counted, nothing fails.
  static bool IsThere();
};

}  // namespace Vantora::test
