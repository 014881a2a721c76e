// Decodes and paints MCU rows side by side, where restart markers divide the data of a sequential scan.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <vector>

#include "base/workers.h"
#include "jpeg/groupblocks.h"
#include "jpeg/scanreader.h"
#include "jpeg/stripgroups.h"

namespace moxj::jpeg {

// A task has the smallest number of MCU rows that begin and end with a restart interval. Markers are located before
// their intervals are decoded. If one is not as it should be, or a task finds damage, the reader of the whole scan
// decodes all data from the first row of that group on.
class IntervalPainter {
 public:
  // Gets the number of MCU rows that have been painted, and where their data end.
  using Painted = std::function<void(int row, std::size_t position)>;

  // 0 if intervals begin within rows only.
  static int rowsOfTask(const Frame& frame, int restartInterval);

  // `data` begins with the scan. All references must outlive the painter. Rows begin with the first of the frame.
  IntervalPainter(const Frame& frame, const View& view, const ScanHeader& scan, const Tables& tables, ByteSpan data,
                  StripGroups& groups, Work& work);

  // Returns the first row that has not been painted. `reader` continues there.
  int run(ScanReader& reader, const Painted& painted);

 private:
  struct Part {
    int row = 0, rows = 0;
    std::size_t begin = 0, end = 0;  // of its data, up to the marker
  };
  struct Group {
    explicit Group(Workers& workers) : batch(workers) {}

    int row = 0, rows = 0;
    int place = 0;  // in groups_
    std::vector<Part> parts;
    std::atomic<bool> damaged = false;
    Workers::Batch batch;
  };
  // What a thread needs for itself.
  struct Tools {
    Tools(const Frame& frame, const View& view, const ScanHeader& scan, const Tables& tables, int rows, Budget& budget)
        : reader(frame, scan, tables, {}), blocks(frame, view, rows, budget) {}

    ScanReader reader;
    GroupBlocks blocks;
  };

  int intervalsBefore(int row) const;
  bool locate(int row, Group& group);
  bool locate(Part& part);
  void start(Group& group);
  bool read(const Part& part, Tools& tools) const;
  void paint(Group& group, const Part& part, Tools& tools);
  bool complete(Group& group, Group* later, const Painted& painted);

  const Frame& frame_;
  const View& view_;
  const int restartInterval_, rowsOfTask_;
  const ByteSpan data_;
  StripGroups& groups_;
  std::deque<Tools> tools_;     // for each worker
  std::deque<Group> underWay_;  // two, in turn
  std::size_t position_ = 0;    // of the first interval that has not been located
  int row_ = 0;                 // the rows before it are painted
  std::size_t end_ = 0;         // of their data
};

}  // namespace moxj::jpeg
