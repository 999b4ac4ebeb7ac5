#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/SoundOptions.h"
#include "cli/offline/RenderJobs.h"
#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/files/AutomationFile.h"
#include "host/files/TempoMapFile.h"
#include "offline/HostedEffect.h"

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
};

void Run(const RenderOptions& options, CommandContext& context) {
  const RenderSettings settings = options.files.Settings();
  const std::vector<host::ParameterWrite> values = options.sound.Writes();
  const host::TempoMap tempo =
      options.tempoMap.empty() ? host::TempoMap(options.bpm) : host::ReadTempoMap(options.tempoMap);
  host::Automation automation;
  if (!options.automation.empty()) {
    automation = host::ReadAutomation(options.automation, host::Automation::ParseUnit(options.automationUnit),
                                      options.ramps);
  }
  const std::vector<FilePair> pairs =
      PairFiles(options.files.files, options.files.folder, options.files.type);

  // One processor for all: every worker starts as a copy of this process and
  // goes on with its own copy of a processor that hasn't run yet. So its
  // random seeds are the same for each file, whatever the number of jobs.
  const host::ProcessorLibrary library = context.LoadLibrary();
  host::HostedProcessor processor(library);
  host::ParameterTable::Get().Check(processor);
  offline::LatencyMeasurement latency(processor.Source());
  context.status = RunRenderJobs(pairs, settings, options.files.Jobs(), options.files.quiet, [&] {
    return std::make_unique<offline::HostedEffect>(processor, latency, values, automation, tempo);
  });
}

}  // namespace

void AddRenderCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<RenderOptions>();
  const Command command = app.AddCommand("render", "Run audio files through the effect");
  options->files.AddTo(command);
  options->sound.AddTo(command);
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
