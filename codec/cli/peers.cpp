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

// Names of other tools that are no options here: what to use instead.
struct Counterpart {
  unsigned commands;
  std::string_view name, use;
};
constexpr unsigned kEvery = ~0u;
constexpr Counterpart kCounterparts[] = {
    {kEncode, "-r", "--restart (JPEG) or --ratio (JPEG 2000)"},
    {kTranscode, "-r", "--restart"},
    {kEncode, "-q", "--quality (JPEG) or --psnr (JPEG 2000)"},
    {kEncode, "-p", "--progressive (JPEG) or --progression (JPEG 2000)"},
    {kTranscode, "-p", "--progressive"},
    {kEncode, "-precision", "--depth"},
    {kEncode, "-n", "--levels, which is one less than the number of resolutions"},
    {kEncode, "-b", "--block WxH"},
    {kEncode, "-t", "--tile WxH"},
    {kEncode, "-c", "--precincts W,H"},
    {kEncode, "-M", "--modes with names"},
    {kEncode, "-I", "--ratio or --bpp, which are lossy"},
    {kEncode, "-SOP", "--sop"},
    {kEncode, "-EPH", "--eph"},
    {kEncode, "-PLT", "--plt"},
    {kEncode, "-TLM", "--tlm"},
    {kEncode, "-TP", "--tile-parts"},
    {kEncode, "-ROI", "--roi X,Y,W,H"},
    {kEncode, "-C", "--comment"},
    {kEncode | kDecode, "-ImgDir", "--output-dir, with the inputs by name"},
    {kEncode | kDecode, "-OutFor", "--format"},
    {kDecode, "-l", "--layers"},
    {kDecode, "-t", "--tile"},
    {kDecode, "-c", "--components"},
    {kDecode, "-split-pnm", "--components"},
    {kDecode, "-d", "--region X,Y,W,H"},
    {kDecode, "-crop", "--region X,Y,W,H"},
    {kDecode, "-skip", "--region X,Y,W,H"},
    {kDecode, "-scale", "--reduce"},
    {kDecode, "-force-rgb", "--srgb"},
    {kDecode, "-grayscale", "--format pgm"},
    {kDecode, "-pnm", "--format pnm"},
    {kDecode, "-bmp", "--format bmp"},
    {kEvery, "-maxmemory", "--max-memory, which counts bytes"},
    {kEvery, "-nooverwrite", "--no-clobber"},
    {kEvery, "-version", "moxj --version"},
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

std::string counterpartOf(std::string_view name, Command command) {
  for (const Counterpart& counterpart : kCounterparts)
    if (counterpart.name == name && (counterpart.commands & setOf(command)))
      return "use " + std::string(counterpart.use);
  return "";
}

std::string suggestionFor(std::string_view name, Command command) {
  std::string counterpart = counterpartOf(name, command);
  if (!counterpart.empty()) return counterpart;
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
