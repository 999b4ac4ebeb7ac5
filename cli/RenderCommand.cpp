#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "basictools/math/SeedHash.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Numbers.h"
#include "cli/SettingsTable.h"
#include "cli/SoundOptions.h"
#include "cli/audio/AudioReader.h"
#include "cli/offline/RenderJobs.h"
#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/files/AutomationFile.h"
#include "host/files/TempoMapFile.h"
#include "offline/EffectAround.h"
#include "offline/HostedEffect.h"
#include "processor/LinkedFactory.h"
#include "tools/CLog.h"

namespace Vantora::cli {
namespace {

struct RenderOptions {
  FileOptions files;
  SoundOptions sound;
  double bpm = 120.0;
  std::string tempoMap;
  std::string automation;
  std::string automationUnit = "seconds";
  bool ramps = false;
  std::string seed, table;
  bool vary = false;
};

/// SeededEffect: the effect with random numbers of its own choice, from a factory of its own.
class SeededEffect final : public offline::EffectAround {
 public:
  SeededEffect(uint32_t seed, const std::vector<host::ParameterWrite>& values,
               const host::Automation& automation, const host::TempoMap& tempo)
      : EffectAround(effect),
        source(Processor::MakeLinkedFactory(seed)),
        processor(source),
        latency(source),
        effect(processor, latency, values, automation, tempo) {}

 private:
  host::ProcessorSource source;
  host::HostedProcessor processor;
  offline::LatencyMeasurement latency;
  offline::HostedEffect effect;
};

/// A file's seed under --vary: from its name, so that it doesn't depend on the files beside it.
uint32_t SeedOfName(const std::string& path, uint32_t seed) {
  uint32_t hash = 2166136261u;  // FNV-1a, 32 bits
  for (const unsigned char letter : std::filesystem::path(path).filename().string()) {
    hash = (hash ^ letter) * 16777619u;
  }
  return SeedHash(hash, seed);
}

/// Rate and channels of a file.
struct Form {
  int rate, inputChannels, outputChannels;
  bool operator==(const Form&) const = default;
};

/// The form of the first of several files, and whether all have it: what is common is made ready once, before
/// the workers start. Nothing is told of files that can't be read: that comes when they are rendered.
std::optional<Form> CommonForm(const std::vector<FilePair>& pairs, const RenderSettings& settings,
                               bool* isOfAll) {
  std::optional<Form> common;
  *isOfAll = pairs.size() > 1;
  for (const FilePair& pair : pairs) {
    if (pairs.size() < 2) break;
    if (AudioReader::IsReadOnce(pair.input)) {
      *isOfAll = false;
      break;
    }
    try {
      const AudioReader reader(pair.input, settings.rawInput, true);
      const std::vector<int>& chosen = pair.channels.empty() ? settings.channels : pair.channels;
      const int inputs = chosen.empty() ? reader.Channels() : static_cast<int>(chosen.size());
      const Form form{reader.Rate(), inputs, inputs == 2 || pair.stereo.value_or(settings.stereo) ? 2 : 1};
      if (!common) common = form;
      *isOfAll = *isOfAll && form == *common;
    } catch (const Failure&) {
    }
    if (!*isOfAll) break;
  }
  *isOfAll = *isOfAll && common.has_value();
  return common;
}

/// What each render sounds like: one sound for all, or a table's.
struct Sounds {
  std::vector<std::vector<host::ParameterWrite>> writes;  // by row
  std::vector<bool> isWide;                               // by row
  std::vector<FilePair> pairs;
};

Sounds ListSounds(const RenderOptions& options) {
  Sounds sounds;
  const auto add = [&sounds](const SoundOptions& sound) {
    sounds.writes.push_back(sound.Writes());
    sounds.isWide.push_back(host::IsWide(sounds.writes.back()));
  };
  if (options.table.empty()) {
    add(options.sound);
    sounds.pairs = options.files.Pairs();
  } else {
    if (!options.files.files.empty()) throw UsageError("--table names the files; give it or FILES");
    const SettingsTable table = SettingsTable::Read(options.table, options.sound);
    sounds.pairs = table.Pairs(options.files.folder, options.files.type);
    for (FilePair& pair : sounds.pairs) pair.seed = table.rows[pair.row].seed;
    for (const SettingsTable::Row& row : table.rows) add(row.sound);
    if (!options.files.split.empty()) sounds.pairs = SplitIntoChannelPairs(sounds.pairs);
  }
  for (FilePair& pair : sounds.pairs) {
    if (!options.files.stereo && !options.files.mono) pair.stereo = sounds.isWide[pair.row];
    if (!pair.seed && !options.seed.empty()) pair.seed = ParseSeed("--seed", options.seed);
    if (options.vary) pair.seed = SeedOfName(pair.input, pair.seed.value_or(0));
  }
  return sounds;
}

void Run(const RenderOptions& options, CommandContext& context) {
  const RenderSettings settings = options.files.Settings();
  const host::TempoMap tempo =
      options.tempoMap.empty() ? host::TempoMap(options.bpm) : host::ReadTempoMap(options.tempoMap);
  host::Automation automation;
  if (!options.automation.empty()) {
    automation = host::ReadAutomation(options.automation, host::Automation::ParseUnit(options.automationUnit),
                                      options.ramps);
  }
  const Sounds sounds = ListSounds(options);
  const bool isSeeded = std::any_of(sounds.pairs.begin(), sounds.pairs.end(),
                                    [](const FilePair& pair) { return pair.seed.has_value(); });
  if (isSeeded && !context.library.empty()) {
    throw UsageError("--seed and --vary use the effect in this program; leave out --library");
  }

  // One processor for all: every worker starts as a copy of this process and goes on with its own copy of a
  // processor that hasn't run yet. So its random seeds are the same for each file, whatever the number of
  // jobs.
  const host::ProcessorLibrary library = context.LoadLibrary();
  host::HostedProcessor processor(library);
  host::ParameterTable::Get().Check(processor);
  offline::LatencyMeasurement latency(processor.Source());
  LogInfo("prismel",
          fmt::format("{} {} from {}", library.Name(), library.Version(), library.Path().string()));
  bool isOneForm = false;
  const auto form = CommonForm(sounds.pairs, settings, &isOneForm);
  if (form) static_cast<void>(latency.At(form->rate));
  // A processor that is ready for all files is made ready once; each worker's copy costs what it touches.
  std::shared_ptr<offline::HostedEffect> ready;
  if (isOneForm && !isSeeded && sounds.writes.size() == 1) {
    ready =
        std::make_shared<offline::HostedEffect>(processor, latency, sounds.writes.front(), automation, tempo);
    ready->Prepare(form->rate, form->inputChannels, form->outputChannels);
  }
  const BatchSettings batch = options.files.Batch(
      context,
      {{"processor", library.Name() + " " + library.Version()}, {"library", library.Path().string()}});
  context.status = RunRenderJobs(
      sounds.pairs, settings, batch, [&](const FilePair& pair) -> std::shared_ptr<offline::Effect> {
        if (ready) return ready;
        const auto& writes = sounds.writes[pair.row];
        if (pair.seed) return std::make_shared<SeededEffect>(*pair.seed, writes, automation, tempo);
        return std::make_shared<offline::HostedEffect>(processor, latency, writes, automation, tempo);
      });
}

}  // namespace

void AddRenderCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<RenderOptions>();
  const Command command = app.AddCommand("render", "Run audio files through the effect");
  options->files.AddTo(command);
  options->sound.AddTo(command);
  command.OptionNamed("FILES").Required(false);
  constexpr const char* kRandom = "Random elements and many settings";
  command
      .AddOption("--seed", options->seed,
                 "number of the random elements, 0 to 4294967295; 0 is the sound without this option")
      .Group(kRandom);
  command
      .AddFlag("--vary", options->vary,
               "random elements of its own for each file, from its name (and --seed)")
      .Group(kRandom);
  command
      .AddOption("--table", options->table,
                 "CSV of renders: columns input, output, preset, seed and any parameters; a row a render")
      .Group(kRandom);
  constexpr const char* kTime = "Time";
  command.AddOption("--bpm", options->bpm, "tempo, quarter notes a minute")
      .Group(kTime)
      .Range(host::TempoMap::kLowest, host::TempoMap::kHighest)
      .ShowStart();
  command.AddOption("--tempo-map", options->tempoMap, "CSV of seconds,bpm or beats,bpm in place of one tempo")
      .Group(kTime)
      .Excludes("--bpm");
  command.AddOption("--automation", options->automation, "CSV of time,parameter,value[,step|ramp]")
      .Group(kTime);
  command
      .AddOption("--automation-unit", options->automationUnit, "what its times count where it doesn't say so")
      .Group(kTime)
      .OneOf({"seconds", "frames", "beats"})
      .ShowStart();
  command.AddFlag("--ramps", options->ramps, "lead to each value in a line, not in a step").Group(kTime);
  command.OnRun([options, &context] { Run(*options, context); });
}

}  // namespace Vantora::cli
