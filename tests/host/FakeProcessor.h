#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What the fake processor library saw, shared by all processors of one image of it.
struct FakeRecord {
  struct Block {
    uint32_t sampleCount, inputCount, outputCount, modeWord;
    float tempo, songPosition;
    bool isPlaying;
  };
  struct Write {
    uint32_t index;
    float value;
    uint64_t block;  ///< number of the block that the write came before
  };
  std::vector<std::string> life;  ///< "create", "attach", "init 48000", ...
  std::vector<Block> blocks;
  std::vector<Write> writes;
  bool keepsBlocks =
      true;  ///< off: nothing is noted in `Process` and `SetParamValue`, which then allocate nothing
};

/// Name under which the fake exports its record.
inline constexpr const char* kFakeRecordFunction = "GetFakeRecord";
using FakeRecordFunction = FakeRecord* (*)();

inline constexpr uint32_t kFakeParameterCount = 228;
inline constexpr uint32_t kFakeGain = 0;  ///< the output is the input times this value ...
inline constexpr uint32_t kFakeBlockMark =
    1;                                      ///< ... plus this value times a ramp that starts at every block
inline constexpr uint32_t kFakeNumber = 2;  ///< reads the number of this processor in its image / 100
inline constexpr uint32_t kFakeInputPower = 224;  ///< reads the first input sample of the last block
inline constexpr uint32_t kFakeCommand = 226;     ///< answers true and writes nothing
