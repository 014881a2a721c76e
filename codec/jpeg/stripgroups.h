// Converts coefficients to pixels like Strips, but by several threads: groups of MCU rows, each row a task.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <vector>

#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/tables.h"
#include "jpeg/upsampler.h"
#include "jpeg/view.h"
#include "moxj.h"

namespace moxj::jpeg {

// Two groups may be under way: each has one of two places, in turn. A task transforms the blocks of its row and, when
// the row above has been transformed, paints the pixels for which both are needed.
class StripGroups {
 public:
  // `whole` is the frame of the view, `steps` are the quantiser steps of each component.
  StripGroups(const Frame& whole, const View& view, ColourModel model, std::span<const Steps> steps,
              const DecodeOptions& options, RowSink& sink, int rowsOfGroup, Work& work);

  int rowsOfGroup() const { return rowsOfGroup_; }

  // Groups follow each other. Returns the place of the next one, which has `count` rows.
  int begin(int count);
  // Row `index` of a group. The rows of a group are begun in order, by any threads. `block(component, x, y)` has the
  // coefficients; x and y count the blocks of the view, y from the top of the group.
  template <class BlockAt>
  void paint(int place, int index, const BlockAt& block) {
    const Group& group = groups_[static_cast<std::size_t>(place)];
    const int row = group.row + index;
    for (int i = 0; i < static_cast<int>(strips_.size()); ++i) {
      const Strip& strip = strips_[static_cast<std::size_t>(i)];
      const BlockSize size = strip.inverse.size();
      for (int y = 0; y < strip.blocksHigh; ++y) {
        std::uint8_t* to = samplesOf(group, strip, row) + strip.step * y * size.height;
        for (int x = 0; x < strip.blocksWide; ++x, to += size.width)
          strip.inverse(block(i, x, index * strip.blocksHigh + y), to, strip.step);
      }
    }
    transformed(row);
    if (!straight_) paintRows(group, row);
  }
  // The groups from this row on, which have not been pushed, are begun again.
  void rewind(int row);
  // The rows of a group that is complete go to the sink.
  void push(int place);
  // Ends the picture. Missing MCU rows are painted as if all their blocks were empty.
  void finish();

 private:
  struct Strip {
    explicit Strip(const BlockInverse& toSamples) : inverse(toSamples) {}

    BlockInverse inverse;
    int blocksWide = 0, blocksHigh = 0;  // of an MCU row
    int height = 0;                      // of the component, in samples
    int rows = 0;                        // of an MCU row
    bool around = false;                 // the rows above and below take part in a row of pixels
    std::ptrdiff_t step = 0;
    std::vector<std::uint8_t> samples;  // of MCU row r at place r % rowsKept_
  };
  struct Group {
    int row = 0, count = 0;
    int top = 0;  // first row of pixels
    Picture band;
  };
  // What a thread needs for itself.
  struct Tools {
    std::vector<Upsampler> upsamplers;
    RowPainter painter;
  };
  class Taken;

  void allocate(Budget& budget);
  int endOf(int row) const;  // the rows of pixels that are painted when this MCU row is transformed
  std::uint8_t* samplesOf(const Group& group, const Strip& strip, int row) const;
  const std::uint8_t* rowOf(const Strip& strip, int y) const;
  void transformed(int row);
  void awaitTransformed(int row);
  void paintRows(const Group& group, int row);

  const Frame frame_;
  RowSink& sink_;
  const int rowsOfGroup_, rowsKept_;
  const bool straight_;  // the samples are the pixels
  int rowsLate_ = 0;     // rows that are painted with the next MCU row
  std::vector<Strip> strips_;
  std::array<Group, 2> groups_;
  int next_ = 0;                               // the place of the next group
  int mcuRow_ = 0;                             // of the next group
  std::vector<std::atomic<int>> transformed_;  // the row whose samples are complete, at its place
  std::mutex mutex_;
  std::deque<Tools> tools_;
  std::vector<Tools*> free_;  // guarded by mutex_
};

}  // namespace moxj::jpeg
