#include "dsp/control/IGenerator.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "basictools/math/WholeQuads.h"
#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::dsp {
namespace {

constexpr float kTriplet = 0.6666667f;
constexpr float kDotted = 1.5f;
constexpr float kDegrees = 0.0027777778f;  // cycles in a degree

/// Each length dotted, straight and as triplet, from the longest to the shortest.
std::vector<float> WithDottedAndTriplets(const std::vector<float>& table) {
  std::vector<float> all;
  all.reserve(3 * table.size());
  for (const float x : table) all.insert(all.end(), {kDotted * x, x, kTriplet * x});
  std::sort(all.begin(), all.end(), std::greater<>());
  return all;
}

std::vector<ParamRecord> WithPlainOnes(const std::vector<std::string>& ownNames) {
  std::vector<ParamRecord> records = MakeRecords(IGeneratorKnobs::kRows);
  for (const std::string& text : ownNames) records.emplace_back(text);
  return records;
}

const std::vector<float> kDefaultTable = {8.0f, 4.0f, 2.0f, 1.0f, 0.5f, 0.25f, 0.125f, 0.0625f, 0.03125f};

}  // namespace

IGenerator::IGenerator(std::string text, uint32_t inputs, uint32_t outputs,
                       const std::vector<std::string>& ownNames)
    : IGenerator(std::move(text), inputs, outputs, WithPlainOnes(ownNames)) {}

IGenerator::IGenerator(std::string text, uint32_t inputs, uint32_t outputs, std::vector<ParamRecord> records)
    : UnitModule(std::move(text), inputs, outputs, std::move(records)),
      syncTable(kDefaultTable),
      allTable(WithDottedAndTriplets(kDefaultTable)) {}

void IGenerator::Configure(uint32_t maxBlockSize, float newSampleRate) {
  maxBlock = maxBlockSize;
  sampleRate = newSampleRate;
  beatsPerSampleAt1Bpm = 1.0 / 60.0 / static_cast<double>(sampleRate);
  beatsPerSample = beatsPerSampleAt1Bpm * static_cast<double>(tempo);

  arrays.Resize(4, maxBlock);
  for (float** array : {&rates, &phases, &triggers, &cycles}) *array = arrays.Take();
}

void IGenerator::Restart() {
  if (phases != nullptr) {
    std::fill_n(phases, maxBlock, 0.0f);
    std::fill_n(cycles, maxBlock, 0.0f);
  }
  cycle = -1.0;
  position = 0.0;
  syncOrigin = 0.0;
  needsStart = true;
}

void IGenerator::SetRateTable(std::vector<float> table) {
  syncTable = std::move(table);
  ReDeclareStepped(kRateSynced, static_cast<uint32_t>(syncTable.size()), 0.0f, 1.0f);
  if (Normalized(kConfAllowSyncAll) > 0.5f) {
    allTable = WithDottedAndTriplets(syncTable);
    // Decided anew with the next "MidiSync".
    activeTable = Normalized(kRateSyncedType) == 1.0f ? kAllTable : kSyncTable;
    ReDeclareStepped(kAllRateSynced, static_cast<uint32_t>(allTable.size()), 0.0f, 1.0f);
  }
}

void IGenerator::SetRateInput(bool perSample, uint32_t input) {
  rateInputMode = perSample ? kInputPerSample : kInputPerBlock;
  rateInput = input;
}

void IGenerator::SetAmountInput(uint32_t input) {
  amountInputMode = kInputPerBlock;
  amountInput = input;
}

bool IGenerator::UpdateParams(ProcessContext& context) {
  if (context.tempo != tempo) {
    tempo = context.tempo;
    beatsPerSample = beatsPerSampleAt1Bpm * static_cast<double>(tempo);
  }
  if (!IsAnyDirty()) return true;

  if (IsDirty(kMode)) mode = static_cast<uint32_t>(Value(kMode));
  if (IsDirty(kMidiSync)) UpdateSync();
  if (IsDirty(kRateSyncedType) && !(AllowsSyncAll() && Value(kMidiSync) == 2.0f)) UpdateTypeFactor();
  if (IsDirty(kMidiSync) || IsDirty(kRateUnSynced) || IsDirty(kRateSynced) || IsDirty(kAllRateSynced) ||
      IsDirty(kRateSyncedType)) {
    UpdateRate();
  }
  if (IsDirty(kPhaseInit)) MovePhases(Value(kPhaseInit) * kDegrees);
  if (IsDirty(kGateIn) && Value(kGateIn) > 0.5f && mode != kSongLocked) {
    finished = false;
    Restart();
  }
  if (IsDirty(kControlRate)) controlRate = Normalized(kControlRate) >= 0.5f;
  if (IsDirty(kSppHardFollow)) hardFollow = Normalized(kSppHardFollow) >= 0.5f;
  if (IsDirty(kSwing)) {
    swingOn = Normalized(kSwing) > 0.0f;
    swing = Value(kSwing) * 0.01f;
  }
  return true;
}

void IGenerator::UpdateSync() {
  synced = Normalized(kMidiSync) >= 0.5f;
  Restart();
  if (!AllowsSyncAll() || !synced) return;
  if (Value(kMidiSync) == 2.0f) {
    activeTable = kAllTable;
    activeRateParam = kAllRateSynced;
    typeFactor = 1.0f;
  } else {
    activeTable = kSyncTable;
    activeRateParam = kRateSynced;
    UpdateTypeFactor();
  }
}

void IGenerator::UpdateTypeFactor() {
  const float type = Value(kRateSyncedType);
  typeFactor = type >= 2.0f ? kDotted : type >= 1.0f ? kTriplet : 1.0f;
}

float IGenerator::NoteLength(float index) const {
  const std::vector<float>& table = ActiveTable();
  const float last = static_cast<float>(table.size() - 1);
  // A record can point beyond a table that has just been replaced; NaN goes to the first entry.
  const float held = index >= last ? last : index > 0.0f ? index : 0.0f;
  return typeFactor * table[static_cast<size_t>(held)];
}

void IGenerator::UpdateRate() {
  rateValue = synced ? NoteLength(Value(activeRateParam)) : Value(kRateUnSynced);
}

void IGenerator::RenderRate(ProcessContext& context) {
  const uint32_t count = context.sampleCount;
  const float* input = rateInputMode != kNoInput ? context.LiveControl(rateInput) : nullptr;
  const uint32_t rateParam = synced ? activeRateParam : static_cast<uint32_t>(kRateUnSynced);
  if (input != nullptr && rateInputMode == kInputPerSample) {
    RenderRatePerSample(input, rateParam, count);
    return;
  }
  float rate = rateValue;
  if (input != nullptr) {
    rate = Param(rateParam).ReadValueModulated(context, rateInput);
    if (synced) rate = NoteLength(rate);
  }
  std::fill_n(rates, count, rate);
}

void IGenerator::RenderRatePerSample(const float* input, uint32_t rateParam, uint32_t count) {
  const float base = Normalized(rateParam);
  for (uint32_t i = 0; i < count; ++i) rates[i] = std::fmin(std::fmax(base + input[i], 0.0f), 1.0f);
  // The block form works in whole groups of four: fill the last one up rather than leave positions in it.
  const uint32_t whole = WholeQuads(count + 3);
  std::fill(rates + count, rates + whole, base);
  Param(rateParam).ToValueBlock(rates, rates, whole);
  if (!synced) return;
  for (uint32_t i = 0; i < count; ++i) rates[i] = NoteLength(rates[i]);
}

}  // namespace Vantora::dsp
