// Serialises marker segments.
#include "jpeg/writer.h"

#include "jpeg/markers.h"

namespace moxj::jpeg {

void Writer::word(int value) {
  byte(value >> 8);
  byte(value & 255);
}

void Writer::marker(int code) {
  byte(0xFF);
  byte(code);
}

void Writer::segment(int code, int bodyBytes) {
  marker(code);
  word(bodyBytes + 2);
}

// Version 1.01, square pixels of unknown size, no thumbnail.
void Writer::jfif() {
  static constexpr std::uint8_t kBody[] = {'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
  segment(marker::app0, sizeof kBody);
  file_.append(kBody, sizeof kBody);
}

void Writer::adobe() {
  static constexpr std::uint8_t kBody[] = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
  segment(marker::app14, sizeof kBody);
  file_.append(kBody, sizeof kBody);
}

void Writer::steps(int index, const Steps& steps) {
  const bool wide = isWide(steps);
  segment(marker::dqt, wide ? 129 : 65);
  byte(int{wide} << 4 | index);
  for (const int natural : kZigZag) wide ? word(steps[natural]) : byte(steps[natural]);
}

void Writer::frame(const Frame& frame) {
  segment(frame.process, 6 + 3 * static_cast<int>(frame.components.size()));
  byte(frame.precision);
  word(frame.height);
  word(frame.width);
  byte(static_cast<int>(frame.components.size()));
  for (const FrameComponent& c : frame.components) {
    byte(c.id);
    byte(c.horizontal << 4 | c.vertical);
    byte(c.quantTable);
  }
}

void Writer::code(TableClass tableClass, int index, const HuffmanCode& code) {
  segment(marker::dht, 17 + static_cast<int>(code.values.size()));
  byte(tableClass << 4 | index);
  file_.append(code.bits);
  file_.append(code.values);
}

void Writer::restartInterval(int mcus) {
  segment(marker::dri, 2);
  word(mcus);
}

void Writer::copy(const MarkerSegment& copied) {
  segment(copied.marker, static_cast<int>(copied.body.size()));
  file_.append(copied.body);
}

void Writer::scan(const Frame& frame, const ScanHeader& scan) {
  segment(marker::sos, 4 + 2 * static_cast<int>(scan.components.size()));
  byte(static_cast<int>(scan.components.size()));
  for (const ScanHeader::Selector& selector : scan.components) {
    byte(frame.components[selector.component].id);
    byte(selector.dcTable << 4 | selector.acTable);
  }
  byte(scan.spectralStart);
  byte(scan.spectralEnd);
  byte(scan.approxHigh << 4 | scan.approxLow);
}

}  // namespace moxj::jpeg
