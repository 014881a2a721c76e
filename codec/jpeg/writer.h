// Writes the marker segments of a file, and passes everything on to the output in pieces.
#pragma once

#include "base/bigendian.h"
#include "base/input.h"
#include "jpeg/frame.h"
#include "jpeg/syntax.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

class Writer {
 public:
  explicit Writer(Output& output);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // The bytes that have not gone to the output yet. Whoever appends to them calls makeRoom() now and then.
  Bytes& pending() { return pending_; }
  // Makes the capacity of pending() large enough for `bytes` more. If it is not, all pending bytes go to the output.
  void makeRoom(std::size_t bytes);
  void flush();

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

  Output& output_;
  Bytes pending_;
  ByteWriter out_{pending_};
};

}  // namespace moxj::jpeg
