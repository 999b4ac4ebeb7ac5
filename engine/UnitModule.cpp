#include "engine/UnitModule.h"

#include <utility>

namespace Vantora::dsp {

namespace {

template <typename Names>
std::vector<ParamRecord> PlainRecords(const Names& names) {
  std::vector<ParamRecord> records;
  records.reserve(names.size());
  for (const auto& text : names) records.emplace_back(text);
  return records;
}

}  // namespace

UnitModule::UnitModule(std::string text, uint32_t inputs, uint32_t outputs,
                       const std::vector<std::string>& paramNames)
    : UnitModule(std::move(text), inputs, outputs, PlainRecords(paramNames)) {}

UnitModule::UnitModule(std::string text, uint32_t inputs, uint32_t outputs,
                       std::initializer_list<const char*> paramNames)
    : UnitModule(std::move(text), inputs, outputs, PlainRecords(paramNames)) {}

UnitModule::UnitModule(std::string text, uint32_t inputs, uint32_t outputs, std::vector<ParamRecord> records)
    : Module(std::move(text), inputs, outputs), store(std::move(records)) {}

void UnitModule::Init(uint32_t maxBlockSize, float sampleRate) {
  Module::Init(maxBlockSize, sampleRate);
  store.SetDirty(true);
}

void UnitModule::ResetState(bool hard) {
  Module::ResetState(hard);
  if (hard) store.SetDirty(true);
}

float UnitModule::GetParam(uint32_t index) { return store.params[index].GetNormalized(); }

void UnitModule::AppendParamName(uint32_t index, NameBuilder& builder) {
  builder.AppendPrefix(name);
  builder.Append(store.params[index].GetName());
}

void UnitModule::SetDirty(bool flag) { store.SetDirty(flag); }

void UnitModule::SetParamInternal(uint32_t index, float value) { store.SetValue(index, value); }

void UnitModule::ReDeclareParam(uint32_t index, uint32_t kind, bool reversed, float min, float max,
                                float curveArg1, float curveArg2) {
  store.ReDeclare(index, ParamRecord("", kind, reversed, min, max, curveArg1, curveArg2));
}

void UnitModule::ReDeclareStepped(uint32_t index, uint32_t count, float first, float step) {
  store.ReDeclare(index, ParamRecord("", count, first, step));
}

void UnitModule::ApplyFits(std::span<const Knobs::Fit> fits) {
  for (const Knobs::Fit& fit : fits) {
    if (fit.HasRange()) store.ReDeclare(fit.index, ParamRecord(fit.range));
    if (fit.start.how == Knobs::Start::kAtValue) SetParamInternal(fit.index, fit.start.at);
    if (fit.start.how == Knobs::Start::kAtPosition) SetParam(fit.index, fit.start.at);
  }
}

void UnitModule::AddParams(std::vector<ParamRecord> records) { store.Add(std::move(records)); }

}  // namespace Vantora::dsp
