// The settings of a run, and the parser of the command line that fills them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/exit_status.h"
#include "cli/output.h"
#include "moxcodec.h"

namespace moxj::cli {

enum class Command { encode, decode, transcode, info, compare, selftest, bench };

struct Settings {
  Settings() {
    moxcReadOptionsInit(&reading);
    moxcWriteOptionsInit(&writing);
    moxcTranscodeOptionsInit(&transcoding);
    limits.structSize = sizeof limits;
  }

  Command command = Command::info;
  std::vector<std::string> files;
  std::optional<std::string> output;           // by an option, instead of the second of the files
  std::optional<std::string> outputDirectory;  // of a batch
  const char* format = nullptr;                // of the output, as the library names it; null: not given
  std::optional<int> jobs;
  std::optional<int> threads;
  MoxcReadOptions reading;
  MoxcWriteOptions writing;
  MoxcTranscodeOptions transcoding;
  // Become fields of `writing` when the options are complete.
  std::vector<double> ratios, bpps, psnrs;
  std::vector<std::int32_t> precincts;
  std::string comment;
  // The last option given that applies to that format of the output only.
  std::string onlyJpeg, onlyJpeg2000;
  std::vector<std::string_view> transformedBy;  // the options that turn or mirror the picture
  std::string scansFile;           // file with the scan script, empty for none; becomes `scans` of the options
  std::string factors, qualities;  // of components, empty for none; become those of the options
  MoxcLimits limits = {};
  Existing existing = Existing::replaced;  // outputs
  std::vector<std::string> targets;        // of selftest and bench; empty: all
  std::vector<std::string> families;       // of bench; empty: all, unless there are files
  std::string comparedWith;                // a measurement; empty: none
  double threshold = 10;                   // percent
  double seconds = 10;                     // of a measurement
  bool json = false;
  bool quiet = false;
};

// The help or the version, to be printed instead of a run.
struct Answer {
  std::string text;
  ExitStatus status = ExitStatus::ok;
};

// Throws Misuse.
std::variant<Settings, Answer> parseCommandLine(int argc, char** argv);

}  // namespace moxj::cli
