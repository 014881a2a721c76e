// Codes MCU rows one after the other or, with several threads, side by side.
#pragma once

#include <memory>

#include "jpeg/coefficients.h"
#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/rowcoder.h"
#include "jpeg/writer.h"
#include "pictures/work.h"

namespace moxj::jpeg {

class RowEncoder {
 public:
  virtual ~RowEncoder() = default;
  // How many MCU rows start() takes.
  virtual int rowsAtOnce() const { return 1; }
  // Begins with MCU rows `row` to `row + count - 1`, whose pixels begin at row `first` of the band, and completes all
  // rows before them. The band must stay as it is until these are completed too.
  virtual void start(const Picture& band, int first, int row, int count) = 0;
  // Completes all rows.
  virtual void finish() = 0;
  // Ends the scan.
  virtual void end() = 0;
};

// How the pixels of a picture become coefficients.
struct RowCoding {
  const Picture& layout;
  const Frame& frame;
  ColourModel model;
  const Quantisers& quantisers;
  bool fastMcu;
};

// Writes the single scan of a file, with the tables of Annex K. Whatever the number of threads, the file is the same.
// What the coding refers to must outlive the encoder.
std::unique_ptr<RowEncoder> scanEncoder(const RowCoding& coding, Writer& writer, const ScanHeader& scan,
                                        int restartInterval, Work& work);

// Stores the coefficients.
std::unique_ptr<RowEncoder> coefficientEncoder(const RowCoding& coding, Coefficients& coefficients, Work& work);

}  // namespace moxj::jpeg
