// Reads the entropy-coded data of a scan: restart intervals, markers, and recovery from damage.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "jpeg/frame.h"
#include "jpeg/library.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

// After damage, units (blocks or samples) are missing up to the next plausible restart marker or, without restart
// intervals, up to the end of the scan.
class EntropyReader {
 public:
  const ScanGeometry& geometry() const { return geometry_; }
  bool exhausted() const { return exhausted_; }  // all further units are missing
  std::int64_t goodMcus() const { return goodMcus_; }
  const std::string& damage() const { return damage_; }  // the first damage, worded as in Problem; empty if none

  // How much of `data` has been read.
  std::size_t position() const { return windowStart_ + static_cast<std::size_t>(position_); }
  // To be called after the last row. The offset in `data` of the marker that ends the scan, or the size of `data`.
  std::size_t end();

  // Reads other data: that of the MCU rows from this one on, which begins with a restart interval. The marker at the
  // end of the interval has the number `restart`, modulo 8.
  void begin(ByteSpan data, int row, int restart);
  // The MCU rows before this one have been read by others, without damage. Its data, if there is any, begins with the
  // restart marker at this position.
  void continueAt(std::size_t position, int row);

 protected:
  // `data` extends from the first byte of the scan to the end of the file. A segment may end with a number of bytes
  // that no unit needs.
  EntropyReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data, int unreadBytes = 0);
  ~EntropyReader() = default;

  // Resets the predictions.
  virtual void restarted() = 0;

  const Mox8u* window() const { return data_.data() + windowStart_; }
  // To be called before each MCU row.
  void moveWindow();
  // To be called before each MCU.
  void beginMcu() {
    if (restartInterval_ != 0 && mcusToRestart_-- == 0) startInterval();
  }
  // Handles a unit that could not be decoded completely. Always true: the decoded part of the unit may be used.
  bool unitFailed(MoxStatus status);
  // The units up to the next restart marker are missing or, at the end of the data, all further ones.
  void lose(const char* what, bool atEnd);
  void damaged(const char* what);

  ScanGeometry geometry_;
  DecodeState state_;

  // The library's positions are 32-bit, so it gets a window of the data that advances with each row.
  std::int32_t windowLength_ = 0;
  std::int32_t position_ = 0;
  std::int32_t marker_ = 0;  // the marker just before the position; 0: none

  int row_ = 0;
  const int restartInterval_;
  bool skipping_ = false;  // units are missing up to the next restart marker
  std::int64_t goodMcus_ = 0;

 private:
  void startInterval();
  bool seekMarker();
  void resume();

  ByteSpan data_;
  const std::size_t unreadBytes_;
  std::size_t windowStart_ = 0;
  int mcusToRestart_;
  int nextRestart_ = 0;  // number of the next restart marker
  bool exhausted_ = false;
  std::string damage_;
};

// The Huffman table of a scan. Throws Problem if it is not defined.
const HuffmanCode& codeOf(const Tables& tables, TableClass tableClass, int index);

}  // namespace moxj::jpeg
