// Writes the marker segments of a file, and passes everything on to the output in pieces.
#pragma once

#include "base/bigendian.h"
#include "base/input.h"
#include "jpeg/frame.h"
#include "jpeg/syntax.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

// Of the JFIF segment. Unit 0: only the ratio of x and y counts; 1: per inch, 2: per centimetre.
struct Density {
  int unit = 0, x = 1, y = 1;
};

// Of the Adobe segment: what the components were before they were coded.
enum class AdobeTransform { none = 0, ycc = 1, ycck = 2 };

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
  void jfif(const Density& density = {});
  void adobe(AdobeTransform transform = AdobeTransform::none);
  void steps(int index, const Steps& steps);  // with 8 bits if they fit
  void frame(const Frame& frame);
  void code(TableClass tableClass, int index, const HuffmanCode& code);
  void restartInterval(int mcus);
  void scan(const Frame& frame, const ScanHeader& scan);
  void copy(const MarkerSegment& segment);
  void data(ByteSpan coded);                                   // of a scan
  void application(int code, ByteSpan prefix, ByteSpan body);  // APPn or COM

 private:
  void segment(int code, int bodyBytes);

  Output& output_;
  Bytes pending_;
  ByteWriter out_{pending_};
};

}  // namespace moxj::jpeg
