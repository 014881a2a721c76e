// The data of a restart interval can be decoded without those before it. So where MCU rows begin with intervals, no
// thread has to decode for all: a task decodes, transforms and paints some rows. Two groups of rows are under way:
// while one is painted, the rows of the one before go to the sink.
#include "jpeg/intervalpainter.h"

#include <algorithm>
#include <exception>

#include "base/arithmetic.h"
#include "jpeg/markers.h"

namespace moxj::jpeg {

int IntervalPainter::rowsOfTask(const Frame& frame, int restartInterval) {
  if (restartInterval == 0) return 0;
  if (restartInterval % frame.mcusWide == 0) return restartInterval / frame.mcusWide;
  return frame.mcusWide % restartInterval == 0 ? 1 : 0;
}

IntervalPainter::IntervalPainter(const Frame& frame, const View& view, const ScanHeader& scan, const Tables& tables,
                                 ByteSpan data, StripGroups& groups, Work& work)
    : frame_(frame),
      view_(view),
      restartInterval_(tables.restartInterval),
      rowsOfTask_(rowsOfTask(frame, restartInterval_)),
      data_(data),
      groups_(groups) {
  for (int worker = 0; worker < work.workers.count(); ++worker)
    tools_.emplace_back(frame, view, scan, tables, rowsOfTask_, work.budget);
  for (int i = 0; i < 2; ++i) underWay_.emplace_back(work.workers);
}

int IntervalPainter::run(ScanReader& reader, const Painted& painted) {
  Group* before = nullptr;
  bool good = true;
  int row = 0;
  for (std::size_t at = 0; good && row < view_.endRow && locate(row, underWay_[at]); at = 1 - at) {
    Group& group = underWay_[at];
    start(group);
    if (before) good = complete(*before, &group, painted);
    before = &group;
    row += group.rows;
  }
  if (before) good ? void(complete(*before, nullptr, painted)) : before->batch.finish();
  if (row_ < row) groups_.rewind(row_);
  if (row_ > 0) reader.continueAt(end_, row_);
  return row_;
}

bool IntervalPainter::locate(int row, Group& group) {
  group.row = row;
  group.parts.clear();
  const int end = std::min(row + groups_.rowsOfGroup() / rowsOfTask_ * rowsOfTask_, view_.endRow);
  for (; row < end; row += rowsOfTask_) {
    Part part{.row = row, .rows = std::min(rowsOfTask_, end - row), .begin = position_, .end = 0};
    if (!locate(part)) return false;
    group.parts.push_back(part);
  }
  group.rows = end - group.row;
  return true;
}

// Finds the end of the data. Each interval ends with the next restart marker, the last one of the scan with another
// marker.
bool IntervalPainter::locate(Part& part) {
  const int end = static_cast<int>(ceilDiv((part.row + part.rows) * frame_.mcusWide, restartInterval_));
  for (int interval = intervalsBefore(part.row); interval < end; ++interval) {
    part.end = findMarker(data_, position_);
    if (part.end == data_.size()) return false;
    const int marker = data_[part.end + 1];
    const bool last = part.row + part.rows == frame_.mcusHigh && interval + 1 == end;
    if (last ? marker::isRestart(marker) : marker != marker::rst0 + interval % 8) return false;
    position_ = part.end + 2;
  }
  return true;
}

int IntervalPainter::intervalsBefore(int row) const { return row * frame_.mcusWide / restartInterval_; }

void IntervalPainter::start(Group& group) {
  group.place = groups_.begin(group.rows);
  group.damaged = false;
  group.batch.start(group.parts.size(), [this, &group](int worker, std::size_t part) {
    paint(group, group.parts[part], tools_[static_cast<std::size_t>(worker)]);
  });
}

bool IntervalPainter::read(const Part& part, Tools& tools) const try {
  constexpr std::size_t kMarker = 2;
  ScanReader& reader = tools.reader;
  reader.begin(data_.subspan(part.begin, part.end + kMarker - part.begin), part.row, intervalsBefore(part.row));
  tools.blocks.begin(part.row);
  GroupSink sink{tools.blocks, {}};
  for (int i = 0; i < part.rows; ++i) reader.readRow(sink);
  return reader.end() == part.end - part.begin && reader.damage().empty();
} catch (const std::exception&) {
  return false;
}

// Damaged rows are painted, too: those below may wait for them.
void IntervalPainter::paint(Group& group, const Part& part, Tools& tools) {
  if (!read(part, tools)) group.damaged = true;
  for (int i = 0; i < part.rows; ++i)
    groups_.paint(group.place, part.row - group.row + i, [&](int component, int x, int y) {
      const int above = (part.row - group.row) * frame_.components[static_cast<std::size_t>(component)].vertical;
      return tools.blocks.block(component, x, y - above);
    });
}

// False if it has to be painted again.
bool IntervalPainter::complete(Group& group, Group* later, const Painted& painted) {
  group.batch.finish(later ? &later->batch : nullptr);
  if (group.damaged) return false;
  groups_.push(group.place);
  row_ = group.row + group.rows;
  end_ = group.parts.back().end;
  painted(row_, end_);
  return true;
}

}  // namespace moxj::jpeg
