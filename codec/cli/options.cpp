// The command line: a table of options serves getopt_long and the help alike. CLI11 would take a tenth of the time
// that a small picture takes to code, only to start.
#include "cli/options.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

#include "cli/j2k_options.h"
#include "cli/limits.h"
#include "cli/report.h"
#include "moxj.h"

namespace moxj {

namespace {

constexpr std::uint64_t kMostMemory = std::uint64_t{1} << 40;
constexpr double kMostRatio = 1e6;
constexpr int kMostWrittenLayers = 100;
constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 40;
constexpr int kMostScans = 1000000;
constexpr std::size_t kHelpColumn = 32;

// ---- Values -------------------------------------------------------------------------------------------------------

// What is wrong with the text of an option, or nothing.
using Complaint = std::string;

// The whole text as a number of a range.
template <typename Number>
bool parseNumber(std::string_view text, Number least, Number most, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= least && value <= most;
}

std::string shortest(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// Into a number or an optional one.
template <typename Number, typename Target>
Complaint useNumber(const std::string& text, Number least, Number most, Target& target) {
  Number value = 0;
  if (!parseNumber(text, least, most, value))
    return "is no number from " + std::to_string(least) + " to " + std::to_string(most);
  target = value;
  return "";
}

Complaint useReal(const std::string& text, double least, double most, std::optional<double>& target) {
  double value = 0;
  if (!parseNumber(text, least, most, value)) return "is no number from " + shortest(least) + " to " + shortest(most);
  target = value;
  return "";
}

Complaint useSampling(const std::string& text, jpeg::Sampling& sampling) {
  if (text == "4:4:4") return sampling = jpeg::Sampling::s444, "";
  if (text == "4:2:2") return sampling = jpeg::Sampling::s422, "";
  if (text == "4:2:0") return sampling = jpeg::Sampling::s420, "";
  return "is none of 4:4:4, 4:2:2, 4:2:0";
}

Complaint useRestart(std::string_view text, jpeg::EncodeOptions& options) {
  options.restartInRows = text.ends_with('B');
  if (options.restartInRows) text.remove_suffix(1);
  return parseNumber(text, 0, 65535, options.restart) ? "" : "is no number from 0 to 65535, alone or with a B";
}

Complaint useLossless(std::string_view text, Settings& settings) {
  settings.j2k.lossless = true;
  jpeg::LosslessOptions& options = settings.lossless.emplace();
  if (text.empty()) return "";
  settings.onlyJpeg = "--lossless with a predictor";
  const std::size_t comma = text.find(',');
  const bool pointed = comma != text.npos;
  if (!parseNumber(text.substr(0, comma), 1, 7, options.predictor) ||
      (pointed && !parseNumber(text.substr(comma + 1), 0, 15, options.point)))
    return "is no predictor from 1 to 7, alone or with a point transform from 0 to 15";
  return "";
}

FormatKind outputKind(Command command) { return command == Command::encode ? FormatKind::coded : FormatKind::picture; }

Complaint useFormat(const std::string& text, Settings& settings) {
  const FormatKind kind = outputKind(settings.command);
  settings.format = formatNamed(text);
  return settings.format && kindOf(*settings.format) == kind ? "" : "is none of " + formatNames(kind);
}

// ---- The tables ---------------------------------------------------------------------------------------------------

// Sets of commands.
constexpr unsigned setOf(Command command) { return 1u << static_cast<int>(command); }
constexpr unsigned kEncode = setOf(Command::encode);
constexpr unsigned kDecode = setOf(Command::decode);
constexpr unsigned kTranscode = setOf(Command::transcode);
constexpr unsigned kConversions = kEncode | kDecode | kTranscode;
constexpr unsigned kShows = setOf(Command::info) | setOf(Command::compare);
constexpr unsigned kPixelReaders = kEncode | kDecode | setOf(Command::compare);
constexpr unsigned kReaders = kConversions | setOf(Command::compare);

// Formats that an option of `encode` is for.
enum class Of { all, jpeg, dct, jpeg2000 };  // dct: JPEG, but not lossless

struct Option {
  unsigned commands;
  std::string_view name;
  std::string_view value;  // shown in the help; empty: the option takes none
  std::string_view help;
  Complaint (*use)(Settings&, const std::string& text);
  Of of = Of::all;
};

constexpr Option kOptions[] = {
    {kEncode, "--quality", "1..100", "From the smallest file to the finest picture (75)",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, 100, s.jpeg.quality); }, Of::dct},
    {kEncode, "--sample", "4:4:4|4:2:2|4:2:0", "Chroma sampling (4:2:0)",
     [](Settings& s, const std::string& text) { return useSampling(text, s.jpeg.sampling); }, Of::dct},
    {kEncode, "--grayscale", "", "Keep the luminance only",
     [](Settings& s, const std::string&) { return s.jpeg.grayscale = true, Complaint(); }, Of::dct},
    {kEncode | kTranscode, "--progressive", "", "Progressive, in the scans that cjpeg makes",
     [](Settings& s, const std::string&) { return s.jpeg.progressive = true, Complaint(); }, Of::dct},
    {kEncode | kTranscode, "--scans", "FILE", "The scans of a file in the syntax of cjpeg",
     [](Settings& s, const std::string& text) { return s.scans = text, text.empty() ? "names no file" : Complaint(); },
     Of::dct},
    {kTranscode, "--sequential", "", "Sequential, with the tables of T.81 Annex K without --optimize",
     [](Settings& s, const std::string&) { return s.sequential = true, Complaint(); }, Of::jpeg},
    {kEncode | kTranscode, "--optimize", "", "Huffman tables of the picture's own (progressive always)",
     [](Settings& s, const std::string&) { return s.jpeg.optimize = true, Complaint(); }, Of::dct},
    {kEncode, "--fast-mcu", "", "Colours and sampling MCU by MCU: a little coarser",
     [](Settings& s, const std::string&) { return s.jpeg.fastMcu = true, Complaint(); }, Of::dct},
    {kDecode, "--fast-mcu", "", "JPEG of 4:2:0, 4:2:2, 4:4:4 MCU by MCU, without interpolation",
     [](Settings& s, const std::string&) { return s.reading.fastMcu = true, Complaint(); }},
    {kTranscode, "--strip", "", "Leave out APPn and COM segments but those that tell the colours",
     [](Settings& s, const std::string&) { return s.strip = true, Complaint(); }, Of::jpeg},
    {kEncode | kTranscode, "--restart", "N|NB", "Restart marker every N MCUs, with NB every N rows of them",
     [](Settings& s, const std::string& text) { return useRestart(text, s.jpeg); }, Of::jpeg},
    {kEncode, "--lossless", "[PREDICTOR[,POINT]]", "Exact; of JPEG: predictor 1 to 7 (the best), bits left out",
     [](Settings& s, const std::string& text) { return useLossless(text, s); }},
    {kEncode, "--ratio", "R", "9/7 wavelet, to an R-th of the samples' size",
     [](Settings& s, const std::string& text) { return useReal(text, 1, kMostRatio, s.j2k.ratio); }, Of::jpeg2000},
    {kEncode, "--bpp", "B", "9/7 wavelet, to B bits a pixel",
     [](Settings& s, const std::string& text) { return useReal(text, 1e-6, 1e6, s.j2k.bitsPerPixel); }, Of::jpeg2000},
    {kEncode, "--levels", "0..32", "Decomposition levels (5)",
     [](Settings& s, const std::string& text) { return useNumber(text, 0, j2k::kMostLevels, s.j2k.levels); },
     Of::jpeg2000},
    {kEncode, "--block", "WxH", "Code-block size (64x64)",
     [](Settings& s, const std::string& text) { return useBlock(text, s.j2k); }, Of::jpeg2000},
    {kEncode, "--tile", "WxH", "Tile size (the picture's)",
     [](Settings& s, const std::string& text) { return useTile(text, s.j2k); }, Of::jpeg2000},
    {kEncode, "--progression", "LRCP|RLCP|RPCL|PCRL|CPRL", "Order of the packets (LRCP)",
     [](Settings& s, const std::string& text) { return useOrder(text, s.j2k.order); }, Of::jpeg2000},
    {kEncode, "--layers", "N", "Quality layers, the last of the size asked for (1)",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMostWrittenLayers, s.j2k.layers); },
     Of::jpeg2000},
    {kEncode, "--modes", "LIST", "Of bypass,reset,termall,causal,pterm,segsym (none)",
     [](Settings& s, const std::string& text) { return useModes(text, s.j2k.modes); }, Of::jpeg2000},
    {kEncode, "--format", "jpg|jp2|j2k", "Format of the output, whatever its name says",
     [](Settings& s, const std::string& text) { return useFormat(text, s); }},
    {kDecode, "--format", "png|ppm|pgm|pnm|pgx", "Format of the output (pnm: ppm or pgm)",
     [](Settings& s, const std::string& text) { return useFormat(text, s); }},
    {kDecode, "--nosmooth", "", "Repeat the samples of sub-sampled colours, do not interpolate",
     [](Settings& s, const std::string&) { return s.reading.smooth = false, Complaint(); }},
    {kDecode, "--reduce", "N", "Halve a JPEG 2000 picture N times: leave out resolutions",
     [](Settings& s, const std::string& text) { return useNumber(text, 0, j2k::kMostLevels, s.j2kReading.reduce); }},
    {kDecode, "--layers", "N", "Quality layers of JPEG 2000 to decode (all)",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, j2k::kMostLayers, s.j2kReading.layers); }},
    {kDecode, "--components", "", "A PGX or PGM of each component (also inks): OUT_0 ...",
     [](Settings& s, const std::string&) { return s.j2kReading.components = true, Complaint(); }},
    {kReaders, "--max-scans", "N", "Refuse JPEG files of more scans (500)",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMostScans, s.reading.maxScans); }},
    {kConversions, "--output-dir", "DIR", "Directory for the outputs of many inputs; made if missing",
     [](Settings& s, const std::string& text) { return s.outputDirectory = text, Complaint(); }},
    {kConversions, "--jobs", "N", "Files at a time, with --output-dir (as many as processors)",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxJobs, s.jobs); }},
    {kShows, "--json", "", "Write JSON", [](Settings& s, const std::string&) { return s.json = true, Complaint(); }},
    {kReaders, "--max-pixels", "N", "Refuse pictures of more pixels (268435456)",
     [](Settings& s, const std::string& text) {
       return useNumber(text, std::uint64_t{1}, kMostPixels, s.limits.maxPixels);
     }},
    {kPixelReaders, "--max-memory", "BYTES", "Memory that coding JPEG 2000 may take (1073741824)",
     [](Settings& s, const std::string& text) {
       return useNumber(text, std::uint64_t{1}, kMostMemory, s.limits.maxMemory);
     }},
    {kPixelReaders, "--threads", "N", "Threads inside the coding of one picture",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxThreads, s.threads); }},
    {kReaders, "--quiet", "", "Neither notes nor progress, only warnings and errors",
     [](Settings& s, const std::string&) { return s.quiet = true, Complaint(); }},
};

constexpr std::string_view kConversionNotes =
    R"(A file name of - means standard input or output. A finished file replaces an existing one, an
unfinished one never. With --output-dir all names are inputs, and an output has its input's name
with the extension of its format. Each file that fails gets a line on standard error; the exit
status is that of the first of them in the order given.
)";

constexpr std::string_view kTranscodeNotes =
    R"(The coefficients stay as they are. Without --progressive, --scans, --sequential and --optimize
the process stays too, and the tables become the picture's own; --optimize alone is sequential.
A file name of - means standard input or output. A finished file replaces an existing one, an
unfinished one never; with --output-dir all names are inputs.
)";

struct CommandText {
  Command command;
  std::string_view name;
  std::string_view files;
  std::size_t leastFiles, mostFiles;
  std::string_view help;
  std::string_view notes;
};

constexpr CommandText kCommands[] = {
    {Command::encode, "encode", "IN OUT", 1, SIZE_MAX, "Make a JPEG or JPEG 2000 file of a picture", kConversionNotes},
    {Command::decode, "decode", "IN OUT", 1, SIZE_MAX, "Make a picture (PNG, PPM, PGM, PGX) of a file",
     kConversionNotes},
    {Command::transcode, "transcode", "IN OUT", 1, SIZE_MAX, "Code a JPEG file's picture anew without loss",
     kTranscodeNotes},
    {Command::info, "info", "FILE", 1, 1, "Show what a file is made of, or the size of other pictures",
     "A file name of - means standard input.\n"},
    {Command::compare, "compare", "A B", 2, 2, "Show how far two pictures differ",
     "PSNR in dB, the largest difference of two samples (0 to 255) and SSIM (1 where equal) are shown\n"
     "for each channel and for all. The pictures may be of any formats; - means standard input.\n"},
};

constexpr std::string_view kNotes = R"(Examples:
  moxj encode photo.png photo.jpg --quality 90    make a JPEG of a PNG, PPM or PGM picture
  moxj encode photo.png photo.jp2                 an exact JPEG 2000 file (smaller: --ratio 20)
  moxj decode photo.jpg photo.png                 make a PNG, PPM or PGM picture of either
  moxj encode *.png --output-dir jpegs            the same for many files, several at a time
  moxj transcode photo.jpg small.jpg --progressive    the same picture in a smaller file
  moxj info photo.jpg                             show what a file is made of
  moxj compare photo.png photo.jpg                show how far two pictures differ
'moxj COMMAND --help' shows the options of a command.

Exit status: 0 done, 1 wrong command line, 2 input refused, 3 picture incomplete (what could be had
is written), 4 a limit was met, 5 output could not be written.
)";

// ---- Help ---------------------------------------------------------------------------------------------------------

std::string entry(std::string_view name, std::string_view value, std::string_view help) {
  std::string line = "  ";
  line.append(name).append(value.empty() ? "" : " ").append(value);
  line.append(std::max(kHelpColumn, line.size() + 1) - line.size(), ' ');
  return line.append(help).append("\n");
}

std::string generalHelp() {
  std::string text =
      "moxj writes, reads, shows and compares JPEG and JPEG 2000 files.\nUsage: moxj COMMAND FILES "
      "[OPTIONS]\n\nCommands:\n";
  for (const CommandText& command : kCommands) text += entry(command.name, command.files, command.help);
  text += "\nOptions:\n";
  text += entry("-h, --help", "", "Show this help");
  text += entry("--version", "", "Show the version");
  return text.append("\n").append(kNotes);
}

std::string helpOf(const CommandText& command) {
  std::string text(command.help);
  text.append("\nUsage: moxj ").append(command.name).append(" ").append(command.files).append(" [OPTIONS]\n");
  if (command.mostFiles > 2)
    text.append("       moxj ").append(command.name).append(" IN... --output-dir DIR [OPTIONS]\n");
  text += "\nOptions:\n";
  for (const Option& option : kOptions) {
    if (!(option.commands & setOf(command.command))) continue;
    text += entry(option.name, option.value, option.help);
  }
  text += entry("-h, --help", "", "Show this help");
  return text.append("\n").append(command.notes);
}

// ---- Parsing ------------------------------------------------------------------------------------------------------

class Parser {
 public:
  explicit Parser(const CommandText& command) : command_(command) { settings_.command = command.command; }

  // The words behind the command's name, in order; getopt_long takes the first one for the name of the program.
  std::variant<Settings, Answer> parse(int count, char** words) {
    const std::vector<option> known = knownOptions();
    optind = 0;  // begin anew
    opterr = 0;
    int found = 0;
    // "-": files come as they stand, among the options; ":": a missing value has an answer of its own.
    while ((found = getopt_long(count, words, "-:h", known.data(), nullptr)) != -1) {
      if (found == kFile)
        settings_.files.push_back(optarg);
      else if (found == 'h')
        return Answer{helpOf(command_)};
      else if (found >= kFirstOption)
        useOption(kOptions[found - kFirstOption], count, words);
      else
        refuse(found, words[optind - 1]);
    }
    settings_.files.insert(settings_.files.end(), words + optind, words + count);  // behind "--"
    checkFiles();
    checkSizes();
    checkProcess();
    return settings_;
  }

 private:
  // What getopt_long answers: 1 for a file, what knownOptions() says for an option.
  static constexpr int kFile = 1, kFirstOption = 256;

  std::vector<option> knownOptions() const {
    std::vector<option> known;
    int answer = kFirstOption;
    for (const Option& o : kOptions) {
      if (o.commands & setOf(command_.command)) known.push_back({o.name.data() + 2, argumentOf(o), nullptr, answer});
      ++answer;
    }
    known.push_back({"help", no_argument, nullptr, 'h'});
    known.push_back({});
    return known;
  }

  // A value that may be missing is shown in brackets.
  static int argumentOf(const Option& option) {
    if (option.value.empty()) return no_argument;
    return option.value.starts_with('[') ? optional_argument : required_argument;
  }

  // getopt_long gives such a value only behind an equals sign; here the next word is one too, if it begins with a
  // digit.
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
    if (!complaint.empty()) misuse(std::string(used.name) + ": " + quotedName(value) + " " + complaint);
  }

  [[noreturn]] void refuse(int found, const std::string& word) const {
    const std::string name = word.substr(0, word.find('='));
    if (found == ':') misuse(name + " needs a value");
    if (optopt >= kFirstOption || optopt == 'h') misuse(name + " takes no value");
    misuse(quotedName(name) + " is no option");
  }

  void checkFiles() const {
    const std::size_t count = settings_.files.size();
    if (count < command_.leastFiles) misuse("a file name is missing");
    if (count > command_.mostFiles) misuse(quotedName(settings_.files[command_.mostFiles]) + " is one file too many");
  }

  void checkSizes() {
    j2k::EncodeOptions& options = settings_.j2k;
    const bool sized = options.ratio || options.bitsPerPixel;
    if (options.ratio && options.bitsPerPixel) misuse("--ratio and --bpp are two sizes");
    if (options.lossless && sized) misuse("--lossless has no size");
    options.lossless = !sized;
  }

  void checkProcess() {
    const jpeg::EncodeOptions& options = settings_.jpeg;
    if (settings_.lossless) {
      if (!onlyDct_.empty()) misuse(onlyDct_ + " is not for lossless files");
      settings_.lossless->restart = options.restart;
      settings_.lossless->restartInRows = options.restartInRows;
    }
    if (options.progressive && settings_.sequential) misuse("--progressive and --sequential exclude each other");
    if (!settings_.scans.empty() && options.progressive) misuse("--scans tells the scans, without --progressive");
    if (!settings_.scans.empty() && settings_.sequential) misuse("--scans tells the scans, without --sequential");
  }

  [[noreturn]] void misuse(const std::string& text) const {
    throw Failure(ExitStatus::usage, text + " (see moxj " + std::string(command_.name) + " --help)");
  }

  const CommandText& command_;
  Settings settings_;
  std::string onlyDct_;  // an option that was given and is not for lossless JPEG
};

}  // namespace

std::variant<Settings, Answer> parseCommandLine(int argc, char** argv) {
  if (argc < 2) throw Failure(ExitStatus::usage, "a command is missing (see moxj --help)");
  const std::string first = argv[1];
  if (first == "--help" || first == "-h") return Answer{generalHelp()};
  if (first == "--version") return Answer{"moxj " MOXJ_VERSION_STRING "\n"};
  const auto isFirst = [&](const CommandText& command) { return command.name == first; };
  const CommandText* const command = std::ranges::find_if(kCommands, isFirst);
  if (command == std::end(kCommands))
    throw Failure(ExitStatus::usage, quotedName(first) + " is no command (see moxj --help)");
  return Parser(*command).parse(argc - 1, argv + 1);
}

}  // namespace moxj
