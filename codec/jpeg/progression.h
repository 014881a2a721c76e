// Tracks which bits of each coefficient the scans of a progressive file have coded so far (T.81 G.1.1.1).
#pragma once

#include <algorithm>
#include <array>

#include "jpeg/frame.h"

namespace moxj::jpeg {

class Progression {
 public:
  Progression() {
    for (auto& component : lowest_) component.fill(kNothing);
  }

  // Why a progressive scan header is illegal, to follow "the scan has"; null if it is legal.
  static const char* fault(const ScanHeader& scan) {
    const int start = scan.spectralStart, end = scan.spectralEnd;
    if (end > 63 || start > end || (start == 0 && end > 0)) return "an invalid band of coefficients";
    if (start > 0 && scan.components.size() > 1) return "AC coefficients of more than one component";
    if (scan.approxLow > kMaxApprox) return "an invalid point transform";
    if (scan.approxHigh != 0 && scan.approxHigh != scan.approxLow + 1) return "a refinement of more than one bit";
    return nullptr;
  }

  // False if the scan does not continue where the earlier ones ended.
  bool take(const ScanHeader& scan) {
    bool fits = true;
    for (const ScanHeader::Selector& selector : scan.components) {
      auto& lowest = lowest_[selector.component];
      if (scan.spectralStart > 0 && lowest[0] == kNothing) fits = false;
      for (int k = scan.spectralStart; k <= scan.spectralEnd; ++k) {
        fits &= lowest[k] == (scan.approxHigh == 0 ? kNothing : scan.approxHigh);
        lowest[k] = scan.approxLow;
      }
    }
    return fits;
  }

  bool begun(int component) const { return lowest_[component][0] != kNothing; }
  // Every bit of every coefficient has been coded.
  bool finished(int component) const {
    const auto& lowest = lowest_[component];
    return std::all_of(lowest.begin(), lowest.end(), [](int bit) { return bit == 0; });
  }

 private:
  static constexpr int kNothing = -1, kMaxApprox = 13;

  std::array<std::array<int, 64>, 4> lowest_;  // known bit of each coefficient, in zig-zag order
};

}  // namespace moxj::jpeg
