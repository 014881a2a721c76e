// The JPEG decoder: walks through the segments of a file, decodes its scans and produces as much of the picture as
// possible.
//
// If a single scan has all components and coefficients, as in nearly every sequential file, each block is transformed
// and painted at once. Otherwise the coefficients of all scans are collected first.
#include <algorithm>
#include <array>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "jpeg/aheadreader.h"
#include "jpeg/arithmeticreader.h"
#include "jpeg/codedpicture.h"
#include "jpeg/coefficients.h"
#include "jpeg/colour.h"
#include "jpeg/deeppainter.h"
#include "jpeg/fastmcu.h"
#include "jpeg/intervalpainter.h"
#include "jpeg/jpeg.h"
#include "jpeg/locate.h"
#include "jpeg/lossless.h"
#include "jpeg/losslessreader.h"
#include "jpeg/metadata.h"
#include "jpeg/planepainter.h"
#include "jpeg/progression.h"
#include "jpeg/scanpart.h"
#include "jpeg/scanpipeline.h"
#include "jpeg/scanreader.h"
#include "jpeg/stripgroups.h"
#include "jpeg/strips.h"
#include "jpeg/syntax.h"
#include "jpeg/view.h"
#include "pictures/fit.h"
#include "pictures/region.h"

namespace moxj::jpeg {

namespace {

// The coefficients of a group of MCU rows.
constexpr std::size_t kGroupBytes = std::size_t{640} << 10;
constexpr std::size_t kMaxRowsOfGroup = 16;
constexpr int kGroupsUnderWay = 3;

// Of scans side by side.
constexpr int kPartsOfScan = 48;
constexpr std::size_t kMaxScansSideBySide = 64;

// Refuses, by name, the processes and forms that are not supported.
void requireSupported(const Frame& frame) {
  const std::string process = processAdjective(frame.process);
  if (!marker::isDct(frame.process) && frame.process != marker::sof3)
    fail(Kind::unsupported, process + " JPEG is not supported");
  const bool lossless = frame.lossless();
  const bool supported = lossless ? frame.precision >= 2 && frame.precision <= 16 : frame.hasDctPrecision();
  if (!supported)
    fail(Kind::unsupported, process + " JPEG of " + std::to_string(frame.precision) + " bits is not supported");
  if (frame.components.size() > 4)
    fail(Kind::unsupported, std::to_string(frame.components.size()) + " components are not supported");
}

struct CoefficientSink {
  Coefficients& coefficients;
  Mox16s* begin(int component, int x, int y) { return coefficients.block(component, x, y); }
  void end(int, int, int, const Mox16s*) {}
};

// Passes on the blocks of a view.
class ViewPainter {
 public:
  ViewPainter(Painter& painter, const Frame& frame, const View& view) : painter_(painter) {
    for (const FrameComponent& c : frame.components)
      blocks_.push_back({view.firstColumn * c.horizontal, view.firstRow * c.vertical, view.endColumn * c.horizontal,
                         view.endRow * c.vertical});
  }
  void put(int component, int x, int y, const Mox16s* coefficients) {
    const Blocks& blocks = blocks_[static_cast<std::size_t>(component)];
    if (x >= blocks.left && x < blocks.right && y >= blocks.top && y < blocks.bottom)
      painter_.put(component, x - blocks.left, y - blocks.top, coefficients);
  }

 private:
  struct Blocks {
    int left, top, right, bottom;
  };
  Painter& painter_;
  std::vector<Blocks> blocks_;  // for each component
};

struct PainterSink {
  ViewPainter painter;
  alignas(64) Mox16s block[64];
  Mox16s* begin(int, int, int) { return block; }
  void end(int component, int x, int y, const Mox16s* coefficients) { painter.put(component, x, y, coefficients); }
};

// How the scans of a file are decoded if their coefficients are collected.
enum class ScanOrder { sideBySide, inSequence };

class Decoder {
 public:
  // A decoder of coefficients needs no sink.
  Decoder(ByteSpan file, const DecodeOptions& options, RowSink* sink, Work& work, ScanOrder order)
      : file_(file), walker_(file), options_(options), work_(work), order_(order) {
    if (sink) sink_.emplace(*sink);
  }

  // Both return nothing if the scans have to be decoded in sequence. Then the sink has not been called.
  std::optional<Outcome> run() {
    if (!read()) return std::nullopt;
    if (lossless()) {
      describe();
      const ColourModel model = colourModelOf(*frame_, tables_);
      noteInks(model);
      pushSamples(view_.frame, model, *samples_, options_, *sink_, work_);
    } else {
      if (!painting()) paintCoefficients();
      groups_ ? groups_->finish() : painter_->finish();
    }
    freeMemory();
    sink_->end();
    noteTail();
    return std::move(outcome_);
  }

  // Coefficients instead of a picture.
  std::optional<CodedPicture> runCoded() {
    keep_ = true;
    if (!read()) return std::nullopt;
    if (lossless()) fail(Kind::unsupported, "a lossless JPEG has no coefficients");
    CodedPicture coded{{},    *frame_, {}, std::move(coefficients_), colourModelOf(*frame_, tables_), std::move(kept_),
                       tail()};
    for (std::size_t i = 0; i < frame_->components.size(); ++i) {
      if (!read_[i].read) read_[i].steps.fill(1);  // any table will do: all coefficients are 0
      coded.steps.push_back(read_[i].steps);
    }
    static_cast<Outcome&>(coded) = std::move(outcome_);
    return coded;
  }

 private:
  bool read() {
    try {
      readSegments();
      if (pipeline_ && !decodeScans()) return false;
    } catch (const Problem& problem) {
      if (pipeline_ && problem.kind != Kind::cancelled) return false;
      if (goodMcus_ == 0 || !liesInFile(problem.kind)) throw;
      damaged(problem.what());
    } catch (const std::bad_alloc&) {
      if (!pipeline_) throw;
      return false;
    }
    if (goodMcus_ == 0) fail(Kind::damaged, outcome_.complete ? "the file has no picture" : outcome_.warning);
    return true;
  }
  void readSegments();
  void keep(const MarkerSegment& segment) {
    work_.budget.charge(1, sizeof segment);
    kept_.push_back(segment);
  }
  void takeFrame(const MarkerSegment& segment);
  void chooseView();
  void readScan(const MarkerSegment& segment);
  void checkScan(const ScanHeader& scan);
  void readLossless(const ScanHeader& scan, std::size_t offset);
  void skipScan(const ScanHeader& scan, std::size_t offset);
  bool isNeeded(const ScanHeader& scan) const;
  int rowsOfMcuRow(const ScanHeader& scan) const;
  int rowsOf(const ScanHeader& scan, const EntropyReader& reader) const;
  void countBlocks(const ScanHeader& scan, const EntropyReader& reader);
  void finishScan(EntropyReader& reader, int rows, std::size_t offset);
  template <class Reader>
  void readScanOf(const ScanHeader& scan, std::size_t offset);
  template <class Reader>
  void readBlocks(Reader& reader, const ScanHeader& scan, std::size_t offset);
  bool startsPipeline(const ScanHeader& scan) const;
  template <class Reader>
  void queueScan(const ScanHeader& scan, std::size_t offset);
  bool decodeScans();
  void makeCoefficients();
  void collected(const ScanHeader& scan, int rows);
  template <class Reader>
  void collect(Reader& reader, const ScanHeader& scan, std::size_t offset);
  bool painting() const { return painter_ || groups_; }
  void makePainter();
  int rowsOfGroup() const;
  void painted(int row, std::size_t position);
  template <class Reader>
  void paintRows(Reader& reader, std::size_t offset);
  template <class Reader>
  void paintGroups(Reader& reader, const ScanHeader& scan, std::size_t offset);
  bool paintsIntervals() const;
  int paintIntervals(ScanReader& reader, const ScanHeader& scan, std::size_t offset);
  template <class Reader>
  void paintAhead(AheadReader<Reader>& ahead, int row, std::size_t offset);
  template <class Reader>
  void paintSteps(Reader& reader, int row, std::size_t offset, std::deque<GroupOfRows>& groups);
  void paintGroup(int place, const GroupOfRows& group, std::size_t index);
  void paintCoefficients();
  void paintCoefficientGroups(int end);
  void freeMemory();
  void describe() {
    if (view_.cuts()) sink_->wanted = view_.wanted;
    sink_->metadata = metadataOf(kept_, work_.budget, outcome_.notes);
  }
  void noteInks(ColourModel model) {
    const bool inks = model == ColourModel::cmyk || model == ColourModel::ycck;
    if (inks && !options_.inks && !options_.native) outcome_.notes.push_back(kInksByFormula);
  }
  // What follows the EOI marker. Unknown if the data that it ends are damaged.
  ByteSpan tail() const { return outcome_.complete ? bytesAfterEnd(file_, dataEnd_) : ByteSpan(); }
  void noteTail() {
    if (std::string note = noteAfterEnd(tail()); !note.empty()) outcome_.notes.push_back(std::move(note));
  }
  bool lossless() const { return frame_->lossless(); }
  bool progressive() const { return frame_->progressive(); }
  bool allRead() const;
  bool allFinished() const;
  void damaged(const std::string& what) { outcome_.incomplete(what); }

  ByteSpan file_;
  SegmentWalker walker_;
  const DecodeOptions options_;
  std::optional<MetadataSink> sink_;
  Work& work_;
  const ScanOrder order_;
  bool keep_ = false;
  std::vector<MarkerSegment> kept_;  // APPn and COM before the picture
  std::size_t dataEnd_ = 0;          // of the last scan

  Tables tables_;
  std::optional<Frame> frame_;
  View view_;  // what of it is painted
  struct ReadComponent {
    bool read = false;
    Steps steps{};    // as defined at its first scan
    int mcuRows = 0;  // MCU rows of the frame with decoded blocks
  };
  std::array<ReadComponent, 4> read_;
  Progression progression_;
  int scans_ = 0;
  std::uint64_t blocks_ = 0;  // of all scans of a progressive file
  bool hasEoi_ = false;
  std::unique_ptr<Coefficients> coefficients_;
  std::unique_ptr<ScanPipeline> pipeline_;  // of scans side by side
  // One of them, when there is something to paint: the latter for several threads.
  std::unique_ptr<Painter> painter_;
  std::unique_ptr<StripGroups> groups_;
  std::optional<Picture> samples_;  // of a lossless frame
  std::uint64_t sampleBytes_ = 0;   // charged for them
  std::int64_t goodMcus_ = 0;
  Outcome outcome_;
};

void Decoder::readSegments() {
  walker_.next();  // SOI
  while (const std::optional<MarkerSegment> segment = walker_.next()) {
    if (marker::isFrameHeader(segment->marker)) {
      takeFrame(*segment);
    } else if (segment->marker == marker::sos) {
      readScan(*segment);
      if (painting()) break;
    } else if (segment->marker == marker::eoi) {
      hasEoi_ = true;
      break;
    } else if (segment->marker == marker::dhp || segment->marker == marker::exp) {
      fail(Kind::unsupported, "hierarchical JPEG is not supported");
    } else if (segment->marker == marker::soi) {
      fail(Kind::damaged, "SOI marker inside the picture");
    } else {
      tables_.take(*segment);
      if (marker::isKept(segment->marker)) keep(*segment);
    }
  }
  if (!frame_) fail(Kind::damaged, "the file has no frame header");
  if (!allRead()) damaged("the file ends before all components are present");
  if (progressive() && !hasEoi_) {
    // An encoder may omit the lowest bits on purpose; without an EOI marker the scans for them may as well be lost.
    if (!allFinished()) damaged("the file ends before its last scan");
    if (outcome_.complete) outcome_.notes.push_back("the file has no EOI marker");
  }
}

void Decoder::takeFrame(const MarkerSegment& segment) {
  if (frame_) fail(Kind::damaged, "the file has more than one frame header");
  frame_ = parseFrame(segment);
  requireSupported(*frame_);
  if (frame_->height == 0) {
    // The line count follows the first scan, in a DNL segment (T.81 B.2.5).
    SegmentWalker ahead(file_);
    ahead.seek(segment.end);
    std::optional<MarkerSegment> next = ahead.next();
    while (next && next->marker != marker::sos && next->marker != marker::eoi) next = ahead.next();
    if (next && next->marker == marker::sos) {
      ahead.seek(findScanEnd(file_, next->end));
      next = ahead.next();
    }
    if (!next || next->marker != marker::dnl) fail(Kind::damaged, "the file does not give the height of the picture");
    frame_->height = parseLineCount(*next);
  }
  work_.limits.check(frame_->width, frame_->height);
  // The sampling factors of a lone component have no effect.
  if (frame_->components.size() == 1) frame_->components[0].horizontal = frame_->components[0].vertical = 1;
  frame_->layOut();
  if (frame_->components.size() == 2 && !options_.components && !keep_)
    outcome_.notes.push_back("two components of unknown meaning, the first is used as grey");
  chooseView();
}

void Decoder::chooseView() {
  if (options_.reduce > 0 && lossless()) failOption("reduce", "is not for lossless JPEG files");
  if (options_.reduce > 0 && options_.fastMcu) failOption("reduce", "and fastMcu cannot be combined");
  Region region{0, 0, frame_->width, frame_->height};
  if (options_.region.given()) region = clipped(options_.region, frame_->width, frame_->height, outcome_.notes);
  view_ = View(*frame_, region, options_.reduce);
}

void Decoder::readScan(const MarkerSegment& segment) {
  if (!frame_) fail(Kind::damaged, "a scan comes before the frame header");
  if (++scans_ > work_.limits.maxScans) {
    fail(Kind::limit, "more than the limit of " + std::to_string(work_.limits.maxScans) + " scans", Setting::maxScans);
  }
  const ScanHeader scan = parseScan(segment, *frame_);
  checkScan(scan);
  if (lossless()) return readLossless(scan, segment.end);
  if (!isNeeded(scan)) return skipScan(scan, segment.end);
  frame_->arithmetic() ? readScanOf<ArithmeticReader>(scan, segment.end) : readScanOf<ScanReader>(scan, segment.end);
}

template <class Reader>
void Decoder::readScanOf(const ScanHeader& scan, std::size_t offset) {
  if (!pipeline_ && startsPipeline(scan))
    pipeline_ = std::make_unique<ScanPipeline>(ceilDiv(view_.endRow, kPartsOfScan));
  if (pipeline_) return queueScan<Reader>(scan, offset);
  Reader reader(*frame_, scan, tables_, file_.subspan(offset));
  readBlocks(reader, scan, offset);
}

template <class Reader>
void Decoder::readBlocks(Reader& reader, const ScanHeader& scan, std::size_t offset) {
  countBlocks(scan, reader);
  for (const ScanHeader::Selector& selector : scan.components) read_[selector.component].read = true;

  if (!progressive() && !keep_ && scan.components.size() == frame_->components.size()) {
    makePainter();
    groups_ ? paintGroups(reader, scan, offset) : paintRows(reader, offset);
  } else {
    collect(reader, scan, offset);
  }
  finishScan(reader, rowsOf(scan, reader), offset);
}

// The MCU rows before this one, whose data end at this position of the file.
void Decoder::painted(int row, std::size_t position) {
  if (options_.passed) options_.passed(file_.data() + position);
  reportProgress(work_.progress, row, view_.endRow);
}

template <class Reader>
void Decoder::paintRows(Reader& reader, std::size_t offset) {
  PainterSink sink{ViewPainter(*painter_, *frame_, view_), {}};
  for (int row = 0; row < view_.endRow && !reader.exhausted(); ++row) {
    reader.readRow(sink);
    if (row >= view_.firstRow) painter_->finishRow();
    painted(row + 1, offset + reader.position());
  }
}

template <class Reader>
void Decoder::paintGroups(Reader& reader, const ScanHeader& scan, std::size_t offset) {
  NoSink nothing;
  int row = 0;
  while (row < view_.firstRow && !reader.exhausted()) {
    reader.readRow(nothing);
    painted(++row, offset + reader.position());
  }
  row = view_.firstRow;
  if constexpr (std::is_same_v<Reader, ScanReader>) {
    if (paintsIntervals()) row = paintIntervals(reader, scan, offset);
    if (row == view_.endRow) return;
  }
  std::deque<GroupOfRows> groups;
  for (int i = 0; i < kGroupsUnderWay; ++i)
    groups.push_back({GroupBlocks(*frame_, view_, groups_->rowsOfGroup(), work_.budget)});
  AheadReader ahead(reader, row, view_.endRow, groups_->rowsOfGroup(), groups, work_.workers);
  ahead.start() ? paintAhead(ahead, row, offset) : paintSteps(reader, row, offset, groups);
}

// If a group of rows has several tasks, which need no more memory than one thread that decodes for all.
bool Decoder::paintsIntervals() const {
  const int rows = IntervalPainter::rowsOfTask(*frame_, tables_.restartInterval), group = groups_->rowsOfGroup();
  const bool fits = rows > 0 && group / rows > 1 && rows * work_.workers.count() <= group * kGroupsUnderWay;
  return fits && view_.firstRow == 0 && (rows == 1 || view_.endRow == frame_->mcusHigh);
}

// Returns the first row that has not been painted.
int Decoder::paintIntervals(ScanReader& reader, const ScanHeader& scan, std::size_t offset) {
  IntervalPainter painter(*frame_, view_, scan, tables_, file_.subspan(offset), *groups_, work_);
  return painter.run(reader, [&](int row, std::size_t position) { painted(row, offset + position); });
}

void Decoder::paintGroup(int place, const GroupOfRows& group, std::size_t index) {
  groups_->paint(place, static_cast<int>(index),
                 [&](int component, int x, int y) { return group.blocks.block(component, x, y); });
}

template <class Reader>
void Decoder::paintAhead(AheadReader<Reader>& ahead, int row, std::size_t offset) {
  while (const GroupOfRows* const group = ahead.next()) {
    const int place = groups_->begin(group->rows);
    work_.workers.forEach(static_cast<std::size_t>(group->rows),
                          [&](int, std::size_t index) { paintGroup(place, *group, index); });
    row += group->rows;
    const std::size_t end = offset + group->position;
    ahead.release();
    groups_->push(place);
    painted(row, end);
  }
}

// The threads of an executor come for one list of tasks after the other: while they paint a group, one of them reads
// the next.
template <class Reader>
void Decoder::paintSteps(Reader& reader, int row, std::size_t offset, std::deque<GroupOfRows>& groups) {
  const auto rowsFrom = [&](int first) { return std::min(groups_->rowsOfGroup(), view_.endRow - first); };
  readGroup(reader, row, rowsFrom(row), groups[0]);
  for (std::size_t at = 0; groups[at].rows > 0; at = 1 - at) {
    const GroupOfRows& group = groups[at];
    row += group.rows;
    const int place = groups_->begin(group.rows);
    std::exception_ptr failure;
    work_.workers.forEach(static_cast<std::size_t>(group.rows) + 1, [&](int, std::size_t index) {
      if (index > 0) return paintGroup(place, group, index - 1);
      try {
        readGroup(reader, row, rowsFrom(row), groups[1 - at]);
      } catch (...) {
        failure = std::current_exception();
      }
    });
    groups_->push(place);
    if (failure) std::rethrow_exception(failure);
    painted(row, offset + group.position);
  }
}

// Whether a scan has coefficients that a reduced picture is made of. (A scan of some AC coefficients can only be passed
// over if all are: those that refine them depend on them.)
bool Decoder::isNeeded(const ScanHeader& scan) const {
  return !progressive() || keep_ || scan.spectralStart == 0 || !view_.needsDcOnly(scan.components[0].component);
}

void Decoder::skipScan(const ScanHeader& scan, std::size_t offset) {
  for (const ScanHeader::Selector& selector : scan.components) read_[selector.component].read = true;
  dataEnd_ = findScanEnd(file_, offset);
  walker_.seek(dataEnd_);
}

// The MCU rows of a scan that are in one of the frame.
int Decoder::rowsOfMcuRow(const ScanHeader& scan) const {
  return scan.components.size() > 1 ? 1 : frame_->components[scan.components[0].component].vertical;
}

// The MCU rows of a scan that are decoded: nothing needs those below the view.
int Decoder::rowsOf(const ScanHeader& scan, const EntropyReader& reader) const {
  return std::min(view_.endRow * rowsOfMcuRow(scan), reader.geometry().mcusHigh);
}

// A few bytes make a scan that visits every block, or in arithmetic coding every coefficient.
void Decoder::countBlocks(const ScanHeader& scan, const EntropyReader& reader) {
  if (!progressive()) return;
  constexpr int kCoefficientsOfBlock = 8;  // that take as long as a block without any
  const ScanGeometry& geometry = reader.geometry();
  const auto blocksOfRow = static_cast<std::uint64_t>(geometry.mcusWide) * geometry.blocks.size();
  const int weight =
      frame_->arithmetic() ? ceilDiv(scan.spectralEnd - scan.spectralStart + 1, kCoefficientsOfBlock) : 1;
  blocks_ += blocksOfRow * static_cast<std::uint64_t>(rowsOf(scan, reader)) * static_cast<std::uint64_t>(weight);
  const std::uint64_t limit = work_.limits.maxBlocks();
  if (blocks_ > limit) {
    fail(Kind::limit,
         std::to_string(scans_) + " scans have more than the limit of " + std::to_string(limit) + " blocks",
         Setting::maxPixels);
  }
}

// `rows` of the scan that begins at `offset` have been decoded, or fewer if there are no more.
void Decoder::finishScan(EntropyReader& reader, int rows, std::size_t offset) {
  const bool stopped = rows < reader.geometry().mcusHigh && !reader.exhausted();
  constexpr std::size_t kMarker = 2;  // the last bytes that were read
  const std::size_t end =
      offset +
      (stopped ? findScanEnd(file_.subspan(offset), std::max(reader.position(), kMarker) - kMarker) : reader.end());
  goodMcus_ += reader.goodMcus();
  walker_.seek(end);
  dataEnd_ = end;
  if (!reader.damage().empty()) {
    damaged(reader.damage());
  } else if (end == file_.size() && !progressive() && allRead()) {
    outcome_.notes.push_back("the file has no EOI marker");
  }
}

void Decoder::readLossless(const ScanHeader& scan, std::size_t offset) {
  LosslessReader reader(*frame_, scan, tables_, file_.subspan(offset), work_.budget);
  for (const ScanHeader::Selector& selector : scan.components) read_[selector.component].read = true;
  if (!samples_) {
    const std::uint64_t before = work_.budget.used();
    samples_ = makeSamples(view_.frame, work_.budget);
    sampleBytes_ = work_.budget.used() - before;
  }
  const int rows = rowsOf(scan, reader);
  for (int row = 0; row < rows && !reader.exhausted(); ++row) {
    reader.readRow(*samples_, view_.firstColumn, view_.firstRow);
    if (row % 64 == 0) reportProgress(work_.progress, offset, file_.size());
  }
  finishScan(reader, rows, offset);
}

// Throws Problem if the scan cannot be decoded; reports a scan that can be decoded but violates the standard.
void Decoder::checkScan(const ScanHeader& scan) {
  const char* const fault = progressive() ? Progression::fault(scan) : nullptr;
  if (fault) fail(Kind::damaged, std::string("scan ") + std::to_string(scans_) + " has " + fault);
  for (const ScanHeader::Selector& selector : scan.components) {
    const int table = frame_->components[selector.component].quantTable;
    ReadComponent& component = read_[selector.component];
    if (component.read && progressive()) continue;
    if (component.read) fail(Kind::damaged, "a component is coded in more than one scan");
    if (lossless()) continue;
    if (!tables_.steps[table]) fail(Kind::damaged, "quantisation table " + std::to_string(table) + " is not defined");
    component.steps = *tables_.steps[table];
  }
  if (progressive() && !progression_.take(scan)) damaged("scan " + std::to_string(scans_) + " is out of sequence");
}

void Decoder::makeCoefficients() {
  if (coefficients_) return;
  Frame upTo = *frame_;
  upTo.height = std::min(upTo.height, view_.endRow * upTo.mcuHeight());
  upTo.layOut();
  coefficients_ = std::make_unique<Coefficients>(upTo, work_.budget);
}

// The first `rows` MCU rows of a scan have been decoded.
void Decoder::collected(const ScanHeader& scan, int rows) {
  for (const ScanHeader::Selector& selector : scan.components) {
    int& mcuRows = read_[selector.component].mcuRows;
    mcuRows = std::max(mcuRows, ceilDiv(rows, rowsOfMcuRow(scan)));
  }
}

template <class Reader>
void Decoder::collect(Reader& reader, const ScanHeader& scan, std::size_t offset) {
  makeCoefficients();
  CoefficientSink sink{*coefficients_};
  const int rows = rowsOf(scan, reader);
  for (int row = 0; row < rows && !reader.exhausted(); ++row) {
    reader.readRow(sink);
    collected(scan, row + 1);
    reportProgress(work_.progress, offset, file_.size());
  }
}

bool Decoder::startsPipeline(const ScanHeader& scan) const {
  const bool severalScans = progressive() || scan.components.size() < frame_->components.size();
  return order_ == ScanOrder::sideBySide && severalScans && isWorthThreads(*frame_);
}

// An undamaged scan ends at the next marker that is no restart marker.
template <class Reader>
void Decoder::queueScan(const ScanHeader& scan, std::size_t offset) {
  if (pipeline_->size() == kMaxScansSideBySide) fail(Kind::limit, "too many scans to be decoded side by side");
  makeCoefficients();
  const auto reader = std::make_shared<Reader>(*frame_, scan, tables_, file_.subspan(offset));
  countBlocks(scan, *reader);
  skipScan(scan, offset);
  pipeline_->add({.header = scan,
                  .reader = reader,
                  .readRow = [this, own = reader.get()] { own->readRow(CoefficientSink{*coefficients_}); },
                  .rows = rowsOf(scan, *reader),
                  .rowsOfMcuRow = rowsOfMcuRow(scan),
                  .offset = offset,
                  .end = dataEnd_});
}

// Decodes what is queued. False if there is any damage: the report and what is decoded after it depend on the sequence.
bool Decoder::decodeScans() {
  if (!hasEoi_ || !outcome_.complete) return false;
  const auto report = [&](std::size_t parts, std::size_t of) { reportProgress(work_.progress, parts, of); };
  if (!pipeline_->run(work_.workers, report)) return false;
  const std::size_t end = dataEnd_;
  for (std::size_t i = 0; i < pipeline_->size(); ++i) {
    ScanPipeline::Scan& scan = (*pipeline_)[i];
    finishScan(*scan.reader, scan.rows, scan.offset);
    if (!outcome_.complete || dataEnd_ != scan.end) return false;
    collected(scan.header, scan.rows);
  }
  dataEnd_ = end;
  pipeline_.reset();
  return true;
}

// MCU rows that are painted side by side; 0 if one thread does all the work.
int Decoder::rowsOfGroup() const {
  const Frame& frame = view_.frame;
  const int threads = std::min(work_.workers.count(), frame.mcusHigh);
  if (threads == 1 || !isWorthThreads(frame)) return 0;
  const std::size_t rowBytes = GroupBlocks::bytesOfRow(*frame_, view_);
  const auto rows = static_cast<int>(std::clamp<std::size_t>(kGroupBytes / rowBytes, 1, kMaxRowsOfGroup));
  const int group = std::min(std::max(rows, threads / 2), frame.mcusHigh);
  // What is under way is to be a small part of the memory.
  return static_cast<std::uint64_t>(group) * rowBytes * kGroupsUnderWay < work_.budget.left() / 8 ? group : 0;
}

void Decoder::makePainter() {
  describe();
  std::vector<Steps> steps;
  for (std::size_t i = 0; i < frame_->components.size(); ++i) steps.push_back(read_[i].steps);
  const ColourModel model = colourModelOf(*frame_, tables_);
  noteInks(model);
  if (frame_->precision > 8) {
    painter_ = std::make_unique<DeepPainter>(view_, model, steps, options_, *sink_, work_);
    return;
  }
  if (options_.native && PlanePainter::canPaint(view_.frame, model)) {
    painter_ = std::make_unique<PlanePainter>(view_, model, steps, *sink_, work_.budget);
    return;
  }
  DecodeOptions options = options_;
  options.inks = model == ColourModel::unknown ? options_.components : options_.inks || options_.native;
  const bool fast = options.fastMcu && (model == ColourModel::ycbcr || options.inks);
  if (fast && mcuFunctionsFor(*frame_, model)) {
    painter_ = std::make_unique<McuPainter>(view_.frame, model, std::move(steps), *sink_, work_.budget);
  } else if (const int rows = rowsOfGroup(); rows > 0) {
    groups_ = std::make_unique<StripGroups>(*frame_, view_, model, steps, options, *sink_, rows, work_);
  } else {
    painter_ = std::make_unique<Strips>(view_, model, steps, options, *sink_, work_.budget);
  }
}

bool Decoder::allRead() const {
  for (std::size_t i = 0; i < frame_->components.size(); ++i) {
    if (!read_[i].read) return false;
  }
  return true;
}

bool Decoder::allFinished() const {
  for (int i = 0; i < static_cast<int>(frame_->components.size()); ++i) {
    if (!progression_.finished(i)) return false;
  }
  return true;
}

// A sink that has kept the rows may need the memory in its end(). It may also have kept the samples.
void Decoder::freeMemory() {
  painter_.reset();
  groups_.reset();
  coefficients_.reset();
  if (samples_ && samples_->owner.use_count() == 1) work_.budget.release(sampleBytes_);
  samples_.reset();
}

void Decoder::paintCoefficients() {
  makePainter();
  int mcuRows = 0;
  for (const ReadComponent& component : read_) mcuRows = std::max(mcuRows, component.mcuRows);
  const int end = std::min(mcuRows, view_.endRow);
  if (groups_) return paintCoefficientGroups(end);
  ViewPainter painter(*painter_, *frame_, view_);
  for (int row = view_.firstRow; row < end; ++row) {
    for (int i = 0; i < static_cast<int>(frame_->components.size()); ++i) {
      const FrameComponent& c = frame_->components[i];
      for (int y = row * c.vertical; y < (row + 1) * c.vertical; ++y) {
        for (int x = view_.firstColumn * c.horizontal; x < view_.endColumn * c.horizontal; ++x)
          painter.put(i, x, y, coefficients_->block(i, x, y));
      }
    }
    painter_->finishRow();
    reportProgress(work_.progress, row + 1, view_.endRow);
  }
}

// While a group is painted, the rows of the one before go to the sink.
void Decoder::paintCoefficientGroups(int end) {
  std::array<Workers::Batch, 2> batches{Workers::Batch(work_.workers), Workers::Batch(work_.workers)};
  const auto complete = [&](int place, int row, Workers::Batch* later) {
    batches[static_cast<std::size_t>(place)].finish(later);
    groups_->push(place);
    reportProgress(work_.progress, row, view_.endRow);
  };
  int before = -1;  // the place of that group
  for (int row = view_.firstRow; row < end;) {
    const int count = std::min(groups_->rowsOfGroup(), end - row);
    const int place = groups_->begin(count);
    Workers::Batch& batch = batches[static_cast<std::size_t>(place)];
    batch.start(static_cast<std::size_t>(count), [this, place, row](int, std::size_t index) {
      groups_->paint(place, static_cast<int>(index), [&](int component, int x, int y) {
        const FrameComponent& c = frame_->components[static_cast<std::size_t>(component)];
        return coefficients_->block(component, view_.firstColumn * c.horizontal + x, row * c.vertical + y);
      });
    });
    if (before >= 0) complete(before, row, &batch);
    before = place;
    row += count;
  }
  if (before >= 0) complete(before, end, nullptr);
}

// Only undamaged scans are decoded side by side. Otherwise a second decoder starts again.
template <class Decode>
auto decodeInEitherOrder(Work& work, const Decode& decode) {
  if (work.workers.count() > 1) {
    const std::uint64_t used = work.budget.used();
    if (auto result = decode(ScanOrder::sideBySide)) return std::move(*result);
    work.budget.restore(used);
  }
  return std::move(*decode(ScanOrder::inSequence));
}

}  // namespace

CodedPicture readCoefficients(ByteSpan file, int picture, Work& work) {
  const LocatedPicture located = locatePicture(file, picture);
  try {
    CodedPicture coded = decodeInEitherOrder(
        work, [&](ScanOrder order) { return Decoder(located.bytes, {}, nullptr, work, order).runCoded(); });
    if (!located.note.empty()) coded.notes.insert(coded.notes.begin(), located.note);
    return coded;
  } catch (const std::bad_alloc&) {
    fail(Kind::noMemory, "not enough memory for the picture");
  }
}

Outcome decode(ByteSpan file, const DecodeOptions& options, RowSink& sink, Work& work) {
  const LocatedPicture located = locatePicture(file, options.picture);
  try {
    Outcome outcome = decodeInEitherOrder(
        work, [&](ScanOrder order) { return Decoder(located.bytes, options, &sink, work, order).run(); });
    if (!located.note.empty()) outcome.notes.insert(outcome.notes.begin(), located.note);
    return outcome;
  } catch (const std::bad_alloc&) {
    fail(Kind::noMemory, "not enough memory for the picture");
  }
}

}  // namespace moxj::jpeg
