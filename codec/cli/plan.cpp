// Output names, output formats, and the checks of the two against the options.
#include "cli/plan.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "cli/report.h"

namespace moxj {

namespace {

[[noreturn]] void misuse(const std::string& text) { throw Misuse(text); }

FormatKind outputKind(Command command) { return command == Command::decode ? FormatKind::picture : FormatKind::coded; }

// For standard output and for batches without --format.
Format defaultFormat(Command command) { return command == Command::decode ? Format::pnm : Format::jpeg; }

Format formatFor(const std::string& output, const Settings& settings) {
  if (settings.format) return *settings.format;
  if (output == "-") return defaultFormat(settings.command);
  const FormatKind kind = outputKind(settings.command);
  const std::optional<Format> format = formatOfPath(output);
  if (settings.command == Command::transcode) {
    if (format && *format != Format::jpeg) misuse(displayName(output, false) + ": 'moxj transcode' writes JPEG files");
    return Format::jpeg;
  }
  if (!format) {
    std::error_code error;
    if (std::filesystem::is_directory(output, error))
      misuse(displayName(output, false) + ": is a directory; use --output-dir");
    misuse(displayName(output, false) + ": cannot tell the output format from the name; use --format " +
           formatNames(kind));
  }
  if (kindOf(*format) != kind)
    misuse(displayName(output, false) + ": " + std::string(labelOf(*format)) + " is written by 'moxj " +
           (kind == FormatKind::coded ? "decode'" : "encode'"));
  return *format;
}

// Refuses options that do not apply to the format: ignored silently, they would be mistakes that nobody notices.
void checkOptions(Format format, const Settings& settings) {
  if (settings.command != Command::decode) {
    const std::string& unused = isJpeg2000(format) ? settings.onlyJpeg : settings.onlyJpeg2000;
    if (!unused.empty()) misuse(unused + " is not for " + std::string(labelOf(format)) + " files");
  } else if (settings.j2kReading.components && format != Format::pgx && format != Format::pgm) {
    misuse("--components writes PGX or PGM files");
  }
}

std::string outputIn(const std::string& directory, const std::string& input, Format format) {
  std::string name = input.substr(input.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  const std::string separator = directory.empty() || directory.ends_with('/') ? "" : "/";
  return directory + separator + name + "." + std::string(extensionOf(format));
}

std::vector<Job> planBatch(const Settings& settings) {
  const Format format = settings.format.value_or(defaultFormat(settings.command));
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
  const Format format = formatFor(output, settings);
  checkOptions(format, settings);
  if (settings.j2kReading.components && output == "-") misuse("--components cannot write to standard output");
  return {{settings.files[0], output, format}};
}

}  // namespace moxj
