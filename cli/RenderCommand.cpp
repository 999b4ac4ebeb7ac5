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
class SeededEffect final : public offline::Effect {
 public:
  SeededEffect(uint32_t seed, const std::vector<host::ParameterWrite>& values,
               const host::Automation& automation, const host::TempoMap& tempo)
      : source(Processor::MakeLinkedFactory(seed)),
        processor(source),
        latency(source),
        effect(processor, latency, values, automation, tempo) {}

  void Start(int rate, int inputChannels, int outputChannels) override {
    effect.Start(rate, inputChannels, outputChannels);
  }
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override {
    effect.Feed(inputs, frames, sink);
  }
  void Finish(const Sink& sink) override { effect.Finish(sink); }
  uint64_t Latency() const override { return effect.Latency(); }
  uint64_t NonFiniteCount() const override { return effect.NonFiniteCount(); }

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

/// The rate of the first of several files: measured once, before the workers start, the latency is known to
/// all.
std::optional<int> CommonRate(const std::vector<FilePair>& pairs) {
  if (pairs.size() < 2 || pairs.front().input == "-") return std::nullopt;
  try {
    return AudioReader(pairs.front().input, std::nullopt, true).Rate();
  } catch (const Failure&) {
    return std::nullopt;  // told when it is rendered
  }
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
  if (const auto rate = CommonRate(sounds.pairs)) static_cast<void>(latency.At(*rate));
  const BatchSettings batch = options.files.Batch(
      context,
      {{"processor", library.Name() + " " + library.Version()}, {"library", library.Path().string()}});
  context.status = RunRenderJobs(
      sounds.pairs, settings, batch, [&](const FilePair& pair) -> std::unique_ptr<offline::Effect> {
        const auto& writes = sounds.writes[pair.row];
        if (pair.seed) return std::make_unique<SeededEffect>(*pair.seed, writes, automation, tempo);
        return std::make_unique<offline::HostedEffect>(processor, latency, writes, automation, tempo);
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
