// Finds and parses the marker segments of a file (T.81 Annex B).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/bytes.h"
#include "jpeg/frame.h"
#include "jpeg/markers.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

struct MarkerSegment {
  int marker = 0;
  std::size_t offset = 0;  // of the marker's 0xFF
  std::size_t end = 0;     // of the segment
  ByteSpan body;           // the parameters, without marker and length
};

// Iterates over the marker segments. The caller must skip the entropy-coded data after an SOS segment.
class SegmentWalker {
 public:
  // Begins with the SOI marker at `from`. Throws Problem if there is none.
  explicit SegmentWalker(ByteSpan file, std::size_t from = 0);

  // The next segment, or none at the end of the file. Skips fill bytes and stray bytes. Throws Problem for a
  // segment with an invalid length or one that extends past the end of the file.
  std::optional<MarkerSegment> next();

  void seek(std::size_t offset) { at_ = offset; }
  std::size_t strayBytes() const { return strayBytes_; }  // number of skipped bytes that belong to no segment

 private:
  ByteSpan file_;
  std::size_t at_ = 0;
  std::size_t strayBytes_ = 0;
};

// The offset of the first marker at or after `from` (of the 0xFF just before its code), or the size of `data` if there
// is none.
std::size_t findMarker(ByteSpan data, std::size_t from);

// The same, skipping restart markers: the end of the entropy-coded data of a scan.
std::size_t findScanEnd(ByteSpan data, std::size_t from);

// Parse the parameters of segments. All throw Problem with the cause.
Frame parseFrame(const MarkerSegment& segment);  // of any process, laid out
ScanHeader parseScan(const MarkerSegment& segment, const Frame& frame);
int parseLineCount(const MarkerSegment& segment);  // DNL

// Everything that segments other than frame and scan headers define for the following scans.
struct Tables {
  std::array<std::optional<Steps>, 4> steps;
  std::array<bool, 4> wideSteps{};                                 // steps of 16 bits
  std::array<std::array<std::optional<HuffmanCode>, 4>, 2> codes;  // [table class]
  // Of arithmetic coding: for DC tables the bounds of the classes of differences, for AC tables the last coefficient of
  // low frequency (DAC).
  struct Conditioning {
    std::array<std::uint8_t, 4> lower{0, 0, 0, 0}, upper{1, 1, 1, 1}, split{5, 5, 5, 5};
  } conditioning;
  int restartInterval = 0;  // in MCUs, 0: none
  bool jfif = false;
  std::optional<int> adobeTransform;

  // Applies a segment. False if it is not DQT, DHT, DAC, DRI, JFIF or Adobe.
  bool take(const MarkerSegment& segment);
};

}  // namespace moxj::jpeg
