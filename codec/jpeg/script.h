// The scans that a file is written with: scan scripts and the default scans.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jpeg/frame.h"

namespace moxj::jpeg {

// A scan script, in the syntax of cjpeg:
//
//   0 1 2: 0-0, 0, 1;    # components: first and last coefficient, Ah (0 in a first scan), Al
//   0 1 2;               # all bits of all coefficients
//
// Components are counted from 0, in the order of the frame. If every scan has all bits of all coefficients, the file is
// sequential, otherwise progressive.
struct Script {
  struct Entry {
    ScanHeader scan;
    int line = 0;  // line of the text on which the entry begins
  };
  std::string name;  // of the file, for messages
  std::vector<Entry> entries;

  bool progressive() const;
};

// Throws Problem if the text is not a script or its scans do not make up a picture. The text names the
// file, the line and the cause.
Script parseScript(std::string_view text, const std::string& name);

// The scans of a script for a frame. Throws Problem if they are for a different number of components.
std::vector<ScanHeader> scansOf(const Script& script, const Frame& frame);

// One scan with all components, or one scan per component if an MCU would have too many blocks.
std::vector<ScanHeader> sequentialScans(const Frame& frame);

// The default scans of cjpeg. For three YCbCr components, chrominance comes early.
std::vector<ScanHeader> progressiveScans(const Frame& frame, bool ycbcr);

}  // namespace moxj::jpeg
