#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// The command line as the subcommands see it. One source file knows the library that parses it: its headers
// cost every file that includes them seconds of compiling.
namespace Vantora::cli {

/// Option: one option or positional, while it is being declared. Belongs to its command.
class Option {
 public:
  explicit Option(CLI::Option* declared) : option(declared) {}

  Option& Group(const std::string& heading);  ///< heading in the help under which it stands
  Option& Required(bool isRequired = true);
  Option& ShowStart();                         ///< the help tells the value it has if it isn't given
  Option& OnePerUse();                         ///< of a list: each use takes one value, and uses add up
  Option& Excludes(const std::string& other);  ///< refused together with this one
  /// Held by the parser, both ends included; NaN and infinity are refused.
  Option& Range(double lowest, double highest);
  Option& Range(int lowest, int highest);
  Option& Range(uint32_t lowest, uint32_t highest);
  /// One of a few. `anyCase`: "WHITE" is "white".
  Option& OneOf(const std::vector<std::string>& choices, bool anyCase = false);
  Option& OneOf(const std::vector<uint32_t>& choices);

 private:
  CLI::Option* option;
};

/// Command: the program or one of its subcommands. A copy is the same command, which lives as long as its
/// `CommandLine`.
class Command {
 public:
  explicit Command(CLI::App* named) : app(named) {}

  Command AddCommand(const std::string& name, const std::string& use) const;
  /// `names` are "-o,--output", or "FILE" for a positional; `value` must live until the line has been read.
  /// It keeps its value when the option isn't given; a word that isn't such a value, or is empty, is refused.
  Option AddOption(const std::string& names, std::string& value, const std::string& use) const;
  Option AddOption(const std::string& names, std::vector<std::string>& value, const std::string& use) const;
  Option AddOption(const std::string& names, double& value, const std::string& use) const;
  Option AddOption(const std::string& names, int& value, const std::string& use) const;
  Option AddOption(const std::string& names, uint32_t& value, const std::string& use) const;
  Option AddOption(const std::string& names, uint64_t& value, const std::string& use) const;
  Option AddFlag(const std::string& names, bool& value, const std::string& use) const;

  /// An option declared before, by one of its names.
  Option OptionNamed(const std::string& name) const;

  void Hide() const;                                 ///< not in the list of commands
  void RequireCommand() const;                       ///< does nothing without one of its subcommands
  void OnRun(std::function<void()> run) const;       ///< called when the line that chose it has been read
  void OnRead(std::function<void()> prepare) const;  ///< called before any command runs

  std::string Name() const;
  std::string Use() const;                ///< what it is for
  std::string Help() const;               ///< its own, however the line goes on
  std::vector<Command> Commands() const;  ///< all of its subcommands
  bool IsHidden() const;
  bool NeedsCommand() const;

  /// Declared: an option as it was declared, for those who write about all of them.
  struct Declared {
    std::vector<std::string> names;  ///< with their dashes; none for a positional
    std::string positional;          ///< its name; empty for an option
    std::string use;
    bool takesValue;
    std::string start;    ///< the value it has if it isn't given, as shown to people; may be empty
    std::string choices;  ///< "1 to 10" or "a, b, c"; empty where anything goes
    bool isRequired;
  };
  std::vector<Declared> Options() const;

 private:
  friend class CommandLine;
  CLI::App* app;
};

/// CommandLine: the whole program's commands and options, and the reading of a line.
class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& use, const std::string& version);
  ~CommandLine();

  Command Root() const { return Command(app.get()); }
  /// The whole program's help, whatever has been chosen.
  std::string Overview() const;

  enum class Outcome { kRan, kAskedForHelp, kAskedForVersion, kRefused };
  /// Reads a line and runs the command that it chooses. Several NAME=VALUE may follow one -p or --set. Passes
  /// on what the command throws.
  Outcome Read(int argc, const char* const* argv);
  std::string Complaint() const { return complaint; }  ///< after `kRefused`: why, without a full stop
  std::string ChosenHelp() const;  ///< after `kAskedForHelp`: of the innermost command named

 private:
  std::unique_ptr<CLI::App> app;
  std::string complaint;
};

}  // namespace Vantora::cli
