// Names of markers and processes.
#include "jpeg/markers.h"

#include <array>

namespace moxj::jpeg {

std::string markerName(int code) {
  static constexpr std::array kNames{"SOI", "EOI", "SOS", "DQT", "DNL", "DRI", "DHP", "EXP"};
  if (code == marker::tem) return "TEM";
  if (code == marker::dht) return "DHT";
  if (code == marker::jpg) return "JPG";
  if (code == marker::dac) return "DAC";
  if (marker::isFrameHeader(code)) return "SOF" + std::to_string(code - marker::sof0);
  if (marker::isRestart(code)) return "RST" + std::to_string(code - marker::rst0);
  if (code >= marker::soi && code <= marker::exp) return kNames[code - marker::soi];
  if (code >= marker::app0 && code <= marker::app15) return "APP" + std::to_string(code - marker::app0);
  if (code >= marker::jpg0 && code <= marker::jpg13) return "JPG" + std::to_string(code - marker::jpg0);
  if (code == marker::com) return "COM";
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return {'0', 'x', kDigits[code >> 4 & 15], kDigits[code & 15]};
}

// The codes are regular: bits 0 and 1 give the process, bit 2 is set for a differential frame of a hierarchical file,
// and bit 3 for arithmetic coding.
constexpr int kDifferential = 4, kArithmetic = 8;

static std::string nameWithoutCoder(int frameHeader) {
  static constexpr std::array kProcesses{"baseline", "extended sequential", "progressive", "lossless"};
  const std::string name = kProcesses[frameHeader & 3];
  if (!(frameHeader & kDifferential)) return name;
  return "hierarchical, differential " + ((frameHeader & 3) == 1 ? "sequential" : name);
}

std::string processName(int frameHeader) {
  return nameWithoutCoder(frameHeader) + (frameHeader & kArithmetic ? ", arithmetic coding" : "");
}

std::string processAdjective(int frameHeader) {
  return (frameHeader & kArithmetic ? "arithmetic-coded " : "") + nameWithoutCoder(frameHeader);
}

}  // namespace moxj::jpeg
