// The letters -r and -q mean opposite things in the tools for JPEG and for JPEG 2000, so each belongs to one format
// here, and the help says to which.
#include "cli/peers.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "cli/limits.h"

namespace moxj::cli {

namespace {

constexpr unsigned kEncode = setOf(Command::encode);
constexpr unsigned kDecode = setOf(Command::decode);
constexpr unsigned kTranscode = setOf(Command::transcode);
constexpr unsigned kConversions = kEncode | kDecode | kTranscode;
constexpr std::size_t kMaxSuggestions = 3;

using S = Settings;
using Text = const std::string&;

Complaint useOutput(Settings& settings, const std::string& name) {
  settings.output = name;
  return name.empty() ? "is not a file name" : "";
}

// jpegtran's list of what is kept.
Complaint useCopy(const std::string& text, Settings& settings) {
  constexpr std::int32_t kKinds =
      moxcStripIcc | moxcStripExif | moxcStripXmp | moxcStripIptc | moxcStripComment | moxcStripOther;
  std::int32_t& strip = settings.transcoding.strip;
  if (text == "all") return strip = 0, "";
  if (text == "none") return strip = moxcStripAll, "";
  if (text == "comments") return strip = kKinds & ~moxcStripComment, "";
  if (text == "icc") return strip = kKinds & ~moxcStripIcc, "";
  return "is not all, none, comments or icc";
}

constexpr Option kPeerOptions[] = {
    {kConversions, "-o", "FILE", "The output, instead of a second name; also -outfile", useOutput},
    {kConversions, "-outfile", "FILE", "", useOutput},
    {kEncode, "-q", "1..100", "Quality, the same as --quality (not for JPEG 2000)",
     [](S& s, Text text) { return useNumber(text, 1, 100, s.writing.quality); }, Of::dct},
    {kEncode, "-r", "R", "Ratio, the same as --ratio (not for JPEG)",
     [](S& s, Text text) { return useReals(text, 1, kMaxRatio, s.ratios); }, Of::jpeg2000},
    {kDecode, "-r", "N", "Resolution levels to skip, the same as --reduce",
     [](S& s, Text text) { return useNumber(text, 0, kMaxLevels, s.reading.reduce); }, Of::jpeg2000},
    {kEncode | kTranscode, "-greyscale", "", "",
     [](S& s, Text) { return s.writing.grayscale = s.transcoding.grayscale = 1, Complaint(); }, Of::dct},
    {kEncode | kTranscode, "-optimise", "", "",
     [](S& s, Text) { return s.writing.optimize = s.transcoding.optimize = 1, Complaint(); }, Of::dct},
    {kConversions, "-maxscans", "N", "",
     [](S& s, Text text) { return useNumber(text, 1, kMaxScans, s.limits.maxScans); }},
    {kTranscode, "-copy", "all|none|comments|icc", "Keep only this metadata; default all",
     [](S& s, Text text) { return useCopy(text, s); }},
};

// Names that look like an option but are none.
struct Doubtful {
  std::string_view name, use;
};
constexpr Doubtful kDoubtful[] = {
    {"-r", "--restart, --ratio or --reduce"},
    {"-q", "--quality (JPEG), or --ratio or --bpp (JPEG 2000)"},
    {"-p", "--progressive (JPEG) or --progression (JPEG 2000)"},
    {"-n", "--levels, which is one less than the number of resolutions"},
    {"-b", "--block WxH"},
    {"-t", "--tile WxH"},
    {"-l", "--layers"},
    {"-M", "--modes with names"},
    {"-I", "--ratio or --bpp, which are lossy"},
    {"-maxmemory", "--max-memory, which counts bytes"},
    {"-nooverwrite", "--no-clobber"},
    {"-scale", "--reduce"},
    {"-version", "moxj --version"},
};

// Whether one is the beginning of the other, without dashes and signs between words.
bool begins(std::string_view name, std::string_view option) {
  const auto letters = [](std::string_view text) {
    std::string kept;
    std::ranges::copy_if(text, std::back_inserter(kept), [](char c) { return c != '-' && c != '_'; });
    return kept;
  };
  const std::string given = letters(name);
  return given.size() > 1 && letters(option).starts_with(given);
}

}  // namespace

std::span<const Option> peerOptions() { return kPeerOptions; }

std::string suggestionFor(std::string_view name, Command command) {
  const auto doubtful = std::ranges::find(kDoubtful, name, &Doubtful::name);
  if (doubtful != std::end(kDoubtful)) return "use " + std::string(doubtful->use);
  std::vector<std::string_view> found;
  for (const std::span<const Option> table : {options(), peerOptions()})
    for (const Option& option : table)
      if (option.commands & setOf(command) && begins(name, option.name)) found.push_back(option.name);
  if (found.empty() || found.size() > kMaxSuggestions) return "";
  std::string text = "did you mean ";
  for (std::size_t i = 0; i < found.size(); ++i)
    text.append(i == 0 ? "" : i + 1 == found.size() ? " or " : ", ").append(found[i]);
  return text + "?";
}

}  // namespace moxj::cli
