// A part of a sequential scan, coded apart from what comes before it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/input.h"
#include "jpeg/frame.h"
#include "jpeg/scanwriter.h"
#include "jpeg/segmentjoiner.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

// Smaller pictures are coded and decoded before another thread has begun.
inline bool isWorthThreads(const Frame& frame) {
  constexpr std::int64_t kMinPixels = std::int64_t{1} << 19;
  return std::int64_t{frame.width} * frame.height >= kMinPixels;
}

// A part of a scan: segments that restart markers divide.
class Part {
 public:
  Part(const ScanHeader& scan, const Codes& codes)
      : writer_(bytes_), scan_(writer_, ScanKind::sequential, scan, codes, 0) {}

  void begin(const LastDc& lastDc) {
    bytes_.bytes.clear();
    ends_.clear();
    scan_.begin(lastDc);
  }
  void beginMcu() { scan_.beginMcu(); }
  void put(int selector, const Mox16s* coefficients) { scan_.put<ScanKind::sequential>(selector, coefficients); }
  Mox16s lastDc(int selector) const { return scan_.lastDc(selector); }
  void endSegment() {
    scan_.cut();
    writer_.flush();
    ends_.push_back(bytes_.bytes.size());
    scan_.begin({});
  }
  void appendTo(SegmentJoiner& joiner) const {
    std::size_t begin = 0;
    for (const std::size_t end : ends_) {
      if (begin > 0) joiner.restart();
      joiner.append({bytes_.bytes.data() + begin, end - begin});
      begin = end;
    }
  }

 private:
  MemoryOutput bytes_;
  Writer writer_;
  ScanWriter scan_;
  std::vector<std::size_t> ends_;
};

}  // namespace moxj::jpeg
