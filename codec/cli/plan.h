// Which output each input of a command line gets.
#pragma once

#include <string>
#include <vector>

#include "cli/options.h"

namespace moxj {

struct Job {
  std::string input;
  std::string output;
  Format format;
};

// For encode, decode and transcode. Everything that is wrong with the names is found here, before any work. Throws
// Failure (usage).
std::vector<Job> planOf(const Settings& settings);

}  // namespace moxj
