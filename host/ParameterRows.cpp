#include "host/ParameterRows.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "basictools/knobs/KnobSymbol.h"
#include "dsp/stage/FxVariantRows.h"
#include "dsp/stage/PrismelDistoVariantRows.h"
#include "dsp/stage/PrismelRows.h"
#include "engine/PassThroughRows.h"
#include "processor/PrismelProcessorRows.h"

namespace Vantora::host {
namespace {

using Knobs::Row;

/// The main parameters as a person turns them: what it is, how far it goes, its knobs, where it stands in the
/// mix, what moves it.
constexpr const char* kTurningOrder[] = {
    "fx_type",
    "prismelion",
    "voices",
    "bandpass_cutoff",
    "bandpass_resonance",
    "comb_cutoff",
    "comb_resonance",
    "bit_crusher_downsample",
    "bit_crusher_bit_depth",
    "distortion_drive",
    "distortion_algorithm",
    "harmonizer_chord",
    "harmonizer_spray",
    "feedback_delay_time",
    "wet",
    "input_gain",
    "wet_gain",
    "output_gain",
    "hpf_cutoff",
    "lpf_cutoff",
    "lfo_prismel_amount",
    "lfo_primary_amount",
    "lfo_shape_type",
    "lfo_rate_type",
    "lfo_rate_unsynced",
    "lfo_rate_synced",
    "lfo_all_rate_synced",
    "lfo_phase_init",
    "lfo_swing",
    "bypass",
};

constexpr auto kCommandRows = std::to_array<Row>({
    {"ToolTipUpdate",
     Knobs::Plain(),
     {},
     Unit::kNone,
     Role::kCommand,
     "Commands",
     "Tool tip wanted",
     "asks for a tool tip"},
    {"ToolTipText",
     Knobs::Plain(),
     {},
     Unit::kNone,
     Role::kCommand,
     "Commands",
     "Tool tip",
     "the tool tip, a text"},
});

/// "Jitter rate" behind "Crusher ": "jitter rate"; "FM amount" stays.
std::string BehindAWord(std::string title) {
  const bool isAbbreviation = title.size() > 1 && title[1] >= 'A' && title[1] <= 'Z';
  if (!isAbbreviation && title[0] >= 'A' && title[0] <= 'Z')
    title[0] = static_cast<char>(title[0] - 'A' + 'a');
  return title;
}

/// What stands in front of and behind the names of one module's knobs.
struct Naming {
  std::string path = "";    ///< of the name: "LFO_"
  std::string symbol = "";  ///< of the symbol: "lfo_"
  std::string title = "";   ///< of the title: "LFO", or nothing where the titles say it themselves
  std::string suffix = "";  ///< of the unique name, that tells knobs of the same name apart
};

/// One of the two banks.
struct Side {
  std::string path;    ///< "Prismel_FXL_FX_"
  std::string symbol;  ///< "left_"
  std::string group;   ///< "Left "
  std::string title;   ///< " L"
  int toTwin;          ///< what an index is to be moved by
};

class Builder {
 public:
  void Add(const Naming& naming, std::span<const Row> rows) { AddAll(naming, rows, nullptr); }

  void AddBank(const Side& side) {
    using namespace dsp;
    const auto add = [&](Naming naming, std::span<const Row> rows) { AddAll(naming, rows, &side); };
    add({"", "", "", ""}, PassThroughKnobs::kRows);
    add({"", "band_pass_", "Band-pass", "#1"}, FxVariantKnobs::kBandPassRows);
    add({"", "comb_", "Comb", "#2"}, FxVariantKnobs::kCombRows);
    add({"BitCrusher_", "crusher_", "Crusher", ""}, FxVariantKnobs::kCrusherRows);
    add({"Disto_Wavefolder_", "fold_", "", ""}, PrismelDistoVariantKnobs::kFolderRows);
    add({"Disto_ShapingDist_", "shaper_", "", ""}, PrismelDistoVariantKnobs::kShaperRows);
    add({"Disto_", "disto_", "Disto", ""}, PrismelDistoVariantKnobs::kOwnRows);
    add({"Harmonizer_", "harmonizer_", "Harmonizer", ""}, FxVariantKnobs::kHarmonizerRows);
    add({"", "stage_", "Stage", ""}, FxVariantKnobs::kOwnRows);
  }

  /// Numbers the parameters as a person goes through them, and makes them.
  std::vector<Parameter> Finish() {
    const auto rank = [](const Entry& entry) {
      if (entry.row->role == Role::kMain) {
        const auto place = std::find(std::begin(kTurningOrder), std::end(kTurningOrder), entry.place.symbol);
        return std::array<uint32_t, 3>{0, static_cast<uint32_t>(place - std::begin(kTurningOrder)), 0};
      }
      const uint32_t group = entry.row->role == Role::kAdvanced ? 1 : 2;
      if (!entry.place.twin) return std::array<uint32_t, 3>{group, 0, entry.place.index};
      const uint32_t left = std::min(entry.place.index, *entry.place.twin);
      return std::array<uint32_t, 3>{group, 1 + left, entry.place.index};
    };
    std::vector<Entry*> ranking;
    for (Entry& entry : entries) ranking.push_back(&entry);
    std::stable_sort(ranking.begin(), ranking.end(),
                     [&](const Entry* a, const Entry* b) { return rank(*a) < rank(*b); });
    for (uint32_t i = 0; i < ranking.size(); ++i) ranking[i]->place.order = i;
    std::vector<Parameter> parameters;
    parameters.reserve(entries.size());
    for (Entry& entry : entries) parameters.emplace_back(std::move(entry.place), *entry.row);
    return parameters;
  }

 private:
  struct Entry {
    Parameter::Place place;
    const Row* row;
  };

  void AddAll(const Naming& naming, std::span<const Row> rows, const Side* side) {
    for (const Row& row : rows) {
      Parameter::Place place;
      place.index = static_cast<uint32_t>(entries.size());
      place.name = (side != nullptr ? side->path : "") + naming.path + row.name;
      place.uniqueName = place.name + naming.suffix;
      place.symbol = (side != nullptr ? side->symbol : "") + naming.symbol + Knobs::SymbolOf(row);
      place.title = naming.title.empty() ? row.title : naming.title + ' ' + BehindAWord(row.title);
      place.group = row.group;
      if (side != nullptr) {
        place.title += side->title;
        place.group = side->group + (place.group.empty() ? "voices" : BehindAWord(place.group));
        place.twin = place.index + static_cast<uint32_t>(side->toTwin);
      }
      entries.push_back({std::move(place), &row});
    }
  }

  std::vector<Entry> entries;
};

}  // namespace

std::vector<Parameter> MakeParameters() {
  using Processor::PrismelProcessorKnobs::kFrameRows, Processor::PrismelProcessorKnobs::kLfoRows,
      Processor::PrismelProcessorKnobs::kMeterRows;
  constexpr auto kBankSize = static_cast<int>(dsp::FxVariantKnobs::kBankSize);
  Builder builder;
  builder.AddBank({"Prismel_FXL_FX_", "left_", "Left ", " L", kBankSize});
  builder.AddBank({"Prismel_FXR_FX_", "right_", "Right ", " R", -kBankSize});
  builder.Add({"Prismel_"}, dsp::PrismelKnobs::kOwnRows);
  builder.Add({"LFO_", "lfo_", "LFO"}, kLfoRows);
  builder.Add({"InputAnalyzer_", "input_meter_", "Input meter"}, kMeterRows);
  builder.Add({"OutputAnalyzer_", "output_meter_", "Output meter"}, kMeterRows);
  builder.Add({}, kFrameRows);
  builder.Add({}, Processor::PrismelProcessorKnobs::kOwnRows);
  builder.Add({}, kCommandRows);
  return builder.Finish();
}

}  // namespace Vantora::host
