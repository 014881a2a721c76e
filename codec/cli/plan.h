// Plans the jobs of a command line: the output and the format for each input.
#pragma once

#include <string>
#include <vector>

#include "cli/options.h"

namespace moxj::cli {

struct Job {
  std::string input;
  std::string output;
  const char* format;  // as the library names it
};

// For encode, decode and transcode. Checks all names before any work starts. Throws Misuse.
std::vector<Job> planOf(const Settings& settings);

}  // namespace moxj::cli
