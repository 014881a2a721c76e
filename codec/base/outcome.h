// How reading, transcoding or inspecting a file ended.
#pragma once

#include <string>
#include <vector>

namespace moxj {

struct Outcome {
  bool complete = true;            // false: part of the picture is missing or wrong, for the reason in `warning`
  std::string warning;             // worded as in Problem; empty if complete
  std::vector<std::string> notes;  // what was left out by design: an alpha channel, bits beyond 8

  // The first reason is kept.
  void incomplete(const std::string& reason) {
    if (complete) warning = reason;
    complete = false;
  }
};

}  // namespace moxj
