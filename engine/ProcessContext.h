#pragma once

#include <cstdint>
#include <span>

namespace Vantora::Processor {
struct EventList;  // processor/interface/EventList.h; modules here pass the lists on without looking
}

namespace Vantora::dsp {

using Processor::EventList;

/// ProcessContext: what a module receives for one block. A module that passes it on to a child copies it and
/// replaces `inputs`, `outputs` and their counts; all other fields stay.
///
/// An audio port holds `sampleCount` floats. A control port is a pointer whose element at index -1, in front
/// of the data, is nonzero while the port is live; only its first sample is read, once a block. A null
/// pointer means that nothing is connected.
struct ProcessContext {
  float** inputs = nullptr;      ///< one pointer for each input port; entries may be null
  uint64_t passThrough0 = 0;     ///< from the host record, untouched
  float** outputs = nullptr;     ///< one pointer for each output port; entries may be null
  float** auxOutputs = nullptr;  ///< from the host record
  EventList* inputEvents = nullptr;
  EventList* outputEvents = nullptr;
  uint32_t inputCount = 0;      ///< ports in `inputs`
  uint32_t passThrough1 = 0;    ///< from the host record, untouched
  uint32_t outputCount = 0;     ///< ports in `outputs`
  uint32_t auxOutputCount = 0;  ///< pointers in `auxOutputs`
  uint32_t sampleCount = 0;     ///< samples in this block
  float tempo = 0.0f;           ///< beats per minute
  float songPosition = 0.0f;    ///< quarter notes
  uint8_t isPlaying = 0;        ///< transport runs
  uint32_t modeIsOne = 0;       ///< 1: an offline render

  /// The same block with other ports, as a child gets it. `in` and `out` must outlive the copy.
  ProcessContext WithPorts(std::span<float*> in, std::span<float*> out) const {
    ProcessContext inner = WithInputs(in);
    inner.outputs = out.data();
    inner.outputCount = static_cast<uint32_t>(out.size());
    return inner;
  }

  /// The same block with other inputs.
  ProcessContext WithInputs(std::span<float*> in) const {
    ProcessContext inner = *this;
    inner.inputs = in.data();
    inner.inputCount = static_cast<uint32_t>(in.size());
    return inner;
  }

  /// Audio or control input `port`, or null when it isn't there.
  float* Input(uint32_t port) const { return port < inputCount ? inputs[port] : nullptr; }

  /// Output `port`, or null when it isn't there.
  float* Output(uint32_t port) const { return port < outputCount ? outputs[port] : nullptr; }

  /// First sample of a live control port, or null: no modulation.
  const float* LiveControl(uint32_t port) const {
    const float* data = Input(port);
    return data != nullptr && data[-1] != 0.0f ? data : nullptr;
  }
};

/// The mark that makes a control port live.
inline constexpr float kLiveMark = 1.23456f;

}  // namespace Vantora::dsp
