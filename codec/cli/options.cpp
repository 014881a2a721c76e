// Parses the command line. One table of options drives both getopt_long and --help. (A parser library such as CLI11
// would spend a tenth of the coding time of a small picture on start-up alone.)
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

constexpr std::uint64_t kMaxMemory = std::uint64_t{1} << 40;
constexpr double kMaxRatio = 1e6;
constexpr int kMaxWrittenLayers = 100;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 40;
constexpr int kMaxScans = 1000000;
constexpr std::size_t kHelpColumn = 32;

// ---- Values -------------------------------------------------------------------------------------------------------

// What is wrong with the value of an option, to follow the quoted value in the message; empty if nothing is.
using Complaint = std::string;

// Parses the whole text as a number from `min` to `max`.
template <typename Number>
bool parseNumber(std::string_view text, Number min, Number max, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= min && value <= max;
}

std::string shortest(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr);
}

// `Target` is a number or an optional one.
template <typename Number, typename Target>
Complaint useNumber(const std::string& text, Number min, Number max, Target& target) {
  Number value = 0;
  if (!parseNumber(text, min, max, value))
    return "is not a whole number from " + std::to_string(min) + " to " + std::to_string(max);
  target = value;
  return "";
}

Complaint useReal(const std::string& text, double min, double max, std::optional<double>& target) {
  double value = 0;
  if (!parseNumber(text, min, max, value)) return "is not a number from " + shortest(min) + " to " + shortest(max);
  target = value;
  return "";
}

Complaint useSampling(const std::string& text, jpeg::Sampling& sampling) {
  if (text == "4:4:4") return sampling = jpeg::Sampling::s444, "";
  if (text == "4:2:2") return sampling = jpeg::Sampling::s422, "";
  if (text == "4:2:0") return sampling = jpeg::Sampling::s420, "";
  return "is not 4:4:4, 4:2:2 or 4:2:0";
}

Complaint useRestart(std::string_view text, jpeg::EncodeOptions& options) {
  options.restartInRows = text.ends_with('B');
  if (options.restartInRows) text.remove_suffix(1);
  return parseNumber(text, 0, 65535, options.restart)
             ? ""
             : "is not a whole number from 0 to 65535, optionally followed by B";
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
    return "is not a predictor from 1 to 7, optionally followed by a comma and a point transform from 0 to 15";
  return "";
}

FormatKind outputKind(Command command) { return command == Command::encode ? FormatKind::coded : FormatKind::picture; }

Complaint useFormat(const std::string& text, Settings& settings) {
  const FormatKind kind = outputKind(settings.command);
  settings.format = formatNamed(text);
  return settings.format && kindOf(*settings.format) == kind ? "" : "is not " + formatNames(kind);
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

// The formats that an option applies to: of the output or, for `decode`, of the input.
enum class Of { all, jpeg, dct, jpeg2000 };  // dct: JPEG, but not lossless

// The headings of --help.
enum class Group { general, jpeg, jpeg2000 };

struct Option {
  unsigned commands;
  std::string_view name;
  std::string_view value;  // shown in the help; empty: the option has no value
  std::string_view help;
  Complaint (*use)(Settings&, const std::string& text);
  Of of = Of::all;
  Group group = of == Of::all ? Group::general : of == Of::jpeg2000 ? Group::jpeg2000 : Group::jpeg;
};

constexpr Option kOptions[] = {
    {kEncode, "--quality", "1..100", "Quality from 1 (smallest file) to 100 (best picture); default 75",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, 100, s.jpeg.quality); }, Of::dct},
    {kEncode, "--sample", "4:4:4|4:2:2|4:2:0", "Chroma subsampling; default 4:2:0",
     [](Settings& s, const std::string& text) { return useSampling(text, s.jpeg.sampling); }, Of::dct},
    {kEncode, "--grayscale", "", "Keep only the luminance",
     [](Settings& s, const std::string&) { return s.jpeg.grayscale = true, Complaint(); }, Of::dct},
    {kEncode | kTranscode, "--progressive", "", "Progressive, with the same scans as cjpeg",
     [](Settings& s, const std::string&) { return s.jpeg.progressive = true, Complaint(); }, Of::dct},
    {kEncode | kTranscode, "--scans", "FILE", "The scans listed in FILE, a scan script as for cjpeg",
     [](Settings& s, const std::string& text) {
       return s.scans = text, text.empty() ? "is not a file name" : Complaint();
     },
     Of::dct},
    {kTranscode, "--sequential", "", "Sequential; Annex K Huffman tables unless --optimize is given",
     [](Settings& s, const std::string&) { return s.sequential = true, Complaint(); }, Of::jpeg},
    {kEncode | kTranscode, "--optimize", "", "Optimise the Huffman tables (always on for progressive)",
     [](Settings& s, const std::string&) { return s.jpeg.optimize = true, Complaint(); }, Of::dct},
    {kEncode, "--fast-mcu", "", "Convert and subsample colours MCU by MCU, slightly less accurate",
     [](Settings& s, const std::string&) { return s.jpeg.fastMcu = true, Complaint(); }, Of::dct},
    {kDecode, "--fast-mcu", "", "Decode 4:2:0, 4:2:2 and 4:4:4 MCU by MCU, without interpolation",
     [](Settings& s, const std::string&) { return s.reading.fastMcu = true, Complaint(); }, Of::jpeg},
    {kTranscode, "--strip", "", "Drop all APPn and COM segments except JFIF and Adobe",
     [](Settings& s, const std::string&) { return s.strip = true, Complaint(); }, Of::jpeg},
    {kEncode | kTranscode, "--restart", "N|NB", "Restart marker every N MCUs or, with NB, every N MCU rows",
     [](Settings& s, const std::string& text) { return useRestart(text, s.jpeg); }, Of::jpeg},
    {kEncode, "--lossless", "[P[,T]]", "Lossless; for JPEG, predictor P (1-7, default: best), T bits dropped",
     [](Settings& s, const std::string& text) { return useLossless(text, s); }},
    {kEncode, "--ratio", "R", "Lossy (9/7 wavelet), to 1/R of the size of the samples",
     [](Settings& s, const std::string& text) { return useReal(text, 1, kMaxRatio, s.j2k.ratio); }, Of::jpeg2000},
    {kEncode, "--bpp", "B", "Lossy (9/7 wavelet), to B bits per pixel",
     [](Settings& s, const std::string& text) { return useReal(text, 1e-6, 1e6, s.j2k.bitsPerPixel); }, Of::jpeg2000},
    {kEncode, "--levels", "0..32", "Decomposition levels; default 5",
     [](Settings& s, const std::string& text) { return useNumber(text, 0, j2k::kMaxLevels, s.j2k.levels); },
     Of::jpeg2000},
    {kEncode, "--block", "WxH", "Code-block size; default 64x64",
     [](Settings& s, const std::string& text) { return useBlock(text, s.j2k); }, Of::jpeg2000},
    {kEncode, "--tile", "WxH", "Tile size; default the whole picture",
     [](Settings& s, const std::string& text) { return useTile(text, s.j2k); }, Of::jpeg2000},
    {kEncode, "--progression", "ORDER", "Packet order: LRCP, RLCP, RPCL, PCRL or CPRL; default LRCP",
     [](Settings& s, const std::string& text) { return useOrder(text, s.j2k.order); }, Of::jpeg2000},
    {kEncode, "--layers", "N", "Quality layers, the last of the requested size; default 1",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxWrittenLayers, s.j2k.layers); },
     Of::jpeg2000},
    {kEncode, "--modes", "LIST", "Any of bypass,reset,termall,causal,pterm,segsym; default none",
     [](Settings& s, const std::string& text) { return useModes(text, s.j2k.modes); }, Of::jpeg2000},
    {kEncode, "--format", "jpg|jp2|j2k", "Output format, whatever the extension",
     [](Settings& s, const std::string& text) { return useFormat(text, s); }},
    {kDecode, "--format", "png|ppm|pgm|pnm|pgx", "Output format, whatever the extension (pnm: ppm or pgm)",
     [](Settings& s, const std::string& text) { return useFormat(text, s); }},
    {kDecode, "--nosmooth", "", "Upsample by repeating samples instead of interpolating",
     [](Settings& s, const std::string&) { return s.reading.smooth = false, Complaint(); }, Of::jpeg},
    {kDecode, "--reduce", "N", "Halve the picture N times by skipping resolution levels",
     [](Settings& s, const std::string& text) { return useNumber(text, 0, j2k::kMaxLevels, s.j2kReading.reduce); },
     Of::jpeg2000},
    {kDecode, "--layers", "N", "Quality layers to decode; default all",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, j2k::kMaxLayers, s.j2kReading.layers); },
     Of::jpeg2000},
    {kDecode, "--components", "", "Write each component or ink to its own PGX or PGM file: OUT_0 ...",
     [](Settings& s, const std::string&) { return s.j2kReading.components = true, Complaint(); }},
    {kReaders, "--max-scans", "N", "Refuse JPEG files with more scans; default 500",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxScans, s.reading.maxScans); }},
    {kConversions, "--output-dir", "DIR", "Write the outputs to DIR, created if missing",
     [](Settings& s, const std::string& text) { return s.outputDirectory = text, Complaint(); }},
    {kConversions, "--jobs", "N", "Files coded in parallel with --output-dir; default one per processor",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxJobs, s.jobs); }},
    {kShows, "--json", "", "Write JSON", [](Settings& s, const std::string&) { return s.json = true, Complaint(); }},
    {kReaders, "--max-pixels", "N", "Refuse pictures with more pixels; default 268435456",
     [](Settings& s, const std::string& text) {
       return useNumber(text, std::uint64_t{1}, kMaxPixels, s.limits.maxPixels);
     }},
    {kReaders, "--max-memory", "BYTES", "Memory limit for reading or coding a picture; default 1073741824",
     [](Settings& s, const std::string& text) {
       return useNumber(text, std::uint64_t{1}, kMaxMemory, s.limits.maxMemory);
     }},
    {kPixelReaders, "--threads", "N", "Threads per picture (used by JPEG 2000); default one per processor",
     [](Settings& s, const std::string& text) { return useNumber(text, 1, kMaxThreads, s.threads); }},
    {kReaders, "--quiet", "", "Print warnings and errors only, no notes and no progress",
     [](Settings& s, const std::string&) { return s.quiet = true, Complaint(); }},
};

constexpr std::string_view kConversionNotes =
    R"(The input is a JPEG, JPEG 2000, PNG, PPM, PGM or PGX file, recognised by its contents. The file name
- means standard input or output. An existing file is replaced only when the new one is complete.
With --output-dir all names are inputs; each output has the name of its input, with the extension of
its format. Each file that fails is reported in one line on standard error; the exit status is that
of the first failure in the order given.
)";

constexpr std::string_view kTranscodeNotes =
    R"(The coefficients do not change. Without --progressive, --scans, --sequential and --optimize the
process does not change either, and the Huffman tables are optimised; --optimize alone makes a
sequential file. The file name - means standard input or output. An existing file is replaced only
when the new one is complete. With --output-dir all names are inputs.
)";

struct CommandText {
  Command command;
  std::string_view name;
  std::string_view files;
  std::size_t minFiles, maxFiles;
  std::string_view help;
  std::string_view notes;
};

constexpr CommandText kCommands[] = {
    {Command::encode, "encode", "IN OUT", 1, SIZE_MAX, "Encode a picture as JPEG or JPEG 2000", kConversionNotes},
    {Command::decode, "decode", "IN OUT", 1, SIZE_MAX, "Decode a file to PNG, PPM, PGM or PGX", kConversionNotes},
    {Command::transcode, "transcode", "IN OUT", 1, SIZE_MAX, "Losslessly re-encode a JPEG file", kTranscodeNotes},
    {Command::info, "info", "FILE", 1, 1, "Print the format, tables and segments of a file",
     "The file name - means standard input.\n"},
    {Command::compare, "compare", "A B", 2, 2, "Measure the difference between two pictures",
     "Prints PSNR in dB, the largest difference between two samples (0 to 255) and SSIM (1 if equal), for\n"
     "each channel and for all. The formats may differ. The file name - means standard input.\n"},
};

constexpr std::string_view kNotes = R"(Examples:
  moxj encode photo.png photo.jpg --quality 90      PNG, PPM, PGM or PGX to JPEG
  moxj encode photo.png photo.jp2                   lossless JPEG 2000 (smaller: --ratio 20)
  moxj decode photo.jpg photo.png                   JPEG or JPEG 2000 to PNG
  moxj encode *.png --output-dir jpegs              many files, several in parallel
  moxj transcode photo.jpg small.jpg --progressive  the same picture in a smaller file
  moxj info photo.jpg                               format, tables and segments
  moxj compare photo.png photo.jpg                  PSNR, largest difference and SSIM
'moxj COMMAND --help' shows the options of a command.

Exit status: 0 success, 1 wrong command line, 2 input refused, 3 incomplete picture (the part that
could be decoded is written), 4 limit exceeded, 5 output cannot be written, 6 internal error.
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
      "moxj encodes, decodes, inspects and compares JPEG and JPEG 2000 files.\n"
      "Usage: moxj COMMAND FILES [OPTIONS]\n\nCommands:\n";
  for (const CommandText& command : kCommands) text += entry(command.name, command.files, command.help);
  text += "\nOptions:\n";
  text += entry("-h, --help", "", "Show this help");
  text += entry("-V, --version", "", "Show the version");
  return text.append("\n").append(kNotes);
}

// The options of a command that belong to a group, or none.
std::string optionsOf(const CommandText& command, Group group, std::string_view heading) {
  std::string text;
  for (const Option& option : kOptions)
    if (option.commands & setOf(command.command) && option.group == group)
      text += entry(option.name, option.value, option.help);
  return text.empty() ? text : std::string("\n").append(heading).append(":\n").append(text);
}

std::string helpOf(const CommandText& command) {
  std::string text(command.help);
  text.append("\nUsage: moxj ").append(command.name).append(" ").append(command.files).append(" [OPTIONS]\n");
  if (command.maxFiles > 2)
    text.append("       moxj ").append(command.name).append(" IN... --output-dir DIR [OPTIONS]\n");
  text += optionsOf(command, Group::general, "Options");
  text += entry("-h, --help", "", "Show this help");
  text += optionsOf(command, Group::jpeg, "JPEG options");
  text += optionsOf(command, Group::jpeg2000, "JPEG 2000 options");
  return text.append("\n").append(command.notes);
}

// ---- Parsing ------------------------------------------------------------------------------------------------------

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
      // "-": files are reported in place, between the options; ":": a missing value is reported as ':'.
      const int found = getopt_long(count, words, "-:h", known.data(), nullptr);
      if (found == -1) break;
      if (found == kFile)
        settings_.files.push_back(optarg);
      else if (found == 'h')
        return Answer{helpOf(command_)};
      else if (found >= kFirstOption)
        useOption(kOptions[found - kFirstOption], count, words);
      else
        refuse(found, words[word]);
    }
    settings_.files.insert(settings_.files.end(), words + optind, words + count);  // after "--"
    checkFiles();
    checkSizes();
    checkProcess();
    return settings_;
  }

 private:
  // What getopt_long returns: 1 for a file, the value in knownOptions() for an option.
  static constexpr int kFile = 1, kFirstOption = 256;

  std::vector<option> knownOptions() const {
    std::vector<option> known;
    int value = kFirstOption;
    for (const Option& o : kOptions) {
      if (o.commands & setOf(command_.command)) known.push_back({o.name.data() + 2, argumentOf(o), nullptr, value});
      ++value;
    }
    known.push_back({"help", no_argument, nullptr, 'h'});
    known.push_back({});
    return known;
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
    const std::vector<std::string_view> matches = optionsThatBegin(name);
    if (matches.size() > 1) misuse("ambiguous option " + quoted(name));
    // "-quality" for "--quality"
    const bool singleDash = !name.starts_with("--") && optionsThatBegin("-" + name).size() == 1;
    misuse("unknown option " + quoted(name) + (singleDash && name.size() > 2 ? "; did you mean -" + name + "?" : ""));
  }

  std::vector<std::string_view> optionsThatBegin(std::string_view name) const {
    std::vector<std::string_view> matches;
    for (const Option& option : kOptions)
      if (option.commands & setOf(command_.command) && option.name.starts_with(name)) matches.push_back(option.name);
    return matches;
  }

  void checkFiles() const {
    const std::size_t count = settings_.files.size(), max = command_.maxFiles;
    if (count < command_.minFiles) misuse("missing file name");
    if (count > max)
      misuse("unexpected argument " + quoted(settings_.files[max]) + "; " + std::string(command_.name) +
             (max == 1 ? " takes one file" : " takes two files"));
  }

  void checkSizes() {
    j2k::EncodeOptions& options = settings_.j2k;
    const bool sized = options.ratio || options.bitsPerPixel;
    if (options.ratio && options.bitsPerPixel) misuse("--ratio and --bpp cannot be combined");
    if (options.lossless && sized)
      misuse(std::string("--lossless cannot be combined with ") + (options.ratio ? "--ratio" : "--bpp"));
    options.lossless = !sized;
  }

  void checkProcess() {
    const jpeg::EncodeOptions& options = settings_.jpeg;
    if (settings_.lossless) {
      if (!onlyDct_.empty()) misuse(onlyDct_ + " is not for lossless files");
      settings_.lossless->restart = options.restart;
      settings_.lossless->restartInRows = options.restartInRows;
    }
    if (options.progressive && settings_.sequential) misuse("--progressive and --sequential cannot be combined");
    if (!settings_.scans.empty() && options.progressive) misuse("--scans and --progressive cannot be combined");
    if (!settings_.scans.empty() && settings_.sequential) misuse("--scans and --sequential cannot be combined");
  }

  [[noreturn]] void misuse(const std::string& text) const {
    throw Misuse(text + " (see moxj " + std::string(command_.name) + " --help)");
  }

  const CommandText& command_;
  Settings settings_;
  std::string onlyDct_;  // the last option given that does not apply to lossless JPEG
};

const CommandText& commandNamed(std::string_view name) {
  const CommandText* const command = std::ranges::find(kCommands, name, &CommandText::name);
  if (command == std::end(kCommands))
    throw Misuse("unknown command " + quoted(std::string(name)) + " (see moxj --help)");
  return *command;
}

}  // namespace

std::variant<Settings, Answer> parseCommandLine(int argc, char** argv) {
  if (argc < 2) return Answer{generalHelp(), ExitStatus::usage};
  const std::string_view first = argv[1];
  if (first == "--help" || first == "-h" || (first == "help" && argc == 2)) return Answer{generalHelp()};
  if (first == "help") return Answer{helpOf(commandNamed(argv[2]))};
  if (first == "--version" || first == "-V") return Answer{"moxj " MOXJ_VERSION_STRING "\n"};
  return Parser(commandNamed(first)).parse(argc - 1, argv + 1);
}

}  // namespace moxj
