// Decodes the entropy-coded data of a scan on a thread of a pool, some groups of MCU rows ahead of the thread that
// paints them.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <deque>
#include <exception>

#include "base/workers.h"
#include "jpeg/groupblocks.h"

namespace moxj::jpeg {

struct GroupOfRows {
  GroupBlocks blocks;
  int rows = 0;              // 0: there are no more
  std::size_t position = 0;  // in the data of the scan, after them
};

// Decodes the next MCU rows up to `end`, or fewer if there are no more.
template <class Reader>
void readGroup(Reader& reader, int row, int rows, GroupOfRows& group) {
  group.blocks.begin(row);
  GroupSink sink{group.blocks, {}};
  for (group.rows = 0; group.rows < rows && !reader.exhausted(); ++group.rows) reader.readRow(sink);
  group.position = reader.position();
}

template <class Reader>
class AheadReader {
 public:
  // MCU rows `row` to `end - 1` of the frame. `groups` is the memory for those that are under way.
  AheadReader(Reader& reader, int row, int end, int rowsOfGroup, std::deque<GroupOfRows>& groups, Workers& workers)
      : reader_(reader), row_(row), end_(end), rowsOfGroup_(rowsOfGroup), groups_(groups), batch_(workers) {}
  ~AheadReader() {
    stopped_ = true;
    release();
  }
  AheadReader(const AheadReader&) = delete;
  AheadReader& operator=(const AheadReader&) = delete;

  // False if no thread can begin: then the reader is as it was, and this object of no use.
  bool start() {
    return batch_.start(1, [this](int, std::size_t) { run(); });
  }

  // The next group, null after the last. Throws what the reader throws, after the groups before.
  const GroupOfRows* next() {
    const int wanted = released_ + 1;
    for (int there; (there = ready_) < wanted && there >= 0;) ready_.wait(there);
    GroupOfRows& group = groups_[static_cast<std::size_t>(wanted - 1) % groups_.size()];
    if (ready_ >= wanted || wanted <= last_) return &group;
    batch_.finish();
    if (failure_) std::rethrow_exception(failure_);
    return nullptr;
  }
  // The group is no longer in use.
  void release() {
    ++released_;
    released_.notify_all();
  }

 private:
  void run() {
    int count = 0;
    try {
      while (row_ < end_ && !reader_.exhausted() && awaitRoom(count)) {
        GroupOfRows& group = groups_[static_cast<std::size_t>(count) % groups_.size()];
        readGroup(reader_, row_, std::min(rowsOfGroup_, end_ - row_), group);
        row_ += group.rows;
        announce(++count);
      }
    } catch (...) {
      failure_ = std::current_exception();
    }
    last_ = count;
    announce(kEnded);
  }
  bool awaitRoom(int count) {
    const int full = static_cast<int>(groups_.size());
    for (int released; count - (released = released_) >= full && !stopped_;) released_.wait(released);
    return !stopped_;
  }
  void announce(int ready) {
    ready_ = ready;
    ready_.notify_all();
  }

  static constexpr int kEnded = -1;

  Reader& reader_;
  int row_;
  const int end_, rowsOfGroup_;
  std::deque<GroupOfRows>& groups_;
  std::atomic<int> ready_ = 0;  // groups
  std::atomic<int> last_ = 0;   // how many there were in the end
  std::atomic<int> released_ = 0;
  std::atomic<bool> stopped_ = false;
  std::exception_ptr failure_;
  Workers::Batch batch_;
};

}  // namespace moxj::jpeg
