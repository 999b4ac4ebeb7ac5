#include "cli/CommandLine.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "cli/Failure.h"
#include "cli/Numbers.h"

namespace Vantora::cli {
namespace {

/// A variable of a script that is empty by mistake must not count as an option left out.
CLI::Option* RefusingEmpty(CLI::Option* option) {
  return option->check([](const std::string& text) {
    return text.empty() ? std::string("needs a value, and got an empty one") : std::string();
  });
}

/// The words behind the program's name. Several NAME=VALUE may follow one -p or --set: each gets an option of
/// its own, which CLI11 can tell from a file's name.
std::vector<std::string> Words(int argc, const char* const* argv) {
  std::vector<std::string> words;
  bool isSetting = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const size_t equals = word.find('=');
    const bool isAssignment = equals != std::string::npos && equals > 0 &&
                              word.find_first_of("-./") > equals && !std::filesystem::exists(word);
    if (isSetting && isAssignment && words.back() != "-p" && words.back() != "--set")
      words.emplace_back("-p");
    isSetting = word == "-p" || word == "--set" || (isSetting && isAssignment);
    words.push_back(word);
  }
  return words;
}

}  // namespace

Option& Option::Group(const std::string& heading) {
  option->group(heading);
  return *this;
}

Option& Option::Required(bool isRequired) {
  option->required(isRequired);
  return *this;
}

Option& Option::ShowStart() {
  option->capture_default_str();
  return *this;
}

Option& Option::OnePerUse() {
  option->allow_extra_args(false);
  return *this;
}

Option& Option::Excludes(const std::string& other) {
  option->excludes(other);
  return *this;
}

Option& Option::Range(double lowest, double highest) {
  // The library's own range lets NaN pass.
  option->check(CLI::Validator(
      [lowest, highest](std::string& text) -> std::string {
        try {
          const double value = ParseNumber("", text);
          if (value >= lowest && value <= highest) return {};
        } catch (const UsageError&) {
        }
        return fmt::format("'{}' is no number from {} to {}", text, lowest, highest);
      },
      fmt::format("{} to {}", lowest, highest)));
  return *this;
}

Option& Option::Range(int lowest, int highest) {
  option->check(CLI::Range(lowest, highest).description(fmt::format("{} to {}", lowest, highest)));
  return *this;
}

Option& Option::Range(uint32_t lowest, uint32_t highest) {
  option->check(CLI::Range(lowest, highest).description(fmt::format("{} to {}", lowest, highest)));
  return *this;
}

Option& Option::OneOf(const std::vector<std::string>& choices, bool anyCase) {
  option->check(anyCase ? CLI::IsMember(choices, CLI::ignore_case) : CLI::IsMember(choices));
  return *this;
}

Option& Option::OneOf(const std::vector<uint32_t>& choices) {
  option->check(CLI::IsMember(choices));
  return *this;
}

Command Command::AddCommand(const std::string& name, const std::string& use) const {
  return Command(app->add_subcommand(name, use));
}

Option Command::AddOption(const std::string& names, std::string& value, const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddOption(const std::string& names, std::vector<std::string>& value,
                          const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddOption(const std::string& names, double& value, const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddOption(const std::string& names, int& value, const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddOption(const std::string& names, uint32_t& value, const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddOption(const std::string& names, uint64_t& value, const std::string& use) const {
  return Option(RefusingEmpty(app->add_option(names, value, use)));
}

Option Command::AddFlag(const std::string& names, bool& value, const std::string& use) const {
  return Option(app->add_flag(names, value, use));
}

Option Command::OptionNamed(const std::string& name) const { return Option(app->get_option(name)); }

void Command::Hide() const { app->group(""); }
void Command::RequireCommand() const { app->require_subcommand(1); }
void Command::OnRun(std::function<void()> run) const { app->callback(std::move(run)); }
void Command::OnRead(std::function<void()> prepare) const {
  app->parse_complete_callback(std::move(prepare));
}

std::string Command::Name() const { return app->get_name(); }
std::string Command::Use() const { return app->get_description(); }
std::string Command::Help() const {
  return app->get_parent() != nullptr ? app->help("prismel") : app->help();  // its own name comes by itself
}
bool Command::IsHidden() const { return app->get_group().empty(); }
bool Command::NeedsCommand() const { return app->get_require_subcommand_min() != 0; }

std::vector<Command> Command::Commands() const {
  std::vector<Command> commands;
  for (CLI::App* sub : app->get_subcommands([](CLI::App*) { return true; })) commands.emplace_back(sub);
  return commands;
}

std::vector<Command::Declared> Command::Options() const {
  std::vector<Declared> options;
  for (const CLI::Option* option : std::as_const(*app).get_options()) {
    Declared entry{{},
                   option->get_positional() ? option->get_name(true) : "",
                   option->get_description(),
                   option->get_items_expected_max() > 0,
                   option->get_default_str(),
                   option->get_type_name(),
                   option->get_required()};
    // "FLOAT:20 to 400", "TEXT:{a,b}": the parser's name of the type, and behind it what is taken.
    const size_t colon = entry.choices.find(':');
    entry.choices = colon == std::string::npos ? "" : entry.choices.substr(colon + 1);
    if (entry.choices.starts_with('{') && entry.choices.ends_with('}')) {
      entry.choices = entry.choices.substr(1, entry.choices.size() - 2);
    }
    std::string listed;
    for (const char letter : entry.choices)
      listed += letter == ',' ? std::string(", ") : std::string(1, letter);
    entry.choices = listed;
    for (const std::string& name : option->get_snames()) entry.names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) entry.names.push_back("--" + name);
    options.push_back(std::move(entry));
  }
  return options;
}

CommandLine::CommandLine(const std::string& name, const std::string& use, const std::string& version)
    : app(std::make_unique<CLI::App>(use)) {
  app->name(name);
  app->set_version_flag("--version", version);
  app->require_subcommand(1);
  app->get_formatter()->column_width(34);
  app->fallthrough();  // the program's own options may stand behind a subcommand, too
}

CommandLine::~CommandLine() = default;

/// App::help would give the chosen subcommand's.
std::string CommandLine::Overview() const {
  return app->get_formatter()->make_help(app.get(), app->get_name(), CLI::AppFormatMode::Normal);
}

std::string CommandLine::ChosenHelp() const {
  if (app->get_subcommands().empty()) return Overview();
  const CLI::App* inner = app->get_subcommands().front();
  while (!inner->get_subcommands().empty()) inner = inner->get_subcommands().front();
  return inner->help("prismel");
}

CommandLine::Outcome CommandLine::Read(int argc, const char* const* argv) {
  try {
    std::vector<std::string> words = Words(argc, argv);
    std::reverse(words.begin(), words.end());  // the library takes them from the end
    app->parse(std::move(words));
  } catch (const CLI::CallForHelp&) {
    return Outcome::kAskedForHelp;
  } catch (const CLI::Success&) {
    return Outcome::kAskedForVersion;
  } catch (const CLI::ParseError& error) {
    complaint = error.what();
    while (!complaint.empty() && (complaint.back() == '\n' || complaint.back() == '.')) complaint.pop_back();
    return Outcome::kRefused;
  }
  return Outcome::kRan;
}

}  // namespace Vantora::cli
