// Serialises marker segments.
#include "jpeg/writer.h"

#include <algorithm>

#include "jpeg/markers.h"

namespace moxj::jpeg {

namespace {

// The size of a piece: large enough for few calls of the output, small enough for the cache.
constexpr std::size_t kPieceBytes = std::size_t{64} << 10;

}  // namespace

Writer::Writer(Output& output) : output_(output) { pending_.reserve(kPieceBytes); }

void Writer::makeRoom(std::size_t bytes) {
  if (pending_.capacity() - pending_.size() >= bytes) return;
  flush();
  pending_.reserve(2 * bytes);
}

void Writer::flush() {
  if (!pending_.empty()) output_.write({pending_.data(), pending_.size()});
  pending_.clear();
}

void Writer::marker(int code) {
  makeRoom(2);
  out_.u8(0xFF);
  out_.u8(code);
}

void Writer::segment(int code, int bodyBytes) {
  makeRoom(static_cast<std::size_t>(bodyBytes) + 4);
  marker(code);
  out_.u16(bodyBytes + 2);
}

// Version 1.01, no thumbnail.
void Writer::jfif(const Density& density) {
  static constexpr std::uint8_t kName[] = {'J', 'F', 'I', 'F', 0, 1, 1};
  segment(marker::app0, 14);
  pending_.append(kName, sizeof kName);
  out_.u8(density.unit);
  out_.u16(density.x);
  out_.u16(density.y);
  out_.u16(0);
}

void Writer::adobe(AdobeTransform transform) {
  static constexpr std::uint8_t kBody[] = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0};
  segment(marker::app14, sizeof kBody + 1);
  pending_.append(kBody, sizeof kBody);
  out_.u8(static_cast<int>(transform));
}

void Writer::steps(int index, const Steps& steps) {
  const bool wide = isWide(steps);
  segment(marker::dqt, wide ? 129 : 65);
  out_.u8(int{wide} << 4 | index);
  for (const int natural : kZigZag) wide ? out_.u16(steps[natural]) : out_.u8(steps[natural]);
}

void Writer::frame(const Frame& frame) {
  segment(frame.process, 6 + 3 * static_cast<int>(frame.components.size()));
  out_.u8(frame.precision);
  out_.u16(frame.height);
  out_.u16(frame.width);
  out_.u8(static_cast<int>(frame.components.size()));
  for (const FrameComponent& c : frame.components) {
    out_.u8(c.id);
    out_.u8(c.horizontal << 4 | c.vertical);
    out_.u8(c.quantTable);
  }
}

void Writer::code(TableClass tableClass, int index, const HuffmanCode& code) {
  segment(marker::dht, 17 + static_cast<int>(code.values.size()));
  out_.u8(tableClass << 4 | index);
  pending_.append(code.bits);
  pending_.append(code.values);
}

void Writer::restartInterval(int mcus) {
  segment(marker::dri, 2);
  out_.u16(mcus);
}

void Writer::copy(const MarkerSegment& copied) {
  segment(copied.marker, static_cast<int>(copied.body.size()));
  pending_.append(copied.body);
}

void Writer::data(ByteSpan coded) {
  flush();
  output_.write(coded);
}

void Writer::application(int code, ByteSpan prefix, ByteSpan body) {
  segment(code, static_cast<int>(prefix.size() + body.size()));
  pending_.append(prefix);
  pending_.append(body);
}

void Writer::scan(const Frame& frame, const ScanHeader& scan) {
  segment(marker::sos, 4 + 2 * static_cast<int>(scan.components.size()));
  out_.u8(static_cast<int>(scan.components.size()));
  for (const ScanHeader::Selector& selector : scan.components) {
    out_.u8(frame.components[selector.component].id);
    out_.u8(selector.dcTable << 4 | selector.acTable);
  }
  out_.u8(scan.spectralStart);
  out_.u8(scan.spectralEnd);
  out_.u8(scan.approxHigh << 4 | scan.approxLow);
}

}  // namespace moxj::jpeg
