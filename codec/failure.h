// How the codec reports that it cannot go on: one exception type that carries the tool's exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace moxj {

enum class ExitStatus {
  ok = 0,
  usage = 1,       // the command line is wrong
  refused = 2,     // the input cannot be read: not a picture, damaged beyond use, or of an unsupported kind
  incomplete = 3,  // the input is truncated or damaged; the part of the picture that could be decoded was written
  limit = 4,       // the input needs more than a limit allows
  output = 5       // the output cannot be written
};

// Its text is the cause, to be printed after "FILE: ": no capital letter, no full stop.
struct Failure : std::runtime_error {
  Failure(ExitStatus why, const std::string& text) : std::runtime_error(text), status(why) {}
  ExitStatus status;
};

[[noreturn]] inline void refuse(const std::string& text) { throw Failure(ExitStatus::refused, text); }

}  // namespace moxj
