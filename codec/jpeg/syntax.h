// The marker segments of a file (T.81 Annex B): how to find them, and what each of them says.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "jpeg/frame.h"
#include "jpeg/markers.h"
#include "jpeg/tables.h"

namespace moxj::jpeg {

using ByteSpan = std::span<const std::uint8_t>;

struct MarkerSegment {
  int marker = 0;
  std::size_t offset = 0;  // of the marker's 0xFF
  std::size_t end = 0;     // of the segment
  ByteSpan body;           // the parameters, without marker and length
};

// Walks through the marker segments. The entropy-coded data behind an SOS header is for the caller to pass over.
class SegmentWalker {
 public:
  // Throws Failure (refused) where the file does not begin with SOI.
  explicit SegmentWalker(ByteSpan file);

  // The next segment, fill bytes and bytes that belong to none passed over; none at the end of the file. Throws
  // Failure (refused) for a segment that says an impossible length or goes on past the end of the file.
  std::optional<MarkerSegment> next();

  void seek(std::size_t offset) { at_ = offset; }
  std::size_t strayBytes() const { return strayBytes_; }  // passed over so far because they belong to no segment

 private:
  ByteSpan file_;
  std::size_t at_ = 0;
  std::size_t strayBytes_ = 0;
};

// Offset of the first marker at or behind `from`: of the 0xFF that its code follows. The size of `data` if there is
// none.
std::size_t findMarker(ByteSpan data, std::size_t from);

// As findMarker, with restart markers passed over: the end of a scan's entropy-coded data.
std::size_t findScanEnd(ByteSpan data, std::size_t from);

// Parameters of the segments. All throw Failure (refused) with the cause.
Frame parseFrame(const MarkerSegment& segment);  // of any process, laid out
ScanHeader parseScan(const MarkerSegment& segment, const Frame& frame);
int parseLineCount(const MarkerSegment& segment);  // DNL

// Everything that segments other than frame and scan headers leave behind for the scans to come.
struct Tables {
  std::array<std::optional<Steps>, 4> steps;
  std::array<bool, 4> wideSteps{};                                 // steps of 16 bits
  std::array<std::array<std::optional<HuffmanCode>, 4>, 2> codes;  // [table class]
  int restartInterval = 0;                                         // MCUs, 0 none
  bool jfif = false;
  std::optional<int> adobeTransform;

  // Takes what a segment says. True where it was one of DQT, DHT, DRI, JFIF's and Adobe's.
  bool take(const MarkerSegment& segment);
};

}  // namespace moxj::jpeg
