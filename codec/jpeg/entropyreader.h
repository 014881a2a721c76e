// The entropy-coded data of a scan: its restart intervals and markers, and what to do where it is damaged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "jpeg/frame.h"
#include "jpeg/library.h"
#include "jpeg/syntax.h"

namespace moxj::jpeg {

// Where the data is damaged, units (blocks or samples) are missing up to the next restart marker that fits in;
// without restart intervals, up to the end of the scan.
class EntropyReader {
 public:
  const ScanGeometry& geometry() const { return geometry_; }
  bool exhausted() const { return exhausted_; }  // all units to come are missing
  std::int64_t goodMcus() const { return goodMcus_; }
  const std::string& damage() const { return damage_; }  // the first that was met, as Failure's text; or empty

  // To be called behind the last row: offset in `data` of the marker that ends the scan, or the size of `data`.
  std::size_t end();

 protected:
  // `data` begins with the scan's first byte and ends with the file.
  EntropyReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data);
  ~EntropyReader() = default;

  // Predictions begin anew.
  virtual void restarted() = 0;

  const Mox8u* window() const { return data_.data() + windowStart_; }
  // To be called ahead of each MCU row.
  void moveWindow();
  // To be called ahead of each MCU.
  void beginMcu() {
    if (restartInterval_ != 0 && mcusToRestart_-- == 0) startInterval();
  }
  // The unit cannot be had in full. True where what there is of it may still be used and the next unit tried.
  bool unitFailed(MoxStatus status);
  void damaged(const char* what);

  ScanGeometry geometry_;
  DecodeState state_;

  // The library's positions are 32-bit: it is given a window that moves on with each row.
  std::int32_t windowLength_ = 0;
  std::int32_t position_ = 0;
  std::int32_t marker_ = 0;  // the one that the position lies behind, 0 none

  int row_ = 0;
  const int restartInterval_;
  bool skipping_ = false;  // units are missing up to the next restart marker
  std::int64_t goodMcus_ = 0;

 private:
  void startInterval();
  bool seekMarker();
  void resume();

  ByteSpan data_;
  std::size_t windowStart_ = 0;
  int mcusToRestart_;
  int nextRestart_ = 0;  // number of the restart marker that is due
  bool exhausted_ = false;
  std::string damage_;
};

// The code of a scan's table. Throws Failure (refused) where it is not there.
const HuffmanCode& codeOf(const Tables& tables, TableClass tableClass, int index);

}  // namespace moxj::jpeg
