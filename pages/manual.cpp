// Manual pages in the macros of man(7).
#include "cli/formats.h"
#include "moxcodec.h"
#include "pages.h"

namespace moxj::pages {

namespace {

// Text in which nothing is a request: hyphens that can be copied, no line that begins with a dot or a quote.
std::string plain(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
    if (c == '-')
      escaped += "\\-";
    else if (c == '\\')
      escaped += "\\e";
    else
      escaped += c;
  }
  return escaped;
}

std::string head(const std::string& name, std::string_view help) {
  std::string title = name;
  for (char& c : title)
    if (c >= 'a' && c <= 'z') c -= 'a' - 'A';
  std::string lower(help);
  if (lower.size() > 1 && lower[1] >= 'a') lower[0] |= 0x20;  // not an abbreviation
  return ".TH " + plain(title) + " 1 \"\" \"moxj " + moxcVersion() + "\" \"User Commands\"\n.SH NAME\n" + plain(name) +
         " \\- " + plain(lower) + "\n.SH SYNOPSIS\n";
}

std::string optionText(const cli::Option& option) {
  std::string text = ".TP\n";
  if (option.name == "--help") text += "\\fB\\-h\\fR, ";
  text += "\\fB" + plain(option.name) + "\\fR";
  if (!option.value.empty()) text += " \\fI" + plain(option.value) + "\\fR";
  return text + "\n" + plain(option.help) + ".\n";
}

std::string optionsOf(const cli::CommandText& command, cli::Group group, std::string_view heading) {
  std::string text;
  for (const cli::Option& option : shownOptions(command))
    if (option.group == group) text += optionText(option);
  return text.empty() ? text : ".SH \"" + std::string(heading) + "\"\n" + text;
}

std::string seeAlso(std::string_view without) {
  std::string text = ".SH SEE ALSO\n";
  std::string list = without == "moxj" ? "" : ".BR moxj (1)";
  for (const cli::CommandText& command : cli::commands())
    if (command.name != without)
      list += (list.empty() ? ".BR moxj\\-" : ",\n.BR moxj\\-") + std::string(command.name) + " (1)";
  return text + list + "\n";
}

std::string commandPage(const cli::CommandText& command) {
  const std::string name(command.name);
  const auto usage = [&](std::string_view files) {
    const std::string names = files.empty() ? "" : "\\fI" + plain(files) + "\\fR ";
    return "\\fBmoxj " + name + "\\fR " + names + "[\\fIOPTIONS\\fR]\n";
  };
  std::string text = head("moxj-" + name, command.help) + usage(command.files);
  if (cli::converts(command)) text += ".br\n" + usage("IN... --output-dir DIR");
  text += ".SH DESCRIPTION\n" + plain(command.help) + ".\n";
  if (command.command == cli::Command::encode || command.command == cli::Command::decode)
    text += "Reads " + plain(cli::formatLabels()) + ";\nwrites " +
            plain(cli::formatNames(command.command == cli::Command::encode)) + ".\n";
  text += ".PP\n" + plain(command.notes);
  text += optionsOf(command, cli::Group::general, "OPTIONS");
  text += optionsOf(command, cli::Group::jpeg, "JPEG OPTIONS");
  text += optionsOf(command, cli::Group::jpeg2000, "JPEG 2000 OPTIONS");
  return text + seeAlso(name);
}

// Lines of a command and, two spaces or more after it, what it does.
std::string examples(std::string_view lines) {
  std::string text = ".SH EXAMPLES\n";
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(line.size() + 1);
    const std::size_t start = line.find_first_not_of(' '), end = line.find("  ", start);
    text += ".TP\n\\fB" + plain(line.substr(start, end - start)) + "\\fR\n" +
            plain(line.substr(line.find_first_not_of(' ', end))) + "\n";
  }
  return text;
}

std::string overview() {
  const cli::GeneralText& general = cli::generalText();
  std::string text = head("moxj", general.purpose) + "\\fBmoxj\\fR \\fICOMMAND FILES\\fR [\\fIOPTIONS\\fR]\n";
  text += ".SH COMMANDS\n";
  for (const cli::CommandText& command : cli::commands())
    text += ".TP\n\\fB" + plain(command.name) + "\\fR \\fI" + plain(command.files) + "\\fR\n" + plain(command.help) +
            ", see\n.BR moxj\\-" + std::string(command.name) + " (1).\n";
  text +=
      ".SH OPTIONS\n.TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nShow the commands.\n"
      ".TP\n\\fB\\-V\\fR, \\fB\\-\\-version\\fR\nShow the version, the targets of the library and the libraries in "
      "use; with \\fB\\-\\-json\\fR, as JSON.\n";
  text += examples(general.examples);
  text += ".SH EXIT STATUS\n";
  for (const cli::StatusText& status : general.statuses)
    text += ".TP\n\\fB" + std::to_string(status.status) + "\\fR\n" + plain(status.meaning) + ".\n";
  return text + seeAlso("moxj");
}

}  // namespace

std::vector<Page> manualPages() {
  std::vector<Page> pages = {{"moxj.1", overview()}};
  for (const cli::CommandText& command : cli::commands())
    pages.push_back({"moxj-" + std::string(command.name) + ".1", commandPage(command)});
  return pages;
}

}  // namespace moxj::pages
