// Decodes the scans of lossless files (T.81 Annex H), MCU row by MCU row.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "jpeg/entropyreader.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// If data is missing in a row, the rest of the row has differences of 0. A row without any data is not changed.
class LosslessReader : public EntropyReader {
 public:
  // Throws Problem if a table is missing or the parameters are invalid.
  LosslessReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data, Budget& budget);

  // Decodes the next MCU row. The planes have samples of the components, without padding, from the upper left corner of
  // an MCU of an interleaved scan on.
  void readRow(const Picture& samples, int firstColumn = 0, int firstRow = 0);

 private:
  // The rows of a component in an MCU row.
  struct Lines {
    int component;
    int width, down;
    int horizontal, vertical;  // sampling factors
    const MoxDecodeHuffmanSpec* code;
    std::vector<Mox16s> differences;  // one row after the other
    std::vector<Mox16s> current, above;
  };

  void restarted() override { firstRow_ = true; }
  void readDifferences();
  void rebuild(Lines& lines, const Plane& plane, int firstColumn, int firstRow);
  void store(const Lines& lines, const Plane& plane, int left, int y);

  const int precision_, predictor_, point_;
  std::array<DecodeSpec, 4> specs_;
  std::vector<Lines> lines_;  // for each component of the scan
  bool firstRow_ = true;      // of the scan or a restart interval
  bool outOfRange_ = false;
};

}  // namespace moxj::jpeg
