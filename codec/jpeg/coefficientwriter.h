// Writes the scans of a picture whose coefficients are all there.
#pragma once

#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/frame.h"
#include "jpeg/writer.h"
#include "progress.h"

namespace moxj::jpeg {

struct RestartInterval {
  int count = 0;        // 0 none, in MCUs ...
  bool inRows = false;  // ... or in MCU rows, of each scan

  // In MCUs. Throws Failure (limit) above 65535.
  int of(int mcusWide) const;
};

struct Coding {
  std::vector<ScanHeader> scans;
  bool optimal = false;  // tables of their own for each scan, without which they are those of Annex K; progressive
                         // scans always have their own
  RestartInterval restart;
};

// From the tables of the first scan to the data of the last. Blocks that only fill up MCUs are written as they are:
// fillMcus() is to have been called. The tables of the selectors are 0 and 1.
void writeScans(Writer& writer, const Frame& frame, const Coefficients& coefficients, const Coding& coding,
                const Progress& progress);

// Makes the blocks that only fill up MCUs what costs least: no AC, and the DC coefficient of the block before.
void fillMcus(const Frame& frame, Coefficients& coefficients);

}  // namespace moxj::jpeg
