// The command line.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "failure.h"
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
  std::string onlyJpeg, onlyJpeg2000;             // an option of `encode` that was given and is for that format alone
  std::optional<jpeg::LosslessOptions> lossless;  // of JPEG
  std::string scans;                              // file of the scans to write, empty for none; goes into jpeg.script
  bool sequential = false, strip = false;         // of transcode
  Limits limits;
  bool json = false;
  bool quiet = false;
};

// What to print, where the command line asks for nothing else: help, the version.
struct Answer {
  std::string text;
};

// Throws Failure (usage).
std::variant<Settings, Answer> parseCommandLine(int argc, char** argv);

}  // namespace moxj
