// The man page and the shells' completions are written from the options themselves, so they can't go stale.
#include <fmt/format.h>

#include <functional>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"

namespace Vantora::cli {
namespace {

using Visit = std::function<void(const Command& command, const std::string& path)>;

std::vector<Command> Subcommands(const Command& app) {
  std::vector<Command> commands = app.Commands();
  std::erase_if(commands, [](const Command& command) { return command.IsHidden(); });
  return commands;
}

/// Visits every subcommand with its path, "preset list", parents first.
void ForEachCommand(const Command& app, const std::string& prefix, const Visit& visit) {
  for (const Command& command : Subcommands(app)) {
    const std::string path = prefix + command.Name();
    visit(command, path);
    ForEachCommand(command, path + " ", visit);
  }
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// Choices to pick from, not the ends of a range.
bool IsList(const std::string& choices) {
  return !choices.empty() && choices.find(" to ") == std::string::npos;
}

// ---- Man page, in the macros of man(7) --------------------------------------------------------------------

std::string Roff(const std::string& text) {
  std::string escaped = Replace(Replace(text, "\\", "\\e"), "-", "\\-");
  return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

void PrintManOptions(const Command& command) {
  for (const Command::Declared& option : command.Options()) {
    const std::string names =
        option.names.empty() ? option.positional : fmt::format("{}", fmt::join(option.names, ", "));
    const bool showsValue = option.takesValue && !option.names.empty();
    std::string facts;
    if (!option.choices.empty()) {
      facts += fmt::format("{} {}. ", IsList(option.choices) ? "One of:" : "From", option.choices);
    }
    if (!option.start.empty()) facts += fmt::format("Without it: {}. ", option.start);
    if (option.isRequired) facts += "Required.";
    Print(".TP\n.B {}{}\n{}\n", Roff(names), showsValue ? " \\fIVALUE\\fR" : "", Roff(option.use));
    if (!facts.empty()) Print(".br\n{}\n", Roff(facts));
  }
}

void PrintMan(const Command& app) {
  Print(".TH PRISMEL 1 \"\" \"prismel {}\" \"User Commands\"\n", PRISMEL_VERSION);
  Print(".SH NAME\nprismel \\- run audio through a swept, spreading multi\\-voice effect\n");
  Print(".SH SYNOPSIS\n.B prismel\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n");
  Print(".SH DESCRIPTION\n{}\n", Roff(app.Use()));
  Print(".SH OPTIONS\n");
  PrintManOptions(app);
  Print(".SH COMMANDS\n");
  ForEachCommand(app, "", [](const Command& command, const std::string& path) {
    Print(".SS prismel {}\n{}\n", Roff(path), Roff(command.Use()));
    PrintManOptions(command);
  });
  Print(
      ".SH EXIT STATUS\n0 when all went well, 2 for a command line that makes no sense, 1 for everything "
      "else; of "
      "several files, 1 when any failed; 128 and the signal's number when one ended it.\n"
      ".SH ENVIRONMENT\n.TP\n.B PRISMEL_LIBRARY\nthe processor library, where \\fB\\-\\-library\\fR isn't "
      "given\n"
      ".TP\n.B PRISMEL_PRESETS\na folder of presets, searched first\n"
      ".SH FILES\n.TP\n.I ~/.config/prismel/presets\nyour own presets\n"
      ".SH EXAMPLES\n.nf\nprismel render in.wav out.wav \\-\\-preset \"Glass Choir\"\n"
      "prismel render in.wav out.flac \\-p FXType=comb \\-p CombCutoff=300Hz \\-p Prismelion=0.6\n"
      "prismel render takes \\-o wet \\-\\-normalize \\-14LUFS \\-\\-jobs 4\n"
      "prismel render takes \\-o wet \\-P \"Smooth Wander\" \\-\\-vary \\-\\-report run.json\n"
      "prismel render take.wav out.wav \\-P \"Metal Rain\" \\-\\-seed 7 \\-\\-limit \\-1dB\n"
      "prismel reverb in.wav out.wav \\-i hall.wav \\-p Wet=0.3 PreDelayMs=20ms "
      "\\-\\-normalize\\-impulse\n.fi\n");
}

// ---- bash -------------------------------------------------------------------------------------------------

void PrintBash(const Command& app) {
  Print(
      "# bash completion for prismel\n"
      "_prismel() {{\n"
      "  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}} path= word words=\n"
      "  local IFS=$' \\t\\n'\n"
      "  COMPREPLY=()\n"
      "  for word in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
      "    case \"${{path:+$path }}$word\" in\n");
  std::string paths;
  ForEachCommand(app, "", [&](const Command&, const std::string& path) {
    paths += fmt::format("{}'{}'", paths.empty() ? "" : "|", path);
  });
  Print("      {}) path=\"${{path:+$path }}$word\" ;;\n    esac\n  done\n", paths);
  Print(
      "  local presets=\n"
      "  case $prev in -P|--preset) presets=1 ;; esac\n"
      "  case $path in 'preset show'|'preset diff') [[ $cur == -* ]] || presets=1 ;; esac\n"
      "  if [[ $presets ]]; then\n"
      "    local IFS=$'\\n'\n"
      "    COMPREPLY=($(compgen -W \"$(prismel preset list 2>/dev/null | sed 's/  .*//')\" -- \"$cur\"))\n"
      "    COMPREPLY=(\"${{COMPREPLY[@]// /\\\\ }}\")\n"
      "    COMPREPLY+=($(compgen -f -X '!*.json' -- \"$cur\") $(compgen -d -- \"$cur\"))\n"
      "    return\n"
      "  fi\n"
      "  case $prev in\n"
      "    -p|--set)\n"
      "      compopt -o nospace\n"
      "      local names\n"
      "      case $path in\n"
      "        plate|reverb) names=$(prismel \"$path\" --params 2>/dev/null | awk 'NR > 1 && /  / {{print "
      "$1}}') ;;\n"
      "        noise) names=NoiseColor ;;\n"
      "        *) names=$(prismel params 2>/dev/null | awk 'NR > 1 {{print $2; sub(/^(Prismel|LFO)_/, \"\", "
      "$2); "
      "print $2}}') ;;\n"
      "      esac\n"
      "      COMPREPLY=($(compgen -S = -W \"$names\" -- \"$cur\"))\n"
      "      return ;;\n"
      "  esac\n"
      "  case $path in\n");
  const auto words = [](const Command& command) {
    std::string list;
    for (const Command& sub : Subcommands(command)) list += sub.Name() + " ";
    for (const Command::Declared& option : command.Options()) {
      for (const std::string& name : option.names) list += name + " ";
    }
    return list;
  };
  Print("    '') words='{}' ;;\n", words(app));
  ForEachCommand(app, "", [&](const Command& command, const std::string& path) {
    Print("    '{}') words='{}' ;;\n", path, words(command));
  });
  Print(
      "  esac\n"
      "  COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
      "  [[ $cur == -* || -z $path ]] || {{ compopt -o filenames; COMPREPLY+=($(compgen -f -- \"$cur\")); "
      "}}\n"
      "}}\n"
      "complete -F _prismel prismel\n");
}

// ---- zsh --------------------------------------------------------------------------------------------------

std::string ZshText(const std::string& text) {
  std::string escaped = Replace(text, "'", "'\\''");
  for (const char* special : {"[", "]", ":"})
    escaped = Replace(escaped, special, std::string("\\") + special);
  return escaped;
}

/// What completes an option's value.
std::string Completer(const Command::Declared& option, const std::string& name) {
  if (IsList(option.choices)) return fmt::format("({})", Replace(option.choices, ", ", " "));
  if (name == "-P" || name == "--preset") return "_prismel_presets";
  return name == "-p" || name == "--set" ? "_prismel_settings" : "_files";
}

void PrintZsh(const Command& app) {
  Print(
      "#compdef prismel\n"
      "_prismel_presets() {{\n"
      "  local -a names\n"
      "  names=(${{(f)\"$(prismel preset list 2>/dev/null | sed 's/  .*//')\"}})\n"
      "  compadd -a names\n"
      "  _files -g '*.json'\n"
      "}}\n"
      "_prismel_settings() {{\n"
      "  local -a names\n"
      "  case $words[2] in\n"
      "    plate|reverb) names=(${{(f)\"$(prismel $words[2] --params 2>/dev/null | awk 'NR > 1 && /  / "
      "{{print "
      "$1}}')\"}}) ;;\n"
      "    *) names=(${{(f)\"$(prismel params 2>/dev/null | awk 'NR > 1 {{print $2}}')\"}}) ;;\n"
      "  esac\n"
      "  compadd -S = -a names\n"
      "}}\n"
      "_prismel() {{\n  local -a commands\n");
  const auto describe = [](const Command& command) {
    Print("commands=(");
    for (const Command& sub : Subcommands(command)) {
      Print("'{}:{}' ", sub.Name(), ZshText(sub.Use()));
    }
    Print(")\n");
  };
  Print("  if (( CURRENT == 2 )); then\n    ");
  describe(app);
  Print("    _describe command commands\n    return\n  fi\n");
  for (const Command& command : Subcommands(app)) {
    if (Subcommands(command).empty()) continue;
    Print("  if [[ $words[2] == {} ]] && (( CURRENT == 3 )); then\n    ", command.Name());
    describe(command);
    Print("    _describe command commands\n    return\n  fi\n");
  }
  Print("  case \"$words[2] $words[3]\" in\n");
  // Longer paths first: "preset save" before "preset *".
  std::vector<std::string> cases;
  ForEachCommand(app, "", [&](const Command& command, const std::string& path) {
    if (!Subcommands(command).empty()) return;
    const bool isNested = path.find(' ') != std::string::npos;
    std::string text = fmt::format("    '{}'{}) _arguments -s ", path, isNested ? "" : "\\ *");
    for (const Command::Declared& option : command.Options()) {
      for (const std::string& name : option.names) {
        text += fmt::format("\\\n      '*{}[{}]{}' ", name, ZshText(option.use),
                            option.takesValue ? ":value:" + Completer(option, name) : "");
      }
    }
    const bool takesPresets = path == "preset show" || path == "preset diff";
    cases.push_back(text + (takesPresets ? "\\\n      '*:preset:_prismel_presets' ;;\n"
                                         : "\\\n      '*:file:_files' ;;\n"));
  });
  for (const std::string& text : cases) Print("{}", text);
  Print("  esac\n}}\n_prismel \"$@\"\n");
}

}  // namespace

void AddGenerateCommand(Command app, CommandContext&) {
  auto what = std::make_shared<std::string>();
  const Command command = app.AddCommand("generate", "Print the man page or a shell's completion");
  command.Hide();  // for packagers: not in the list
  command.AddOption("WHAT", *what, "").Required().OneOf({"man", "bash", "zsh"});
  command.OnRun([app, what] {
    if (*what == "man") {
      PrintMan(app);
    } else if (*what == "bash") {
      PrintBash(app);
    } else {
      PrintZsh(app);
    }
  });
}

}  // namespace Vantora::cli
