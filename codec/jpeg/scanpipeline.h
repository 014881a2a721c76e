// Decodes the scans of a file side by side: those of the same components follow each other at a distance of some MCU
// rows.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "base/workers.h"
#include "jpeg/entropyreader.h"
#include "jpeg/frame.h"

namespace moxj::jpeg {

// For undamaged scans only: decoding ends at the first damage.
class ScanPipeline {
 public:
  struct Scan {
    ScanHeader header;
    std::shared_ptr<EntropyReader> reader;
    std::function<void()> readRow;    // the next one, of blocks or MCUs
    int rows = 0;                     // that are wanted, at least 1
    int rowsOfMcuRow = 1;             // of the frame
    std::size_t offset = 0, end = 0;  // of the data, in the file
  };

  // A part of the work is that of a scan on this many MCU rows of the frame.
  explicit ScanPipeline(int mcuRowsOfPart) : mcuRowsOfPart_(mcuRowsOfPart) {}

  // In the order of the file.
  void add(Scan scan);
  // Gets how much has been done.
  using Report = std::function<void(std::size_t parts, std::size_t of)>;
  // False: a scan is damaged. Throws what `report` throws.
  bool run(Workers& workers, const Report& report);

  // All that have been added.
  std::size_t size() const { return stages_.size(); }
  Scan& operator[](std::size_t index) { return stages_[index].scan; }

 private:
  // A scan and how far it is. While threads run, mutex_ guards everything but `scan`.
  struct Stage {
    Scan scan;
    std::vector<const Stage*> before;  // earlier scans of the same components
    std::size_t parts = 0, done = 0;
    bool taken = false;  // a thread decodes its next part
    bool goesOn() const;
  };

  void decodePart();
  Stage* take();
  bool read(Scan& scan, std::size_t part) const;

  const int mcuRowsOfPart_;
  std::deque<Stage> stages_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool failed_ = false;  // guarded by mutex_
};

}  // namespace moxj::jpeg
