// A whole command line, one word a line, up to where a render would begin: it is taken, or refused with a
// sentence. "files" is a command of the test's own, with the options that all commands share about audio
// files.

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/Assignment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Failure.h"
#include "cli/FileOptions.h"
#include "cli/Numbers.h"
#include "cli/SoundOptions.h"
#include "cli/audio/AudioFormat.h"
#include "tests/fuzz/Pieces.h"

namespace {

using namespace Vantora;

/// The line has been read and a command is about to run: nothing is to be rendered, drawn, written or asked
/// of other files.
struct ReadToItsEnd {};

/// What the shared options mean.
void Check(const cli::FileOptions& files, const std::vector<std::string>& assignments) {
  const cli::RenderSettings settings = files.Settings();
  fuzz::Require(!(settings.startSeconds && *settings.startSeconds < 0.0) && settings.pieceFrames >= 1 &&
                files.Jobs() >= 1);
  static_cast<void>(
      cli::ChooseOutputFormat(files.files.back(), files.type, settings.sample, cli::SampleFormat::kPcm16));
  for (const std::string& text : assignments) {
    const cli::Assignment parsed = cli::Assignment::Parse(text);
    fuzz::Require(!parsed.name.empty() && !parsed.value.empty());
  }
  cli::SoundOptions sound;
  sound.assignments = assignments;
  for (const host::ParameterWrite& write : sound.Writes()) {
    fuzz::Require(write.normalized >= 0.0f && write.normalized <= 1.0f);
  }
}

void Read(const std::vector<std::string>& words) {
  cli::CommandContext context;
  cli::CommandLine line("prismel", "use", "1");
  const cli::Command root = line.Root();
  cli::AddCommands(root, context);
  root.OnRead([] { throw ReadToItsEnd(); });
  const cli::Command own = root.AddCommand("files", "the test's own");
  cli::FileOptions files;
  files.AddTo(own);
  std::vector<std::string> assignments;
  own.AddOption("--assign", assignments, "NAME=VALUE").OnePerUse();
  std::vector<const char*> argv{"prismel"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  try {
    switch (line.Read(static_cast<int>(argv.size()), argv.data())) {
      case cli::CommandLine::Outcome::kRefused:
        fuzz::RequireSentence(line.Complaint());
        break;
      case cli::CommandLine::Outcome::kAskedForHelp:
        fuzz::Require(!line.ChosenHelp().empty());
        break;
      default:
        break;
    }
  } catch (const ReadToItsEnd&) {
    if (!files.files.empty()) Check(files, assignments);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> words(1);
  for (size_t i = 0; i < size && words.size() < 24; ++i) {
    if (data[i] == '\n') {
      words.emplace_back();
    } else if (data[i] != 0) {
      words.back() += static_cast<char>(data[i]);
    }
  }
  try {
    Read(words);
  } catch (const cli::Failure& refused) {
    fuzz::RequireSentence(refused.what());
  } catch (const host::HostError& refused) {
    fuzz::RequireSentence(refused.what());
  }
  return 0;
}
