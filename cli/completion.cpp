// Shell completion, generated from the command's options.
#include "cli/completion.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>
#include <vector>

namespace qbflv::cli {

namespace {

using Words = std::vector<std::string>;

std::vector<const CLI::App*> Commands(const CLI::App& app) { return app.get_subcommands({}); }

Words CommandNames(const CLI::App& app) {
  Words names;
  for (const CLI::App* const command : Commands(app)) names.push_back(command->get_name());
  return names;
}

/// Returns the positional arguments, or else the options with a long name.
std::vector<const CLI::Option*> Options(const CLI::App& parser, bool positional) {
  return parser.get_options(
      [positional](const CLI::Option* option) { return option->get_lnames().empty() == positional; });
}

std::string LongName(const CLI::Option& option) { return "--" + option.get_lnames().front(); }

Words LongNames(const CLI::App& parser) {
  Words names;
  for (const CLI::Option* const option : Options(parser, false)) names.push_back(LongName(*option));
  return names;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

bool MayRepeat(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

bool TakesFile(const CLI::Option& option) {
  return option.get_lnames().empty() ? option.get_type_name().empty() : option.get_type_name() == "PATH";
}

/// Returns the words that the option accepts, separated by spaces, or an empty text if it accepts other values.
std::string Choices(const CLI::Option& option) {
  std::string words = option.get_type_name();
  if (words.find('|') == std::string::npos) return {};
  for (char& character : words) {
    if (character == '|') character = ' ';
  }
  return words;
}

/// Puts a backslash before each occurrence of the characters.
std::string Escaped(std::string_view text, std::string_view characters) {
  std::string escaped;
  for (const char character : text) {
    if (characters.find(character) != std::string_view::npos) escaped += '\\';
    escaped += character;
  }
  return escaped;
}

/// Escapes a text for an argument description of zsh: it is in single quotes, and colons and brackets are special.
std::string ZshText(std::string_view text) {
  std::string quoted;
  for (const char character : Escaped(text, "\\:[]")) quoted += character == '\'' ? "'\\''" : std::string(1, character);
  return quoted;
}

std::string ZshValue(const CLI::Option& option) {
  const std::string name = ZshText(option.get_lnames().empty() ? option.get_name() : option.get_type_name());
  if (const std::string choices = Choices(option); !choices.empty()) return fmt::format(":{}:({})", name, choices);
  return fmt::format(":{}:{}", name, TakesFile(option) ? "_files" : "");
}

std::string ZshOption(const CLI::Option& option) {
  return fmt::format(" \\\n        '{}{}[{}]{}'", MayRepeat(option) ? "*" : "", LongName(option),
                     ZshText(option.get_description()), TakesValue(option) ? ZshValue(option) : "");
}

}  // namespace

std::string BashCompletion(const CLI::App& app) {
  const std::string commands = fmt::format("{}", fmt::join(CommandNames(app), " "));
  std::string values;
  std::string options;
  for (const CLI::App* const command : Commands(app)) {
    const std::string& name = command->get_name();
    for (const CLI::Option* const option : Options(*command, false)) {
      if (!TakesValue(*option)) continue;
      std::string action = "compopt +o default; return";  // nothing to complete
      if (TakesFile(*option)) action = "return";
      if (const std::string choices = Choices(*option); !choices.empty()) action = fmt::format("words='{}'", choices);
      values += fmt::format("    {},{}) {} ;;\n", name, LongName(*option), action);
    }
    std::string arguments;
    for (const CLI::Option* const option : Options(*command, true)) arguments = Choices(*option);
    options += fmt::format("      {}) words='{}{}{}' ;;\n", name, arguments, arguments.empty() ? "" : " ",
                           fmt::join(LongNames(*command), " "));
  }
  return fmt::format(R"(# Completion of qbflv for bash. Made by: qbflv completion bash
_qbflv() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} command='' word words=''
  for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
    [[ " {0} " != *" $word "* ]] || {{ command=$word; break; }}
  done
  COMPREPLY=()
  case $command,$previous in
{1}  esac
  if [[ -z $words ]]; then
    case $command in
      '') words='{0} {2}' ;;
{3}    esac
    # Everything else is a file, which bash completes.
    [[ -z $command || $command == completion || $current == -* ]] || return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o default -F _qbflv qbflv
)",
                     commands, values, fmt::join(LongNames(app), " "), options);
}

std::string ZshCompletion(const CLI::App& app) {
  std::string commands;
  std::string cases;
  for (const CLI::App* const command : Commands(app)) {
    const std::string& name = command->get_name();
    commands += fmt::format("    '{}:{}'\n", name, ZshText(command->get_description()));
    cases += fmt::format("    {})\n      _arguments", name);
    for (const CLI::Option* const option : Options(*command, false)) cases += ZshOption(*option);
    for (const CLI::Option* const option : Options(*command, true)) {
      cases += fmt::format(" \\\n        '{}{}'", MayRepeat(*option) ? "*" : "", ZshValue(*option));
    }
    cases += "\n      ;;\n";
  }
  std::string options;
  for (const CLI::Option* const option : Options(app, false)) options += ZshOption(*option);
  return fmt::format(R"(#compdef qbflv
# Completion of qbflv for zsh. Made by: qbflv completion zsh
_qbflv() {{
  local curcontext=$curcontext state line
  typeset -A opt_args
  local -a commands=(
{}  )
  _arguments -C{} \
        '1: :->command' '*:: :->arguments'
  case $state in
    command) _describe command commands; return ;;
    arguments) ;;
    *) return ;;
  esac
  case $words[1] in
{}  esac
}}
_qbflv "$@"
)",
                     commands, options, cases);
}

std::string FishCompletion(const CLI::App& app) {
  const auto quoted = [](std::string_view text) { return "'" + Escaped(text, "\\'") + "'"; };
  const auto line = [&](const std::string& condition, const CLI::Option& option) {
    const std::string choices = Choices(option);
    std::string values;
    if (!choices.empty())
      values = " -x -a " + quoted(choices);
    else if (TakesValue(option))
      values = TakesFile(option) ? " -r" : " -x";
    return fmt::format("complete -c qbflv -n {} -l {}{} -d {}\n", quoted(condition), option.get_lnames().front(),
                       values, quoted(option.get_description()));
  };
  std::string script = "# Completion of qbflv for fish. Made by: qbflv completion fish\n";
  for (const CLI::Option* const option : Options(app, false)) script += line("__fish_use_subcommand", *option);
  for (const CLI::App* const command : Commands(app)) {
    script += fmt::format("complete -c qbflv -n __fish_use_subcommand -f -a {} -d {}\n", command->get_name(),
                          quoted(command->get_description()));
    const std::string condition = "__fish_seen_subcommand_from " + command->get_name();
    for (const CLI::Option* const option : Options(*command, true)) {
      if (const std::string choices = Choices(*option); !choices.empty()) {
        script += fmt::format("complete -c qbflv -n {} -f -a {}\n", quoted(condition), quoted(choices));
      }
    }
    for (const CLI::Option* const option : Options(*command, false)) script += line(condition, *option);
  }
  return script;
}

}  // namespace qbflv::cli
