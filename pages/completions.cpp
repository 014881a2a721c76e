// Completions: the commands, their options, the values of those that have a list of them, and file names.
#include "pages.h"

namespace moxj::pages {

namespace {

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string commandNames() {
  std::vector<std::string> names;
  for (const cli::CommandText& command : cli::commands()) names.emplace_back(command.name);
  return joined(names);
}

// An argument of a shell, in single quotes.
std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "'\\''" : std::string(1, c);
  return result + "'";
}

// With a backslash before each of some characters.
std::string escaped(std::string_view text, std::string_view special) {
  std::string result;
  for (const char c : text) {
    if (special.find(c) != special.npos) result += '\\';
    result += c;
  }
  return result;
}

bool takesValue(const cli::Option& option) { return !option.value.empty() && option.value[0] != '['; }

std::string bash() {
  std::string text = R"(# Completion of moxj for bash.
_moxj() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} options=
  COMPREPLY=()
  if [[ $COMP_CWORD == 1 ]]; then
    COMPREPLY=($(compgen -W ')" +
                     commandNames() +
                     R"( help --help --version' -- "$word"))
    return
  fi
  case ${COMP_WORDS[1]} in
)";
  for (const cli::CommandText& command : cli::commands()) {
    std::vector<std::string> names;
    std::string values;
    for (const cli::Option& option : shownOptions(command)) {
      names.emplace_back(option.name);
      if (!takesValue(option)) continue;
      const std::string name(option.name);
      const std::vector<std::string> words = wordsOf(option, command);
      if (!words.empty())
        values += "        " + name + ") COMPREPLY=($(compgen -W '" + joined(words) + "' -- \"$word\")); return ;;\n";
      else if (option.value == "DIR")
        values += "        " + name + ") COMPREPLY=($(compgen -d -- \"$word\")); return ;;\n";
      else if (option.value != "FILE")
        values += "        " + name + ") return ;;\n";
    }
    text += "    " + std::string(command.name) + ")\n      options='" + joined(names) + "'\n      case $before in\n" +
            values + "      esac ;;\n";
  }
  text += "    help) COMPREPLY=($(compgen -W '" + commandNames() + R"(' -- "$word")); return ;;
  esac
  if [[ $word == -* ]]; then COMPREPLY=($(compgen -W "$options" -- "$word")); fi
}
complete -o default -F _moxj moxj
)";
  return text;
}

std::string zsh() {
  std::string text = "#compdef moxj\n# Completion of moxj for zsh.\nlocal -a commands\ncommands=(\n";
  for (const cli::CommandText& command : cli::commands())
    text += "  " + quoted(std::string(command.name) + ":" + std::string(command.help)) + "\n";
  text +=
      ")\nif ((CURRENT == 2)); then\n  _describe command commands\n  return\nfi\nlocal command=$words[2]\n"
      "shift words\n((CURRENT--))\ncase $command in\n";
  for (const cli::CommandText& command : cli::commands()) {
    text += "  " + std::string(command.name) + ")\n    _arguments -S \\\n";
    for (const cli::Option& option : shownOptions(command)) {
      std::string spec = std::string(option.name) + "[" + escaped(option.help, "[]:\\") + "]";
      if (takesValue(option)) {
        const std::vector<std::string> words = wordsOf(option, command);
        const std::string action = !words.empty()           ? "(" + joined(words) + ")"
                                   : option.value == "DIR"  ? "_files -/"
                                   : option.value == "FILE" ? "_files"
                                                            : "";
        spec += ":value:" + action;
      }
      text += "      " + quoted(spec) + " \\\n";
    }
    text += "      '*:file:_files' ;;\n";
  }
  return text + "  help) _describe command commands ;;\nesac\n";
}

std::string fish() {
  std::string text = "# Completion of moxj for fish.\n";
  for (const cli::CommandText& command : cli::commands())
    text += "complete -c moxj -n __fish_use_subcommand -a " + std::string(command.name) + " -d " +
            quoted(escaped(command.help, "\\")) + "\n";
  for (const cli::CommandText& command : cli::commands())
    for (const cli::Option& option : shownOptions(command)) {
      const bool isLong = option.name.starts_with("--");
      text += "complete -c moxj -n '__fish_seen_subcommand_from " + std::string(command.name) + "' ";
      text += (isLong                    ? "-l "
               : option.name.size() == 2 ? "-s "
                                         : "-o ") +
              std::string(option.name.substr(isLong ? 2 : 1));
      text += " -d " + quoted(escaped(option.help, "\\"));
      if (takesValue(option)) {
        const std::vector<std::string> words = wordsOf(option, command);
        text += !words.empty()                                    ? " -x -a " + quoted(joined(words))
                : option.value == "DIR" || option.value == "FILE" ? " -r"
                                                                  : " -x";
      }
      text += "\n";
    }
  return text;
}

}  // namespace

std::vector<Page> completions() { return {{"moxj.bash", bash()}, {"_moxj", zsh()}, {"moxj.fish", fish()}}; }

}  // namespace moxj::pages
