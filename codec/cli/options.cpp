// Parses the command line with getopt_long. (A parser library such as CLI11 would spend a tenth of the coding time of a
// small picture on start-up alone.)
#include "cli/options.h"

#include <getopt.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/console.h"
#include "cli/help.h"
#include "cli/option_table.h"
#include "cli/peers.h"
#include "cli/version.h"

namespace moxj::cli {

namespace {

class Parser {
 public:
  explicit Parser(const CommandText& command) : command_(command) { settings_.command = command.command; }

  // `words` are the command's name, which getopt_long skips as the name of the program, and what follows it.
  std::variant<Settings, Answer> parse(int count, char** words) {
    const std::vector<option> known = knownOptions();
    optind = 0;  // makes getopt_long start over
    opterr = 0;
    for (;;) {
      // The word to be scanned next. (While getopt_long is within a cluster of short options, optind is not yet past
      // the word; after the last letter it is. So the word is noted before the call.)
      const int word = std::max(optind, 1);
      char* const spelled = word < count ? words[word] : nullptr;
      std::string full = spelled ? withTwoDashes(spelled) : "";
      if (!full.empty()) words[word] = full.data();
      // "-": files are reported in place, between the options; ":": a missing value is reported as ':'.
      const int found = getopt_long(count, words, "-:h", known.data(), nullptr);
      if (!full.empty()) words[word] = spelled;
      if (found == -1) break;
      if (found == kFile)
        settings_.files.push_back(optarg);
      else if (found == 'h')
        return Answer{helpOf(command_)};
      else if (spelled && found >= kFirstOption && !std::string_view(spelled).starts_with("---"))
        useOption(optionOf(found), count, words);
      else
        refuse(found, spelled ? spelled : "");
    }
    settings_.files.insert(settings_.files.end(), words + optind, words + count);  // after "--"
    placeOutput();
    checkFiles();
    checkSizes();
    checkProcess();
    checkTransform();
    if (settings_.writing.words && settings_.reading.components) misuse("--words and --components cannot be combined");
    if (settings_.reading.tilePlus1 && settings_.reading.regionWidth) misuse("--tile and --region cannot be combined");
    if (settings_.reading.reduce && settings_.reading.fastMcu) misuse("--reduce and --fast-mcu cannot be combined");
    return settings_;
  }

 private:
  // What getopt_long returns: 1 for a file, the value in knownOptions() for an option.
  static constexpr int kFile = 1, kFirstOption = 256;

  static const Option& optionOf(int found) {
    const auto index = static_cast<std::size_t>(found - kFirstOption);
    return index < options().size() ? options()[index] : peerOptions()[index - options().size()];
  }

  std::vector<option> knownOptions() const {
    std::vector<option> known;
    known.reserve(options().size() + peerOptions().size() + 2);
    int value = kFirstOption;
    for (const std::span<const Option> table : {options(), peerOptions()}) {
      for (const Option& o : table) {
        if (isOfCommand(o)) known.push_back({longName(o), argumentOf(o), nullptr, value});
        ++value;
      }
    }
    known.push_back({"help", no_argument, nullptr, 'h'});
    known.push_back({});
    return known;
  }

  bool isOfCommand(const Option& option) const { return option.commands & setOf(command_.command); }

  // What getopt_long compares with what follows two dashes. The names of peers, which begin with one dash, keep it, so
  // that they are not found by their first letters.
  static const char* longName(const Option& option) {
    return option.name.data() + (option.name.starts_with("--") ? 2 : 0);
  }

  // "--quality" for "-quality", and "---outfile", which longName() expects, for "-outfile". Empty for other words.
  std::string withTwoDashes(std::string_view word) const {
    if (word.size() < 2 || word[0] != '-' || word[1] == '-') return "";
    const std::string_view name = word.substr(0, word.find('='));
    const auto isNamed = [&](std::string_view full) {
      return [=, this](const Option& option) { return isOfCommand(option) && option.name == full; };
    };
    const std::string full = "-" + std::string(name);
    if (std::ranges::any_of(options(), isNamed(full))) return "-" + std::string(word);
    return std::ranges::any_of(peerOptions(), isNamed(name)) ? "--" + std::string(word) : "";
  }

  // The help shows an optional value in brackets.
  static int argumentOf(const Option& option) {
    if (option.value.empty()) return no_argument;
    return option.value.starts_with('[') ? optional_argument : required_argument;
  }

  // getopt_long accepts an optional value only after an equals sign. Here the next word is accepted too if it begins
  // with a digit and has nothing but digits and commas.
  static std::string optionalValue(int count, char** words) {
    if (optarg) return optarg;
    const bool follows = optind < count && words[optind][0] >= '0' && words[optind][0] <= '9';
    return follows && std::string_view(words[optind]).find_first_not_of("0123456789,") == std::string_view::npos
               ? words[optind++]
               : "";
  }

  void useOption(const Option& used, int count, char** words) {
    const std::string value = argumentOf(used) == optional_argument ? optionalValue(count, words)
                              : optarg                              ? optarg
                                                                    : "";
    const Complaint complaint = used.use(settings_, value);
    if (used.of == Of::jpeg || used.of == Of::dct) settings_.onlyJpeg = used.name;
    if (used.of == Of::dct) onlyDct_ = used.name;
    if (used.of == Of::jpeg2000) settings_.onlyJpeg2000 = used.name;
    if (!complaint.empty()) misuse(std::string(used.name) + ": " + quoted(value) + " " + complaint);
  }

  [[noreturn]] void refuse(int found, const std::string& word) const {
    const std::string name = word.substr(0, word.find('='));
    if (found == ':') misuse(name + " needs a value");
    if (optopt >= kFirstOption || optopt == 'h') misuse(name + " takes no value");
    if (name.starts_with("--") && optionsThatBegin(name).size() > 1) misuse("ambiguous option " + quoted(name));
    const std::string suggestion = suggestionFor(name, command_.command);
    misuse("unknown option " + quoted(name) + (suggestion.empty() ? "" : "; " + suggestion));
  }

  std::vector<std::string_view> optionsThatBegin(std::string_view name) const {
    std::vector<std::string_view> matches;
    for (const Option& option : options())
      if (isOfCommand(option) && option.name.starts_with(name)) matches.push_back(option.name);
    return matches;
  }

  // The output that an option names is the second of two files.
  void placeOutput() {
    if (!settings_.output) return;
    if (settings_.outputDirectory) misuse("-o and --output-dir cannot be combined");
    if (settings_.files.size() > 1)
      misuse("unexpected argument " + quoted(settings_.files[1]) + "; -o names the output");
    if (!settings_.files.empty()) settings_.files.push_back(*settings_.output);
  }

  void checkFiles() const {
    const std::size_t count = settings_.files.size(), max = command_.maxFiles;
    if (count < command_.minFiles) misuse("missing file name");
    if (count > max)
      misuse("unexpected argument " + quoted(settings_.files[max]) + "; " + std::string(command_.name) + " takes " +
             (max == 0 ? "no" : "two") + " files");
  }

  void checkSizes() const {
    const std::pair<const char*, bool> goals[] = {{"--ratio", !settings_.ratios.empty()},
                                                  {"--bpp", !settings_.bpps.empty()},
                                                  {"--psnr", !settings_.psnrs.empty()}};
    const char* first = nullptr;
    for (const auto& [name, given] : goals) {
      if (!given) continue;
      if (first) misuse(std::string(first) + " and " + name + " cannot be combined");
      if (settings_.writing.lossless) misuse(std::string("--lossless cannot be combined with ") + name);
      first = name;
    }
  }

  void checkProcess() const {
    const bool progressive = settings_.writing.progressive, sequential = settings_.transcoding.sequential;
    const bool scans = !settings_.scansFile.empty();
    if (settings_.writing.lossless && !onlyDct_.empty()) misuse(onlyDct_ + " is not for lossless files");
    if (progressive && sequential) misuse("--progressive and --sequential cannot be combined");
    if (scans && progressive) misuse("--scans and --progressive cannot be combined");
    if (scans && sequential) misuse("--scans and --sequential cannot be combined");
  }

  void checkTransform() const {
    const std::vector<std::string_view>& given = settings_.transformedBy;
    const bool trim = settings_.transcoding.trim, perfect = settings_.transcoding.perfect;
    if (given.size() > 1) misuse(std::string(given[0]) + " and " + std::string(given[1]) + " cannot be combined");
    if (trim && perfect) misuse("--trim and --perfect cannot be combined");
    if ((trim || perfect) && given.empty())
      misuse((trim ? "--trim" : "--perfect") +
             std::string(" needs --orient, --rotate, --flip, --transpose or --transverse"));
  }

  [[noreturn]] void misuse(const std::string& text) const {
    throw Misuse(text + " (see moxj " + std::string(command_.name) + " --help)");
  }

  const CommandText& command_;
  Settings settings_;
  std::string onlyDct_;  // the last option given that does not apply to lossless JPEG
};

const CommandText& commandNamed(std::string_view name) {
  const auto command = std::ranges::find(commands(), name, &CommandText::name);
  if (command == commands().end()) throw Misuse("unknown command " + quoted(std::string(name)) + " (see moxj --help)");
  return *command;
}

Answer versionAnswer(const std::vector<std::string>& words) {
  if (words.empty()) return Answer{versionText()};
  if (words[0] == "--json" && words.size() == 1) return Answer{versionJson()};
  throw Misuse("unexpected argument " + quoted(words[words[0] == "--json"]) + " (see moxj --help)");
}

}  // namespace

std::variant<Settings, Answer> parseCommandLine(int argc, char** argv) {
  if (argc < 2) return Answer{generalHelp(), ExitStatus::usage};
  const std::string_view first = argv[1];
  if (first == "--help" || first == "-h" || (first == "help" && argc == 2)) return Answer{generalHelp()};
  if (first == "help") return Answer{helpOf(commandNamed(argv[2]))};
  if (first == "--version" || first == "-V") return versionAnswer({argv + 2, argv + argc});
  return Parser(commandNamed(first)).parse(argc - 1, argv + 1);
}

}  // namespace moxj::cli
