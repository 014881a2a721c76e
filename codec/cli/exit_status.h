// The exit statuses of the tool, and what a problem of the codec becomes: a status and a message.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/problem.h"

namespace moxj {

enum class ExitStatus {
  ok = 0,
  usage = 1,       // the command line is wrong
  refused = 2,     // the input cannot be read: not a picture, damaged beyond use, or of an unsupported kind
  incomplete = 3,  // the input is truncated or damaged; the part of the picture that could be decoded was written
  limit = 4,       // the input needs more than a limit allows
  output = 5,      // the output cannot be written
  internal = 6     // a bug
};

// The command line is wrong.
struct Misuse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One of several outputs cannot be written.
struct OutputProblem : Problem {
  OutputProblem(const Problem& problem, std::string p) : Problem(problem), path(std::move(p)) {}
  std::string path;
};

// How a run ends that an exception has stopped.
struct Ending {
  ExitStatus status;
  std::string text;         // one line; names the option that the user can change
  std::string output = {};  // of an OutputProblem
};
Ending endingOf(const std::exception& exception);

}  // namespace moxj
