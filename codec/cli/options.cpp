#include "cli/options.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "cli/limits.h"
#include "cli/report.h"
#include "failure.h"

namespace moxj {

namespace {

constexpr std::uint64_t kMostPixels = std::uint64_t{1} << 40;

constexpr const char* kFooter = R"(Examples:
  moxj encode photo.png photo.jpg --quality 90    make a JPEG of a PNG, PPM or PGM picture
  moxj decode photo.jpg photo.png                 make a PNG, PPM or PGM picture of a JPEG
  moxj encode *.png --output-dir jpegs            the same for many files, several at a time
  moxj info photo.jpg                             show what a file is made of
  moxj compare photo.png photo.jpg                show how far two pictures differ
'moxj COMMAND --help' shows the options of a command.

Exit status: 0 done, 1 wrong command line, 2 input refused, 3 picture incomplete (what could be had
is written), 4 a limit was met, 5 output could not be written.)";

constexpr const char* kConversionFooter =
    R"(A file name of - means standard input or output. A finished file replaces an existing one, an
unfinished one never. With --output-dir all names are inputs, and an output has its input's name
with the extension of its format. Each file that fails gets a line on standard error; the exit
status is that of the first of them in the order given.)";

// Help whose first lines and headings are ours.
class Help : public CLI::Formatter {
 public:
  explicit Help(std::string usage) : usage_(std::move(usage)) {
    column_width(32);
    label("Positionals", "Files");
    label("REQUIRED", "");
  }
  std::string make_usage(const CLI::App*, std::string) const override { return "Usage: " + usage_ + "\n"; }
  std::string make_option_opts(const CLI::Option* option) const override {
    return option->get_type_name().empty() ? "" : " " + option->get_type_name();
  }

 private:
  std::string usage_;
};

void useHelp(CLI::App& app, const std::string& usage, const char* footer) {
  app.formatter(std::make_shared<Help>(usage));
  app.set_help_flag("-h,--help", "Show this help");
  app.footer(footer);
}

// The whole text as a number of a range.
template <typename Number>
bool parseNumber(std::string_view text, Number least, Number most, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= least && value <= most;
}

// The parsers give the text of an error, or nothing.
using Parser = std::function<std::string(const std::string&)>;

// Into a number or an optional one.
template <typename Number, typename Target>
Parser numberInto(Target& target, Number least, Number most) {
  return [&target, least, most](const std::string& text) -> std::string {
    Number value = 0;
    if (!parseNumber(text, least, most, value))
      return quotedName(text) + " is no number from " + std::to_string(least) + " to " + std::to_string(most);
    target = value;
    return "";
  };
}

Parser samplingInto(jpeg::Sampling& sampling) {
  return [&sampling](const std::string& text) -> std::string {
    if (text == "4:4:4") return sampling = jpeg::Sampling::s444, "";
    if (text == "4:2:2") return sampling = jpeg::Sampling::s422, "";
    if (text == "4:2:0") return sampling = jpeg::Sampling::s420, "";
    return quotedName(text) + " is none of 4:4:4, 4:2:2, 4:2:0";
  };
}

Parser restartInto(jpeg::EncodeOptions& options) {
  return [&options](const std::string& text) -> std::string {
    std::string_view number = text;
    options.restartInRows = number.ends_with('B');
    if (options.restartInRows) number.remove_suffix(1);
    if (parseNumber(number, 0, 65535, options.restart)) return "";
    return quotedName(text) + " is no number from 0 to 65535, alone or with a B";
  };
}

Parser formatInto(std::optional<Format>& format, FormatKind kind) {
  return [&format, kind](const std::string& text) -> std::string {
    format = formatNamed(text);
    if (format && kindOf(*format) == kind) return "";
    return quotedName(text) + " is none of " + formatNames(kind);
  };
}

void addOption(CLI::App& app, const char* name, const char* type, const char* description, const Parser& parse) {
  const auto use = [name, parse](const std::string& text) {
    const std::string error = parse(text);
    if (!error.empty()) throw CLI::ValidationError(name, error);
  };
  app.add_option_function<std::string>(name, use, description)->type_name(type);
}

void addCommon(CLI::App& app, Settings& settings) {
  addOption(app, "--max-pixels", "N", "Refuse pictures of more pixels (268435456)",
            numberInto(settings.limits.maxPixels, std::uint64_t{1}, kMostPixels));
  addOption(app, "--threads", "N", "Threads inside the coding of one picture",
            numberInto(settings.threads, 1, kMaxThreads));
  app.add_flag("--quiet", settings.quiet, "Neither notes nor progress, only warnings and errors");
}

void addConversion(CLI::App& app, Settings& settings, FormatKind kind) {
  const std::string start = "moxj " + app.get_name();
  useHelp(app, start + " IN OUT [OPTIONS]\n       " + start + " IN... --output-dir DIR [OPTIONS]", kConversionFooter);
  app.add_option("FILE", settings.files, "The input and the output; with --output-dir inputs only")
      ->required()
      ->type_name("");
  addOption(app, "--format", kind == FormatKind::coded ? "jpg" : "png|ppm|pgm|pnm",
            "Format of the output, whatever its name says", formatInto(settings.format, kind));
  app.add_option("--output-dir", settings.outputDirectory,
                 "Directory for the outputs of many inputs; made if missing")
      ->type_name("DIR");
  addOption(app, "--jobs", "N", "Files at a time, with --output-dir (as many as processors)",
            numberInto(settings.jobs, 1, kMaxJobs));
  addCommon(app, settings);
}

void addEncode(CLI::App& root, Settings& settings) {
  CLI::App& app = *root.add_subcommand("encode", "Make a JPEG file of a picture");
  jpeg::EncodeOptions& options = settings.jpeg;
  addOption(app, "--quality", "1..100", "From the smallest file to the finest picture (75)",
            numberInto(options.quality, 1, 100));
  addOption(app, "--sample", "4:4:4|4:2:2|4:2:0", "Chroma sampling (4:2:0)", samplingInto(options.sampling));
  app.add_flag("--grayscale", options.grayscale, "Keep the luminance only");
  addOption(app, "--restart", "N|NB", "Restart marker every N MCUs, with NB every N rows of them",
            restartInto(options));
  addConversion(app, settings, FormatKind::coded);
}

void addDecode(CLI::App& root, Settings& settings) {
  CLI::App& app = *root.add_subcommand("decode", "Make a picture of a JPEG file");
  app.add_flag_callback(
      "--nosmooth", [&settings] { settings.reading.smooth = false; },
      "Repeat the samples of sub-sampled colours, do not interpolate");
  addConversion(app, settings, FormatKind::picture);
}

void addInfo(CLI::App& root, Settings& settings) {
  CLI::App& app = *root.add_subcommand("info", "Show what a file is made of");
  useHelp(app, "moxj info FILE [OPTIONS]", "");
  app.add_option("FILE", settings.files, "A JPEG, PNG, PPM or PGM file; - is standard input")
      ->required()
      ->expected(1)
      ->type_name("");
  app.add_flag("--json", settings.json, "Write JSON");
}

void addCompare(CLI::App& root, Settings& settings) {
  CLI::App& app = *root.add_subcommand("compare", "Show how far two pictures differ");
  useHelp(app, "moxj compare A B [OPTIONS]",
          "PSNR in dB, the largest difference of two samples (0 to 255) and SSIM (1 where equal) are shown for\n"
          "each channel and for all.");
  app.add_option("FILE", settings.files, "Two pictures of any format that can be read; - is standard input")
      ->required()
      ->expected(2)
      ->type_name("");
  app.add_flag("--json", settings.json, "Write JSON");
  addCommon(app, settings);
}

Command commandOf(const CLI::App& chosen) {
  const std::string& name = chosen.get_name();
  if (name == "encode") return Command::encode;
  if (name == "decode") return Command::decode;
  return name == "compare" ? Command::compare : Command::info;
}

[[noreturn]] void misuse(const std::string& text, const std::string& command) {
  throw Failure(ExitStatus::usage, text.substr(0, text.find('\n')) + " (see moxj " + command + "--help)");
}

// The only mistakes that CLI11 words badly.
void checkCommand(const CLI::App& app, int argc, char** argv) {
  if (argc < 2) misuse("a command is missing", "");
  const std::string first = argv[1];
  const auto isFirst = [&](const CLI::App* command) { return command->get_name() == first; };
  if (!first.starts_with('-') && app.get_subcommands(isFirst).empty())
    misuse(quotedName(first) + " is no command", "");
}

}  // namespace

std::variant<Settings, Answer> parseCommandLine(int argc, char** argv) {
  Settings settings;
  CLI::App app("moxj writes, reads, shows and compares JPEG files.", "moxj");
  useHelp(app, "moxj COMMAND FILES [OPTIONS]", kFooter);
  app.set_version_flag("--version", "moxj " MOXJ_VERSION, "Show the version");
  app.require_subcommand(1);
  addEncode(app, settings);
  addDecode(app, settings);
  addInfo(app, settings);
  addCompare(app, settings);
  for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; })) command->group("Commands");
  checkCommand(app, argc, argv);
  const auto chosen = [&app] { return app.get_subcommands().empty() ? nullptr : app.get_subcommands()[0]; };
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return Answer{(chosen() ? chosen() : &app)->help()};
  } catch (const CLI::CallForVersion& version) {
    return Answer{version.what() + std::string("\n")};
  } catch (const CLI::ParseError& error) {
    misuse(error.what(), chosen() ? chosen()->get_name() + " " : "");
  }
  settings.command = commandOf(*chosen());
  return settings;
}

}  // namespace moxj
