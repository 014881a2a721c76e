// Joins entropy-coded segments that begin and end within a byte.
#pragma once

#include <cstddef>
#include <cstdint>

#include "jpeg/writer.h"

namespace moxj::jpeg {

class SegmentJoiner {
 public:
  explicit SegmentJoiner(Writer& writer) : writer_(writer) {}

  // Appends a segment with stuffed zeros after each byte of 0xFF, whose last byte ends, after the last bit of the
  // segment, with a 0 and as many ones as fit (ScanWriter::cut). Not empty.
  void append(ByteSpan segment);
  // Pads the last byte with ones and writes the next restart marker.
  void restart();
  // Pads the last byte with ones.
  void end();

 private:
  void appendBits(std::uint64_t bits, int count);

  Writer& writer_;
  std::uint64_t pending_ = 0;  // the bits of the last byte, which is not written yet
  int bits_ = 0;               // their number, 0 to 7
  int nextRestart_ = 0;
};

}  // namespace moxj::jpeg
