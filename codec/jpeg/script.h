// Which scans a file is written in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jpeg/frame.h"

namespace moxj::jpeg {

// Scans as a user has listed them, in the syntax of cjpeg:
//
//   0 1 2: 0-0, 0, 1;    # components, first and last coefficient, bit known before (0 if none), lowest bit
//   0 1 2;               # all coefficients, in full
//
// Components count from 0 and stand in the order of the frame. A list in which every scan has all coefficients in
// full is sequential, any other progressive.
struct Script {
  struct Entry {
    ScanHeader scan;
    int line = 0;  // of the text, where the entry begins
  };
  std::string name;  // of the file, for messages
  std::vector<Entry> entries;

  bool progressive() const;
};

// Throws Failure (refused), which names the file, the line and the cause: what is no script, or whose scans do not
// make up a picture.
Script parseScript(std::string_view text, const std::string& name);

// Its scans, for a picture. Throws Failure (refused) where they are for another number of components.
std::vector<ScanHeader> scansOf(const Script& script, const Frame& frame);

// One scan of all components; one of each where an MCU would have too many blocks.
std::vector<ScanHeader> sequentialScans(const Frame& frame);

// The scans that cjpeg makes without a script; those of three YCbCr components have chrominance early.
std::vector<ScanHeader> progressiveScans(const Frame& frame, bool ycbcr);

}  // namespace moxj::jpeg
