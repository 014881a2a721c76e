// Parsing and validation of marker segments.
#include "jpeg/syntax.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>

#include "base/bigendian.h"

namespace moxj::jpeg {

namespace {

// Reads the parameters of a segment.
ByteReader parametersOf(const MarkerSegment& segment) {
  return ByteReader(segment.body, "the " + markerName(segment.marker) + " segment", "is too short");
}

void requireEnd(const ByteReader& in) {
  if (!in.empty()) in.bad("is too long");
}

void takeSteps(ByteReader in, Tables& tables) {
  while (!in.empty()) {
    const int selector = in.u8();
    const int index = selector & 15;
    const int wide = selector >> 4;
    if (wide > 1 || index > 3) in.bad("has an invalid table selector " + std::to_string(selector));
    Steps steps;
    for (int position = 0; position < 64; ++position) {
      const int step = wide ? in.u16() : in.u8();
      if (step == 0) in.bad("has a quantiser step of 0");
      steps[kZigZag[position]] = static_cast<std::uint16_t>(step);
    }
    tables.steps[index] = steps;
    tables.wideSteps[index] = wide;
  }
}

// Annex C assigns the codes of each length in sequence; they must fit in the number of bits.
bool overfull(const HuffmanCode& code) {
  int room = 1;
  for (const int count : code.bits) {
    room = 2 * room - count;
    if (room < 0) return true;
  }
  return false;
}

void takeCodes(ByteReader in, Tables& tables) {
  while (!in.empty()) {
    const int selector = in.u8();
    const int index = selector & 15;
    const int tableClass = selector >> 4;
    if (tableClass > kAc || index > 3) in.bad("has an invalid table selector " + std::to_string(selector));
    HuffmanCode code;
    const ByteSpan bits = in.take(16);
    std::copy(bits.begin(), bits.end(), code.bits.begin());
    const int count = std::accumulate(bits.begin(), bits.end(), 0);
    if (count > 256 || overfull(code)) in.bad("has too many codes");
    const ByteSpan values = in.take(count);
    if (tableClass == kDc && std::any_of(values.begin(), values.end(), [](int value) { return value > 16; })) {
      in.bad("has a DC category above 16");
    }
    code.values.assign(values.begin(), values.end());
    tables.codes[tableClass][index] = std::move(code);
  }
}

void takeConditioning(ByteReader in, Tables::Conditioning& conditioning) {
  while (!in.empty()) {
    const int selector = in.u8();
    const int index = selector & 15;
    if (selector >> 4 > kAc || index > 3) in.bad("has an invalid table selector " + std::to_string(selector));
    const int value = in.u8();
    if (selector >> 4 == kAc) {
      if (value < 1 || value > 63) in.bad("has an invalid coefficient number " + std::to_string(value));
      conditioning.split[index] = static_cast<std::uint8_t>(value);
    } else {
      if ((value & 15) > value >> 4) in.bad("has bounds of differences in the wrong order");
      conditioning.lower[index] = value & 15;
      conditioning.upper[index] = static_cast<std::uint8_t>(value >> 4);
    }
  }
}

bool startsWith(ByteSpan body, const char* text, std::size_t length) {
  return body.size() >= length && std::memcmp(body.data(), text, length) == 0;
}

}  // namespace

SegmentWalker::SegmentWalker(ByteSpan file, std::size_t from) : file_(file), at_(from) {
  if (file.size() < from + 2 || file[from] != 0xFF || file[from + 1] != marker::soi)
    fail(Kind::notThisFormat, "not a JPEG file");
}

std::optional<MarkerSegment> SegmentWalker::next() {
  const std::size_t found = findMarker(file_, at_);
  for (; at_ < found; ++at_) strayBytes_ += file_[at_] != 0xFF;  // fill bytes do not count
  if (found >= file_.size()) return std::nullopt;
  MarkerSegment segment{.marker = file_[found + 1], .offset = found, .end = found + 2, .body = {}};
  if (!marker::standsAlone(segment.marker)) {
    if (marker::isReserved(segment.marker)) fail(Kind::damaged, "unknown marker " + markerName(segment.marker));
    const std::size_t left = file_.size() - segment.end;
    if (left < 2) fail(Kind::damaged, "the file ends within the " + markerName(segment.marker) + " segment");
    const std::size_t length = file_[found + 2] << 8 | file_[found + 3];
    if (length < 2) fail(Kind::damaged, "the " + markerName(segment.marker) + " segment has an invalid length");
    if (length > left) fail(Kind::damaged, "the file ends within the " + markerName(segment.marker) + " segment");
    segment.end += length;
    segment.body = file_.subspan(found + 4, length - 2);
  }
  at_ = segment.end;
  return segment;
}

std::size_t findMarker(ByteSpan data, std::size_t from) {
  while (from < data.size()) {
    const void* found = std::memchr(data.data() + from, 0xFF, data.size() - from);
    if (found == nullptr) break;
    const std::size_t at = static_cast<const std::uint8_t*>(found) - data.data();
    if (at + 1 == data.size()) break;
    if (data[at + 1] != 0 && data[at + 1] != 0xFF) return at;
    from = data[at + 1] == 0 ? at + 2 : at + 1;
  }
  return data.size();
}

std::size_t findScanEnd(ByteSpan data, std::size_t from) {
  std::size_t at = findMarker(data, from);
  while (at < data.size() && marker::isRestart(data[at + 1])) at = findMarker(data, at + 2);
  return at;
}

Frame parseFrame(const MarkerSegment& segment) {
  ByteReader in = parametersOf(segment);
  Frame frame;
  frame.process = static_cast<std::uint8_t>(segment.marker);
  if (frame.process == marker::sof3) frame.unit = 1;
  frame.precision = in.u8();
  frame.height = in.u16();
  frame.width = in.u16();
  const int count = in.u8();
  if (frame.width == 0) in.bad("gives a width of 0");
  if (count == 0) in.bad("has no components");
  for (int i = 0; i < count; ++i) {
    FrameComponent c;
    c.id = in.u8();
    const int factors = in.u8();
    c.horizontal = factors >> 4;
    c.vertical = factors & 15;
    c.quantTable = in.u8();
    if (std::min(c.horizontal, c.vertical) < 1 || std::max(c.horizontal, c.vertical) > 4) {
      in.bad("has sampling factors of " + std::to_string(c.horizontal) + "x" + std::to_string(c.vertical));
    }
    if (c.quantTable > 3) in.bad("refers to quantisation table " + std::to_string(c.quantTable));
    frame.components.push_back(c);
  }
  requireEnd(in);
  frame.layOut();
  return frame;
}

ScanHeader parseScan(const MarkerSegment& segment, const Frame& frame) {
  ByteReader in = parametersOf(segment);
  ScanHeader scan;
  const int count = in.u8();
  if (count < 1 || count > 4) in.bad("has " + std::to_string(count) + " components");
  std::vector<bool> taken(frame.components.size());
  for (int i = 0; i < count; ++i) {
    const int id = in.u8();
    const int selectors = in.u8();
    // If several components of a frame have the same identifier, the first one that is not in the scan yet.
    int component = 0;
    while (component < static_cast<int>(taken.size()) && (taken[component] || frame.components[component].id != id)) {
      ++component;
    }
    if (component == static_cast<int>(taken.size()))
      in.bad("refers to component " + std::to_string(id) + ", which is not in the frame or named twice");
    if (selectors >> 4 > 3 || (selectors & 15) > 3) in.bad("refers to a Huffman table above 3");
    taken[component] = true;
    scan.components.push_back({component, selectors >> 4, selectors & 15});
  }
  scan.spectralStart = in.u8();
  scan.spectralEnd = in.u8();
  scan.approxHigh = in.peek() >> 4;
  scan.approxLow = in.u8() & 15;
  requireEnd(in);
  return scan;
}

int parseLineCount(const MarkerSegment& segment) {
  ByteReader in = parametersOf(segment);
  const int lines = in.u16();
  requireEnd(in);
  if (lines == 0) in.bad("gives a height of 0");
  return lines;
}

bool Tables::take(const MarkerSegment& segment) {
  switch (segment.marker) {
    case marker::dqt:
      takeSteps(parametersOf(segment), *this);
      return true;
    case marker::dht:
      takeCodes(parametersOf(segment), *this);
      return true;
    case marker::dac:
      takeConditioning(parametersOf(segment), conditioning);
      return true;
    case marker::dri: {
      ByteReader in = parametersOf(segment);
      restartInterval = in.u16();
      requireEnd(in);
      return true;
    }
    case marker::app0:
      if (!startsWith(segment.body, "JFIF\0", 5)) return false;
      return jfif = true;
    case marker::app14:
      if (!startsWith(segment.body, "Adobe", 5) || segment.body.size() < 12) return false;
      adobeTransform = segment.body[11];
      return true;
    default:
      return false;
  }
}

}  // namespace moxj::jpeg
