// The exit statuses of the tool, and what a failure becomes: a status and a message.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "moxcodec.h"

namespace moxj::cli {

enum class ExitStatus {
  ok = 0,
  usage = 1,       // the command line is wrong
  refused = 2,     // the input cannot be read: not a picture, damaged beyond use, or of an unsupported kind
  incomplete = 3,  // the input is truncated or damaged; the part of the picture that could be decoded was written
  limit = 4,       // the input needs more than a limit allows
  output = 5,      // the output cannot be written
  internal = 6,    // a bug
  failed = 7       // a test or a comparison of measurements has failed
};

// The command line is wrong.
struct Misuse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A file cannot be read or written.
struct Failure : std::runtime_error {
  Failure(ExitStatus s, const std::string& text, std::string name = "")
      : std::runtime_error(text), status(s), file(std::move(name)) {}
  ExitStatus status;
  std::string file;  // as shown in messages; empty: the one in use
};

// How a run ends that an exception has stopped.
struct Ending {
  ExitStatus status;
  std::string text;       // one line
  std::string file = {};  // of a Failure
};
Ending endingOf(const std::exception& exception);

ExitStatus statusOf(MoxcKind kind);

// What the library says about a failed call.
struct CallError {
  MoxcKind kind;
  std::string text;
  MoxcAdvice advice = moxcAdviceNone;
  std::string option = {};  // the field that text and advice are about
};

// One line, with the option that the user can change. Fields of option structs become options of the command line, and
// the scan script becomes the file that it came from.
std::string messageOf(const CallError& error, const std::string& scansFile);

// "--fast-mcu" for "fastMcu"
std::string optionOfField(std::string_view field);

// The status of several files: of the first that failed, in command-line order. A failure takes precedence over an
// incomplete picture.
ExitStatus firstOf(const std::vector<ExitStatus>& statuses);

}  // namespace moxj::cli
