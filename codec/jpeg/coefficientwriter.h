// Writes the scans of a picture from its complete coefficients.
#pragma once

#include <vector>

#include "jpeg/coefficients.h"
#include "jpeg/frame.h"
#include "jpeg/writer.h"
#include "pictures/work.h"

namespace moxj::jpeg {

struct RestartInterval {
  int count = 0;        // 0: none
  bool inRows = false;  // the unit is the MCU row of each scan instead of the MCU

  // In MCUs. Throws Problem (limit) above 65535.
  int of(int mcusWide) const;
};

struct Coding {
  std::vector<ScanHeader> scans;
  // Optimal tables for each scan, otherwise those of Annex K. Progressive scans and samples of more than 8 bits always
  // have optimal ones.
  bool optimal = false;
  RestartInterval restart;
};

// Writes everything from the tables of the first scan to the data of the last, and reports the progress in MCU rows of
// all passes. Several threads code progressive scans side by side, or the rows of a sequential scan. The selectors of
// tables are 0 or 1. Padding blocks are written as they are: call fillMcus() first.
void writeScans(Writer& writer, const Frame& frame, const Coefficients& coefficients, const Coding& coding, Work& work);

// Sets the padding blocks, which only complete MCUs at the edges, to what is cheapest to code: no AC coefficients and
// the DC coefficient of the preceding block.
void fillMcus(const Frame& frame, Coefficients& coefficients);

}  // namespace moxj::jpeg
