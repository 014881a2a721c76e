// The settings of a run, and the parser of the command line that fills them.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "cli/exit_status.h"
#include "j2k/j2k.h"
#include "jpeg/jpeg.h"
#include "pictures/format.h"

namespace moxj {

enum class Command { encode, decode, transcode, info, compare };

struct Settings {
  Command command = Command::info;
  std::vector<std::string> files;
  std::optional<std::string> outputDirectory;  // of a batch
  std::optional<Format> format;                // of the output
  std::optional<int> jobs;
  std::optional<int> threads;
  jpeg::EncodeOptions jpeg;
  jpeg::DecodeOptions reading;
  j2k::EncodeOptions j2k;
  j2k::DecodeOptions j2kReading;
  // The last option given that applies to that format only: of the output of `encode`, of the input of `decode`.
  std::string onlyJpeg, onlyJpeg2000;
  std::optional<jpeg::LosslessOptions> lossless;  // of JPEG
  std::string scans;                              // file with the scan script, empty for none; becomes jpeg.script
  bool sequential = false, strip = false;         // of transcode
  Limits limits;
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

}  // namespace moxj
