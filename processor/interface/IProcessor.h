#pragma once

#include <cstddef>
#include <cstdint>

#include "BlobChange.h"
#include "DescriptionBlock.h"
#include "Info.h"
#include "LogSink.h"
#include "ParamInfo.h"
#include "ProcessData.h"

namespace Vantora::Processor {

/// ProcessorConfig: the argument of `IProcessor::Init`.
struct ProcessorConfig {
  float sampleRate;  ///< Hz; a value that isn't above 0 counts as 44100
};

/// IProcessor: the binary interface between a plug-in shell and a processor library, in seven generations.
///
/// A shell finds the operations by their position in the virtual table, so the order is contract: nothing may
/// be moved, and what a product doesn't need stays in its place as a reserved operation with a fixed result.
/// The number in front of each operation is its slot, counted from 1; the destructor takes slots 14 and 15.
///
/// Life: created, `Attach`, `Init`, then `Process` mixed with parameter and event calls, perhaps `Init` again
/// for a new rate, `Terminate`, `delete`.
///
/// Threads: the word behind a slot's number says which thread may call it.
///
///     [process]     the one thread that calls `Process`, between its blocks. Real-time safe: no allocation,
///                   lock, system call or exception
///     [any thread]  also beside a running block; real-time safe as well
///     [apart]       never beside a block or another [apart] call, never on the audio thread: may allocate,
///                   lock, throw and wait for threads
///
/// As long as no block runs (before the first one, while the shell has stopped the audio), [process] calls
/// are for whichever single thread has the processor in its hands.
///
/// Parameters can be written right after creation. Objects of the abstract classes never exist, so their own
/// destructors are never the most derived ones.
class IProcessor {
 public:
  /// [1] [any thread] Address of the fields of `Info_V5`, behind its virtual table.
  virtual void* GetInfoData();
  /// [2] [any thread] Reserved: 0.
  virtual uint64_t Reserved2() { return 0; }
  /// [3] [apart] Builds everything that depends on the sample rate. `std::bad_alloc` passes through.
  virtual bool Init(const ProcessorConfig* config) = 0;
  /// [4] [apart] Publishes the parameter count and stores the error callback, which may be null.
  virtual bool Attach(LogSink* logSink);
  /// [5] [apart] Ends what runs beside the audio thread. `Init` may follow.
  virtual bool Terminate() { return Reserved21(); }
  /// [6], [7] [any thread] Reserved: true.
  virtual bool Reserved6() { return true; }
  virtual bool Reserved7() { return true; }
  /// [8] [any thread] Normalised value, 0 to 1, through `out`.
  virtual bool GetParamValue(uint32_t index, float* out) = 0;
  /// [9] [process] Stores a normalised value; clamped to 0 to 1. Takes effect at the next block. Beside a
  /// running block the write can be lost for good: the block's end clears the flag that announces it.
  virtual bool SetParamValue(uint32_t index, float value) = 0;
  /// [10] [any thread] Bytes of a blob parameter: `*size` is the room on the way in, the length on the way
  /// out.
  virtual bool GetParamBlob(uint32_t index, char* buffer, uint32_t* size);
  /// [11] [any thread] Whether the parameter's value is a run of bytes.
  virtual bool IsBlobParam(uint32_t index);
  /// [12] [any thread] Fills `info`, which the caller zeroed. False for an index out of range.
  virtual bool GetParamInfo(uint32_t index, ParamInfo* info) = 0;
  /// [13] [any thread] The same by position, and the index through `index`.
  virtual bool GetParamInfoAt(uint32_t position, uint32_t* index, ParamInfo* info);
  /// [14], [15] [apart] Destructor and deleting destructor.
  virtual ~IProcessor() = default;
  /// [16] [any thread] 7: the generation of the interface.
  virtual uint32_t GetInterfaceVersion();
  /// [17] [any thread] Number of host parameters.
  virtual uint32_t GetParameterCount() = 0;
  /// [18] [any thread] Reserved: 0.
  virtual uint64_t Reserved18() { return 0; }
  /// [19] [process] Appends a three-byte MIDI message to the next block's events.
  virtual bool PushMidi(const uint8_t* bytes);
  /// [20] [apart] Reserved: true. `Attach` ends by calling it.
  virtual bool Reserved20() { return true; }
  /// [21] [apart] Reserved: true.
  virtual bool Reserved21() { return true; }

 protected:
  IProcessor() = default;
  IProcessor(const IProcessor&) = delete;
  IProcessor& operator=(const IProcessor&) = delete;

  /// The descriptions stand at the front of every processor, at bytes 8, 40, 68 and 104.
  DescriptionBlock_V3 description3{};
  DescriptionBlock_V4 description4{};
  DescriptionBlock_V5 description5{};
  Info_V5* info = nullptr;  ///< owned by the derived class
};

/// Generation 2.
class IProcessor_V2 : public IProcessor {
 public:
  /// [22] [any thread] Reserved: false.
  virtual bool Reserved22() { return false; }
  /// [23] [process] Empties all event lists; `Process` doesn't.
  virtual bool ClearEvents() { return true; }
  /// [24] [any thread] Reserved: true.
  virtual bool Reserved24() { return true; }
};

/// Generation 3.
class IProcessor_V3 : public IProcessor_V2 {
 public:
  /// [25] [process] Takes the list of values that the processor changed by itself. The entries are the
  /// processor's, valid until the next `Process`.
  virtual bool GetChangedValues(const ValueChange** data, uint32_t* count);
  /// [26] [process] Takes the list of changed blobs; the same rules.
  virtual bool GetChangedBlobs(const BlobChange** data, uint32_t* count);
  /// [27] [process] Reserved.
  virtual bool Reserved27(const void** data, uint32_t* count);
};

/// Generation 4.
class IProcessor_V4 : public IProcessor_V3 {
 public:
  /// [28] [any thread] Largest block of `Process` at this rate, in samples; a multiple of 4, about 1 ms.
  virtual uint32_t GetBlockSize(float sampleRate);
  /// [29], [30] [any thread] Reserved: 0.
  virtual uint64_t Reserved29() { return 0; }
  virtual uint64_t Reserved30() { return 0; }
};

/// Generation 5.
class IProcessor_V5 : public IProcessor_V4 {
 public:
  /// [31] [any thread] `referenceBlockSize` plus `GetExtraLatency`, in samples, the same at every rate.
  virtual uint32_t GetLatency();
  /// [32] [any thread] 0.
  virtual uint32_t GetExtraLatency() { return 0; }
};

/// Generation 6.
class IProcessor_V6 : public IProcessor_V5 {
 public:
  /// [33] [process] One block. Returns true.
  virtual bool Process(ProcessData* data) = 0;
  /// [34], [35] [process] Reserved.
  virtual void Reserved34() {}
  virtual void Reserved35() {}
  /// [36] [any thread] The description object; the processor owns it.
  virtual Info_V5* GetInfo() { return info; }
};

/// Generation 7, the current one.
class IProcessor_V7 : public IProcessor_V6 {
 public:
  /// [37] [any thread] Reserved: 0.
  virtual uint64_t Reserved37() { return 0; }
  /// [38] [any thread] Reserved.
  virtual void Reserved38() {}
};

// Bodies of the abstract interface. A derived processor has to write only `Init`, `GetParamValue`,
// `SetParamValue`, `GetParamInfo`, `GetParameterCount` and `Process`.

inline void* IProcessor::GetInfoData() { return &info->parameterCount; }

inline bool IProcessor::Attach(LogSink* logSink) {
  const uint32_t count = GetParameterCount();
  info->parameterCount = count;
  description3.parameterCount = count;
  description4.parameterCount = count;
  description5.parameterCount = count;
  description3.logSink = logSink;
  return Reserved20();
}

inline bool IProcessor::GetParamBlob(uint32_t, char*, uint32_t*) { return false; }
inline bool IProcessor::IsBlobParam(uint32_t) { return false; }

inline bool IProcessor::GetParamInfoAt(uint32_t position, uint32_t* index, ParamInfo* paramInfo) {
  if (position >= GetParameterCount() || !GetParamInfo(position, paramInfo)) return false;
  *index = position;
  return true;
}

inline uint32_t IProcessor::GetInterfaceVersion() { return info->interfaceVersion; }
inline bool IProcessor::PushMidi(const uint8_t*) { return true; }

inline bool IProcessor_V3::GetChangedValues(const ValueChange** data, uint32_t* count) {
  *data = nullptr;
  *count = 0;
  return true;
}

inline bool IProcessor_V3::GetChangedBlobs(const BlobChange** data, uint32_t* count) {
  *data = nullptr;
  *count = 0;
  return true;
}

inline bool IProcessor_V3::Reserved27(const void** data, uint32_t* count) {
  *data = nullptr;
  *count = 0;
  return true;
}

inline uint32_t IProcessor_V4::GetBlockSize(float) { return description3.referenceBlockSize; }
inline uint32_t IProcessor_V5::GetLatency() {
  return static_cast<const uint32_t*>(GetInfoData())[4] + GetExtraLatency();
}

}  // namespace Vantora::Processor
