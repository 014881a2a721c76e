// Manual pages and shell completions, made from the same table as --help.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/help.h"
#include "cli/option_table.h"

namespace moxj::pages {

struct Page {
  std::string name;  // of the file
  std::string text;
};

// moxj.1 and one page for each command.
std::vector<Page> manualPages();

// Completions for bash, zsh and fish, named as these shells look for them.
std::vector<Page> completions();

// The options of a command that --help shows, and --help itself.
std::vector<cli::Option> shownOptions(const cli::CommandText& command);

// The values of an option, if all are words to be typed as they are: "h|v".
std::vector<std::string> wordsOf(const cli::Option& option, const cli::CommandText& command);

}  // namespace moxj::pages
