// Lists the structure of a file without decoding it.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "jpeg/colour.h"
#include "jpeg/jpeg.h"
#include "jpeg/locate.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

namespace {

// "4:2:0" and the like: the number of chrominance samples in the rows of a block of 4 x 2 pixels.
std::string samplingName(const Frame& frame) {
  const auto& c = frame.components;
  if (c.size() < 3 || c[1].horizontal != c[2].horizontal || c[1].vertical != c[2].vertical) return "";
  const bool first = c[0].horizontal == frame.maxHorizontal && c[0].vertical == frame.maxVertical;
  const bool last = c.size() == 3 || (c[3].horizontal == c[0].horizontal && c[3].vertical == c[0].vertical);
  if (!first || !last || c[0].horizontal % c[1].horizontal != 0 || c[0].vertical % c[1].vertical != 0) return "";
  const struct {
    int across, down;
    const char* name;
  } kNames[] = {{1, 1, "4:4:4"}, {2, 1, "4:2:2"}, {2, 2, "4:2:0"}, {1, 2, "4:4:0"}, {4, 1, "4:1:1"}, {4, 2, "4:1:0"}};
  for (const auto& known : kNames) {
    if (c[0].horizontal == known.across * c[1].horizontal && c[0].vertical == known.down * c[1].vertical) {
      return known.name;
    }
  }
  return "";
}

// Finds the quality whose Annex K tables differ least from those of the file. The table of the first component is
// compared with the luminance table, that of the second with the chrominance table.
void estimateQuality(const Frame& frame, const Tables& tables, Info& info) {
  int luminance = frame.components[0].quantTable;
  int chrominance = frame.components.size() < 3 ? luminance : frame.components[1].quantTable;
  if (!tables.steps[luminance] || !tables.steps[chrominance]) return;
  long smallest = -1;
  for (int quality = 1; quality <= 100; ++quality) {
    long difference = 0;
    const auto compare = [&](int table, const Steps& annexK) {
      const Steps steps = scaledSteps(annexK, quality, tables.wideSteps[table] ? 32767 : 255);
      for (int i = 0; i < 64; ++i) difference += std::labs(long{steps[i]} - (*tables.steps[table])[i]);
    };
    compare(luminance, kAnnexKSteps[0]);
    if (chrominance != luminance) compare(chrominance, kAnnexKSteps[1]);
    if (smallest < 0 || difference < smallest) {
      smallest = difference;
      info.quality = quality;
    }
  }
  info.qualityExact = smallest == 0;
}

void describeFrame(const Frame& frame, const Tables& tables, Info& info) {
  info.process = processName(frame.process);
  info.supported =
      (marker::isDct(frame.process) ? frame.hasDctPrecision()
                                    : frame.process == marker::sof3 && frame.precision > 1 && frame.precision <= 16) &&
      frame.components.size() <= 4;
  info.precision = frame.precision;
  info.width = frame.width;
  info.height = frame.height;
  const ColourModel model = colourModelOf(frame, tables);
  info.colourModel = nameOf(model);
  info.sampling = samplingName(frame);
  info.components.clear();
  for (const FrameComponent& c : frame.components) {
    info.components.push_back({c.id, c.horizontal, c.vertical, c.quantTable, c.width, c.height});
  }
}

void describeTables(const Tables& tables, Info& info) {
  info.restartInterval = tables.restartInterval;
  for (int i = 0; i < 4; ++i) {
    if (tables.steps[i]) info.quantTables.push_back({i, tables.wideSteps[i] ? 16 : 8, *tables.steps[i]});
  }
  for (const TableClass tableClass : {kDc, kAc}) {
    for (int i = 0; i < 4; ++i) {
      const std::optional<HuffmanCode>& code = tables.codes[tableClass][i];
      if (code) info.huffTables.push_back({i, tableClass == kAc, static_cast<int>(code->values.size())});
    }
  }
}

std::string listed(int number) { return " " + std::to_string(number); }

// The printable text at the beginning of a segment.
std::string text(ByteSpan body, std::size_t maxLength) {
  std::string printable;
  for (const std::uint8_t byte : body.first(std::min(body.size(), maxLength))) {
    if (byte < ' ' || byte > '~') break;
    printable += static_cast<char>(byte);
  }
  return printable;
}

// Of a JFIF segment, which may have one of RGB, or of its extension: ", thumbnail of 16 x 12 pixels".
std::string thumbnailText(ByteSpan body) {
  constexpr std::string_view kJfif("JFIF\0", 5), kJfxx("JFXX\0", 5);
  constexpr int kJpeg = 0x10, kPalette = 0x11, kRgb = 0x13;
  const std::string_view name(reinterpret_cast<const char*>(body.data()), std::min<std::size_t>(body.size(), 5));
  const auto sized = [&](std::size_t at) {
    if (body.size() < at + 2 || body[at] == 0 || body[at + 1] == 0) return std::string();
    return ", thumbnail of " + std::to_string(body[at]) + " x " + std::to_string(body[at + 1]) + " pixels";
  };
  if (name == kJfif) return sized(12);
  if (name != kJfxx || body.size() < 6) return "";
  if (body[5] == kJpeg) return ", thumbnail coded as JPEG";
  return body[5] == kPalette || body[5] == kRgb ? sized(6) : "";
}

std::string detailOf(const MarkerSegment& segment, const Tables& tables) {
  const ByteSpan body = segment.body;
  std::string detail;
  switch (segment.marker) {
    case marker::dqt:
      detail = "tables";
      for (std::size_t at = 0; at < body.size(); at += body[at] >> 4 ? 129 : 65) detail += listed(body[at] & 15);
      return detail;
    case marker::dht:
      detail = "tables";
      for (std::size_t at = 0; at + 16 < body.size();) {
        detail += body[at] >> 4 ? " AC" : " DC";
        detail += std::to_string(body[at] & 15);
        int codes = 0;
        for (int i = 1; i <= 16; ++i) codes += body[at + i];
        at += 17 + codes;
      }
      return detail;
    case marker::dri:
      return std::to_string(tables.restartInterval) + " MCUs";
    case marker::dnl:
      return std::to_string(parseLineCount(segment)) + " lines";
    case marker::com:
      return text(body, 60);
    case marker::app0:
      return text(body, 32) + thumbnailText(body);
    case marker::app14:
      detail = text(body, 5);
      if (detail == "Adobe" && tables.adobeTransform) detail += ", transform" + listed(*tables.adobeTransform);
      return detail;
    default:
      return segment.marker >= marker::app0 && segment.marker <= marker::app15 ? text(body, 32) : "";
  }
}

class Inspector {
 public:
  explicit Inspector(ByteSpan file) : Inspector(file, locatePicture(file, 0)) {}

  Info run() {
    try {
      walk();
    } catch (const Problem& problem) {
      if (!frame_) throw;
      info_.incomplete(problem.what());
    }
    if (!frame_) fail(Kind::damaged, "the file has no frame header");
    describeFrame(*frame_, tables_, info_);
    describeTables(tables_, info_);
    estimateQuality(*frame_, tables_, info_);
    return std::move(info_);
  }

 private:
  Inspector(ByteSpan file, const LocatedPicture& picture) : file_(file), walker_(file, picture.offset) {
    info_.bytesBefore = picture.offset;
    if (!picture.note.empty()) info_.notes.push_back(picture.note);
  }
  void walk();
  void addScan(const MarkerSegment& segment);

  ByteSpan file_;
  SegmentWalker walker_;
  Tables tables_;
  std::optional<Frame> frame_;
  Info info_;
};

void Inspector::walk() {
  while (const std::optional<MarkerSegment> segment = walker_.next()) {
    tables_.take(*segment);
    std::string detail = detailOf(*segment, tables_);
    if (marker::isFrameHeader(segment->marker)) {
      const Frame frame = parseFrame(*segment);
      detail = std::to_string(frame.width) + " x " + std::to_string(frame.height) + ", " +
               std::to_string(frame.precision) + " bits";
      if (!frame_) frame_ = frame;  // a hierarchical file has several; the first is the smallest
    }
    info_.segments.push_back({static_cast<std::uint8_t>(segment->marker), markerName(segment->marker), segment->offset,
                              segment->end - segment->offset, std::move(detail)});
    if (segment->marker == marker::sos) addScan(*segment);
    if (segment->marker == marker::dnl && frame_ && frame_->height == 0) {
      frame_->height = parseLineCount(*segment);
      frame_->layOut();
    }
    if (segment->marker == marker::eoi) {
      info_.bytesAfterEnd = file_.size() - segment->end;
      info_.pictures = countPictures(file_.subspan(info_.bytesBefore));
      return;
    }
  }
  info_.incomplete("the file ends without an EOI marker");
}

void Inspector::addScan(const MarkerSegment& segment) {
  if (!frame_) fail(Kind::damaged, "a scan comes before the frame header");
  const ScanHeader header = parseScan(segment, *frame_);
  Scan scan{.components = {},
            .spectralStart = header.spectralStart,
            .spectralEnd = header.spectralEnd,
            .approxHigh = header.approxHigh,
            .approxLow = header.approxLow,
            .dataOffset = segment.end,
            .dataLength = 0};
  for (const ScanHeader::Selector& selector : header.components) {
    scan.components.push_back({frame_->components[selector.component].id, selector.dcTable, selector.acTable});
  }
  const std::size_t end = findScanEnd(file_, segment.end);
  scan.dataLength = end - segment.end;
  info_.scans.push_back(std::move(scan));
  walker_.seek(end);
}

}  // namespace

Info inspect(ByteSpan file) { return Inspector(file).run(); }

}  // namespace moxj::jpeg
