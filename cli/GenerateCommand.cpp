// The man page and the shells' completions are written from the options themselves, so they can't go stale.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>

#include "cli/CommandContext.h"
#include "cli/Console.h"

namespace Vantora::cli {
namespace {

using Visit = std::function<void(const CLI::App& command, const std::string& path)>;

std::vector<const CLI::App*> Subcommands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

/// Visits every subcommand with its path, "preset list", parents first.
void ForEachCommand(const CLI::App& app, const std::string& prefix, const Visit& visit) {
  for (const CLI::App* command : Subcommands(app)) {
    const std::string path = prefix + command->get_name();
    visit(*command, path);
    ForEachCommand(*command, path + " ", visit);
  }
}

struct Option {
  std::vector<std::string> names;  // with their dashes; none for a positional
  std::string positional;
  std::string use;
  bool takesValue;
};

std::vector<Option> Options(const CLI::App& command) {
  std::vector<Option> options;
  for (const CLI::Option* option : command.get_options()) {
    Option entry{{},
                 option->get_positional() ? option->get_name(true) : "",
                 option->get_description(),
                 option->get_items_expected_max() > 0};
    for (const std::string& name : option->get_snames()) entry.names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) entry.names.push_back("--" + name);
    options.push_back(std::move(entry));
  }
  return options;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// ---- Man page, in the macros of man(7) --------------------------------------------------------------------

std::string Roff(const std::string& text) {
  std::string escaped = Replace(Replace(text, "\\", "\\e"), "-", "\\-");
  return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

void PrintManOptions(const CLI::App& command) {
  for (const Option& option : Options(command)) {
    const std::string names =
        option.names.empty() ? option.positional : fmt::format("{}", fmt::join(option.names, ", "));
    const bool showsValue = option.takesValue && !option.names.empty();
    Print(".TP\n.B {}{}\n{}\n", Roff(names), showsValue ? " \\fIVALUE\\fR" : "", Roff(option.use));
  }
}

void PrintMan(const CLI::App& app) {
  Print(".TH PRISMEL 1 \"\" \"prismel {}\" \"User Commands\"\n", PRISMEL_VERSION);
  Print(".SH NAME\nprismel \\- run audio through a swept, spreading multi\\-voice effect\n");
  Print(".SH SYNOPSIS\n.B prismel\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n");
  Print(".SH DESCRIPTION\n{}\n", Roff(app.get_description()));
  Print(".SH OPTIONS\n");
  PrintManOptions(app);
  Print(".SH COMMANDS\n");
  ForEachCommand(app, "", [](const CLI::App& command, const std::string& path) {
    Print(".SS prismel {}\n{}\n", Roff(path), Roff(command.get_description()));
    PrintManOptions(command);
  });
  Print(
      ".SH EXIT STATUS\n0 when all went well, 2 for a command line that makes no sense, 1 for everything "
      "else; of "
      "several files, 1 when any failed.\n"
      ".SH ENVIRONMENT\n.TP\n.B PRISMEL_LIBRARY\nthe processor library, where \\fB\\-\\-library\\fR isn't "
      "given\n"
      ".TP\n.B PRISMEL_PRESETS\na folder of presets, searched first\n"
      ".SH FILES\n.TP\n.I ~/.config/prismel/presets\nyour own presets\n"
      ".SH EXAMPLES\n.nf\nprismel render in.wav out.wav \\-\\-preset \"Glass Choir\"\n"
      "prismel render in.wav out.flac \\-p FXType=comb \\-p CombCutoff=300Hz \\-p Prismelion=0.6\n"
      "prismel render takes \\-o wet \\-\\-normalize \\-14LUFS \\-\\-jobs 4\n.fi\n");
}

// ---- bash -------------------------------------------------------------------------------------------------

void PrintBash(const CLI::App& app) {
  Print(
      "# bash completion for prismel\n"
      "_prismel() {{\n"
      "  local cur=${{COMP_WORDS[COMP_CWORD]}} prev=${{COMP_WORDS[COMP_CWORD-1]}} path= word words=\n"
      "  local IFS=$' \\t\\n'\n"
      "  COMPREPLY=()\n"
      "  for word in \"${{COMP_WORDS[@]:1:COMP_CWORD-1}}\"; do\n"
      "    case \"${{path:+$path }}$word\" in\n");
  std::string paths;
  ForEachCommand(app, "", [&](const CLI::App&, const std::string& path) {
    paths += fmt::format("{}'{}'", paths.empty() ? "" : "|", path);
  });
  Print("      {}) path=\"${{path:+$path }}$word\" ;;\n    esac\n  done\n", paths);
  Print(
      "  case $prev in\n"
      "    -P|--preset)\n"
      "      local IFS=$'\\n'\n"
      "      COMPREPLY=($(compgen -W \"$(prismel preset list 2>/dev/null | sed 's/  .*//')\" -- \"$cur\"))\n"
      "      COMPREPLY=(\"${{COMPREPLY[@]// /\\\\ }}\")\n"
      "      return ;;\n"
      "    -p|--set)\n"
      "      compopt -o nospace\n"
      "      COMPREPLY=($(compgen -S = -W \"$(prismel params 2>/dev/null | awk 'NR > 1 {{print $2}}')\" -- "
      "\"$cur\"))\n"
      "      return ;;\n"
      "  esac\n"
      "  case $path in\n");
  const auto words = [](const CLI::App& command) {
    std::string list;
    for (const CLI::App* sub : Subcommands(command)) list += sub->get_name() + " ";
    for (const Option& option : Options(command)) {
      for (const std::string& name : option.names) list += name + " ";
    }
    return list;
  };
  Print("    '') words='{}' ;;\n", words(app));
  ForEachCommand(app, "", [&](const CLI::App& command, const std::string& path) {
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

void PrintZsh(const CLI::App& app) {
  Print("#compdef prismel\n_prismel() {{\n  local -a commands\n");
  const auto describe = [](const CLI::App& command) {
    Print("commands=(");
    for (const CLI::App* sub : Subcommands(command)) {
      Print("'{}:{}' ", sub->get_name(), ZshText(sub->get_description()));
    }
    Print(")\n");
  };
  Print("  if (( CURRENT == 2 )); then\n    ");
  describe(app);
  Print("    _describe command commands\n    return\n  fi\n");
  for (const CLI::App* command : Subcommands(app)) {
    if (Subcommands(*command).empty()) continue;
    Print("  if [[ $words[2] == {} ]] && (( CURRENT == 3 )); then\n    ", command->get_name());
    describe(*command);
    Print("    _describe command commands\n    return\n  fi\n");
  }
  Print("  case \"$words[2] $words[3]\" in\n");
  // Longer paths first: "preset save" before "preset *".
  std::vector<std::string> cases;
  ForEachCommand(app, "", [&](const CLI::App& command, const std::string& path) {
    if (!Subcommands(command).empty()) return;
    const bool isNested = path.find(' ') != std::string::npos;
    std::string text = fmt::format("    '{}'{}) _arguments -s ", path, isNested ? "" : "\\ *");
    for (const Option& option : Options(command)) {
      for (const std::string& name : option.names) {
        text += fmt::format("\\\n      '*{}[{}]{}' ", name, ZshText(option.use),
                            option.takesValue ? ":value:_files" : "");
      }
    }
    cases.push_back(text + "\\\n      '*:file:_files' ;;\n");
  });
  for (const std::string& text : cases) Print("{}", text);
  Print("  esac\n}}\n_prismel \"$@\"\n");
}

}  // namespace

void AddGenerateCommand(CLI::App& app, CommandContext&) {
  auto what = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("generate", "Print the man page or a shell's completion");
  command->group("");  // for packagers: not in the list
  command->add_option("WHAT", *what)->required()->check(CLI::IsMember({"man", "bash", "zsh"}));
  command->callback([&app, what] {
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
