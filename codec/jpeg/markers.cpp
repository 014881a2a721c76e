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

// The codes are regular: the low two bits give the process, bit 2 a differential frame of a hierarchical file, bit 3
// arithmetic coding.
std::string processName(int frameHeader) {
  static constexpr std::array kProcesses{"baseline", "extended sequential", "progressive", "lossless"};
  std::string name = kProcesses[frameHeader & 3];
  if (frameHeader & 4)
    name = std::string("hierarchical, differential ") + ((frameHeader & 3) == 1 ? "sequential" : name);
  if (frameHeader & 8) name += ", arithmetic coding";
  return name;
}

}  // namespace moxj::jpeg
