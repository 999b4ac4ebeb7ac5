#pragma once

#include <cstddef>
#include <cstdint>

#include "HostEvent.h"

namespace Vantora::Processor {

/// ProcessData: the record of one audio call. The offsets are binary contract.
/// All memory is the shell's, except where noted. Inputs and outputs must not
/// share a buffer: the outputs are zeroed before the inputs are read.
struct ProcessData {
  uint8_t reserved0[16];
  float** outputs;       ///< `outputCount` channels of `sampleCount` floats; zeroed, then written
  float** inputs;        ///< `inputCount` channels of `sampleCount` floats; read
  uint32_t inputCount;   ///< 0 to 2
  uint32_t outputCount;  ///< 0 to 2
  uint32_t sampleCount;  ///< samples in this block, at most what `GetBlockSize` told
  uint8_t reserved1[84];
  uint32_t outputEventCount;         ///< written after the block
  const HostEvent* outputEventData;  ///< written after the block; owned by the processor until the next call
  float** auxOutputs;                ///< zeroed, passed on
  uint32_t auxOutputCount;
  uint32_t modeWord;  ///< 1: an offline render
  uint8_t reserved2[4];
  float tempo;             ///< beats per minute
  uint8_t isPlaying;       ///< nonzero while the transport runs
  float songPosition;      ///< quarter notes
  uint64_t passThrough0;   ///< handed to the modules untouched
  uint32_t passThrough1;   ///< handed to the modules untouched
  BusOutput** busOutputs;  ///< one record for each event bus
  uint32_t busCount;
};
#if UINTPTR_MAX == UINT64_MAX  // the binary contract is one of 64-bit machines
static_assert(offsetof(ProcessData, outputs) == 16 && offsetof(ProcessData, inputs) == 24);
static_assert(offsetof(ProcessData, inputCount) == 32 && offsetof(ProcessData, outputCount) == 36);
static_assert(offsetof(ProcessData, sampleCount) == 40 && offsetof(ProcessData, outputEventCount) == 128);
static_assert(offsetof(ProcessData, outputEventData) == 136 && offsetof(ProcessData, auxOutputs) == 144);
static_assert(offsetof(ProcessData, auxOutputCount) == 152 && offsetof(ProcessData, modeWord) == 156);
static_assert(offsetof(ProcessData, tempo) == 164 && offsetof(ProcessData, isPlaying) == 168);
static_assert(offsetof(ProcessData, songPosition) == 172 && offsetof(ProcessData, passThrough0) == 176);
static_assert(offsetof(ProcessData, passThrough1) == 184 && offsetof(ProcessData, busOutputs) == 192);
static_assert(offsetof(ProcessData, busCount) == 200);
#endif

}  // namespace Vantora::Processor
