// Output names, output formats, and the checks of the two against the options.
#include "cli/plan.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>

#include "cli/console.h"
#include "cli/formats.h"
#include "cli/peers.h"

namespace moxj::cli {

namespace {

[[noreturn]] void misuse(const std::string& text) { throw Misuse(text); }

// Whether the outputs of a command are compressed.
bool writesCoded(Command command) { return command != Command::decode; }

bool isJpeg(std::string_view format) { return format == "jpg"; }

// For standard output and for batches without --format.
const char* defaultFormat(Command command) { return command == Command::decode ? "pnm" : "jpg"; }

const char* formatFor(const std::string& output, const Settings& settings) {
  if (settings.format) return settings.format;
  if (output == "-") return defaultFormat(settings.command);
  const bool coded = writesCoded(settings.command);
  const char* const format = moxcFormatOfPath(output.c_str());
  if (settings.command == Command::transcode) {
    if (format && !isJpeg(format)) misuse(displayName(output, false) + ": 'moxj transcode' writes JPEG files");
    return "jpg";
  }
  if (!format) {
    std::error_code error;
    if (std::filesystem::is_directory(output, error))
      misuse(displayName(output, false) + ": is a directory; use --output-dir");
    misuse(displayName(output, false) + ": cannot tell the output format from the name; use --format " +
           formatNames(coded));
  }
  if ((formatOf(format).coded != 0) != coded)
    misuse(displayName(output, false) + ": " + formatOf(format).label + " is written by 'moxj " +
           (coded ? "decode'" : "encode'"));
  return format;
}

// The formats of single components.
constexpr std::string_view kOfComponents[] = {"pgx", "pgm", "raw", "rawl"};

// Refuses options that do not apply to the format: ignored silently, they would be mistakes that nobody notices.
void checkOptions(std::string_view format, const Settings& settings) {
  if (settings.command != Command::decode) {
    const std::string& unused = isJpeg(format) ? settings.onlyJpeg2000 : settings.onlyJpeg;
    const std::string counterpart = counterpartOf(unused, settings.command);
    if (!unused.empty())
      misuse(unused + " is not for " + formatOf(std::string(format)).label + " files" +
             (counterpart.empty() ? "" : "; " + counterpart));
  } else if (settings.reading.components && std::ranges::find(kOfComponents, format) == std::end(kOfComponents)) {
    misuse("--components writes PGX, PGM or raw files");
  } else if (settings.reading.components && settings.reading.srgb) {
    misuse("--srgb and --components cannot be combined");
  }
}

std::string outputIn(const std::string& directory, const std::string& input, const char* format) {
  std::string name = input.substr(input.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  const std::string separator = directory.empty() || directory.ends_with('/') ? "" : "/";
  return directory + separator + name + "." + format;
}

std::vector<Job> planBatch(const Settings& settings) {
  const char* const format = settings.format ? settings.format : defaultFormat(settings.command);
  checkOptions(format, settings);
  std::vector<Job> jobs;
  std::map<std::string, std::string> inputOf;
  for (const std::string& input : settings.files) {
    if (input == "-") misuse("standard input cannot be part of a batch");
    if (input.empty() || input.ends_with('/')) misuse(quoted(input) + " is not a file name");
    const std::string output = outputIn(*settings.outputDirectory, input, format);
    const auto [other, isNew] = inputOf.emplace(output, input);
    if (!isNew)
      misuse(displayName(other->second, true) + " and " + displayName(input, true) + " would both become " +
             displayName(output, false));
    jobs.push_back({input, output, format});
  }
  return jobs;
}

}  // namespace

std::vector<Job> planOf(const Settings& settings) {
  if (settings.outputDirectory) {
    if (settings.outputDirectory->empty()) misuse("--output-dir needs a directory name");
    return planBatch(settings);
  }
  if (settings.jobs) misuse("--jobs needs --output-dir");
  if (settings.files.size() == 1) misuse("no output given: add a file name, - or --output-dir DIR");
  if (settings.files.size() > 2) misuse("more than one input needs --output-dir");
  const std::string& output = settings.files[1];
  if (output.empty()) misuse("the output name is empty");
  const char* const format = formatFor(output, settings);
  checkOptions(format, settings);
  if (settings.reading.components && output == "-") misuse("--components cannot write to standard output");
  if (settings.existing == Existing::kept && output == "-") misuse("--no-clobber is not for standard output");
  return {{settings.files[0], output, format}};
}

}  // namespace moxj::cli
