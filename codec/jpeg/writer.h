// Writes the marker segments of a file.
#pragma once

#include <cstdint>
#include <span>

#include "base/bigendian.h"
#include "jpeg/frame.h"
#include "jpeg/syntax.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

class Writer {
 public:
  Writer() = default;
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  Bytes& file() { return file_; }

  void marker(int code);
  void jfif();
  void adobe();                               // says that there is no colour transform
  void steps(int index, const Steps& steps);  // with 8 bits if they fit
  void frame(const Frame& frame);
  void code(TableClass tableClass, int index, const HuffmanCode& code);
  void restartInterval(int mcus);
  void scan(const Frame& frame, const ScanHeader& scan);
  void copy(const MarkerSegment& segment);

 private:
  void segment(int code, int bodyBytes);

  Bytes file_;
  ByteWriter out_{file_};
};

}  // namespace moxj::jpeg
