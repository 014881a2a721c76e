// What manual pages and completions need to know of the options.
#include <algorithm>

#include "cli/formats.h"
#include "cli/peers.h"
#include "cli/target_choice.h"
#include "pages.h"

namespace moxj::pages {

std::vector<cli::Option> shownOptions(const cli::CommandText& command) {
  std::vector<cli::Option> shown;
  for (const std::span<const cli::Option> table : {cli::options(), cli::peerOptions()})
    std::ranges::copy_if(table, std::back_inserter(shown), [&](const cli::Option& option) {
      return option.commands & setOf(command.command) && !option.help.empty();
    });
  shown.push_back({setOf(command.command), "--help", "", "Show this help", nullptr});
  return shown;
}

std::vector<std::string> wordsOf(const cli::Option& option, const cli::CommandText& command) {
  if (option.name == "--format") return cli::formatNameList(command.command == cli::Command::encode);
  if (option.name == "--target") return cli::targetNames();
  if (option.name == "--progression") return {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
  std::vector<std::string> words;
  if (option.value.find('|') == option.value.npos || option.value.find_first_of("[,N") != option.value.npos) return {};
  for (std::size_t begin = 0; begin <= option.value.size();) {
    const std::size_t end = std::min(option.value.find('|', begin), option.value.size());
    words.emplace_back(option.value.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

}  // namespace moxj::pages
