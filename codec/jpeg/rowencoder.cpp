// One thread transforms and codes MCU row after MCU row. With several, each row of a group is transformed and coded by
// one of them, into a buffer of its own; then the buffers are joined in order.
//
// The code of a block depends on those before it in two ways. Its first bit need not be the first one of a byte, which
// is up to SegmentJoiner. And the DC coefficients of the first MCU of a row are coded as differences from those of the
// last MCU of the row above, which is not there yet: this one MCU is coded when the rows are joined.
#include "jpeg/rowencoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "jpeg/scanpart.h"
#include "jpeg/scanwriter.h"
#include "jpeg/segmentjoiner.h"

namespace moxj::jpeg {

namespace {

// The pixels of a group of rows, if the rows are not too long.
constexpr std::size_t kGroupBytes = std::size_t{3} << 20;
constexpr int kMinRowsOfThread = 2, kMaxRowsOfThread = 4;

int rowsOfGroup(const RowCoding& coding, const Work& work) {
  const Frame& frame = coding.frame;
  const int threads = std::min(work.workers.count(), frame.mcusHigh);
  if (threads == 1 || !isWorthThreads(frame)) return 1;
  const std::uint64_t rowBytes = coding.layout.bytes() / static_cast<std::uint64_t>(frame.mcusHigh) + 1;
  const auto rows = static_cast<int>(std::min<std::uint64_t>(kGroupBytes / rowBytes, std::uint64_t{1} << 16));
  const int group = std::clamp(rows, kMinRowsOfThread * threads, kMaxRowsOfThread * threads);
  // Two groups of pixels, and what the threads need, are to be a small part of the memory.
  const bool fits = static_cast<std::uint64_t>(group) * rowBytes < work.budget.left() / 8;
  return fits ? std::min(group, frame.mcusHigh) : 1;
}

template <class Sink>
std::unique_ptr<RowCoder<Sink>> coderFor(const RowCoding& coding, Budget& budget) {
  return rowCoder<Sink>(coding.fastMcu, coding.layout, coding.frame, coding.model, coding.quantisers, budget);
}

// ---- One thread ----------------------------------------------------------------------------------------------------

template <class Sink>
class SerialEncoder : public RowEncoder {
 public:
  SerialEncoder(const RowCoding& coding, const Sink& sink, Budget& budget)
      : rows_(coding.frame.mcuHeight()), sink_(sink), coder_(coderFor<Sink>(coding, budget)) {}

  void start(const Picture& band, int first, int row, int count) override {
    for (int i = 0; i < count; ++i) coder_->code(band, first + i * rows_, row + i, sink_);
  }
  void finish() override {}
  void end() override {}

 private:
  const int rows_;
  Sink sink_;
  std::unique_ptr<RowCoder<Sink>> coder_;
};

// Writes the blocks to the single scan of a file.
struct ScanSink {
  ScanWriter& writer;
  alignas(64) Mox16s blocks[kBlocksAtOnce][64];

  Mox16s* place(int index, const ScanGeometry::Block&, int, int) { return blocks[index]; }
  void beginMcu() { writer.beginMcu(); }
  void put(int index, const ScanGeometry::Block& block, bool real) {
    Mox16s* const coefficients = blocks[index];
    if (!real) {  // cheapest to code
      std::memset(coefficients, 0, sizeof blocks[index]);
      coefficients[0] = writer.lastDc(block.selector);
    }
    writer.put<ScanKind::sequential>(block.selector, coefficients);
  }
};

class ScanMember {
 protected:
  ScanMember(Writer& writer, const ScanHeader& scan, int restartInterval)
      : scan_(writer, ScanKind::sequential, scan, kAnnexKCodes, restartInterval) {}
  ScanWriter scan_;
};

class SerialScanEncoder final : ScanMember, public SerialEncoder<ScanSink> {
 public:
  SerialScanEncoder(const RowCoding& coding, Writer& writer, const ScanHeader& scan, int restartInterval,
                    Budget& budget)
      : ScanMember(writer, scan, restartInterval), SerialEncoder(coding, ScanSink{scan_, {}}, budget) {}
  void end() override { scan_.end(); }
};

// ---- Several threads -----------------------------------------------------------------------------------------------

// As many coders as there may be threads at work. What they need is allocated in advance.
template <class Sink>
class Coders {
 public:
  Coders(const RowCoding& coding, int count, Budget& budget) {
    for (int i = 0; i < count; ++i) free_.push_back(coderFor<Sink>(coding, budget));
  }

  void code(const Picture& band, int first, int row, Sink& sink) {
    const Taken coder(*this);
    coder->code(band, first, row, sink);
  }

 private:
  using Coder = std::unique_ptr<RowCoder<Sink>>;

  class Taken {
   public:
    explicit Taken(Coders& coders) : coders_(coders) {
      const std::lock_guard lock(coders_.mutex_);
      coder_ = std::move(coders_.free_.back());
      coders_.free_.pop_back();
    }
    ~Taken() {
      const std::lock_guard lock(coders_.mutex_);
      coders_.free_.push_back(std::move(coder_));
    }
    Taken(const Taken&) = delete;
    Taken& operator=(const Taken&) = delete;
    RowCoder<Sink>* operator->() const { return coder_.get(); }

   private:
    Coders& coders_;
    Coder coder_;
  };

  std::mutex mutex_;
  std::vector<Coder> free_;
};

// Where the blocks of rows go:
//   Sink& begin(int place, int row)   of a row that takes this place; then
//   void end(int place)               on the same thread
//   void join(int place, int row)     in order, on the thread that called the encoder
//   void endScan()
//
// While a group of rows is coded, the rows of the one before are joined: one group has the lower half of the places.
template <class Sinks>
class GroupEncoder final : public RowEncoder {
 public:
  template <class... Arguments>
  GroupEncoder(const RowCoding& coding, int rowsAtOnce, Work& work, Arguments&&... ofSinks)
      : mcuHeight_(coding.frame.mcuHeight()),
        rowsAtOnce_(rowsAtOnce),
        coders_(coding, std::min(rowsAtOnce, work.workers.count()), work.budget),
        sinks_(std::forward<Arguments>(ofSinks)...),
        groups_{Group(0, work.workers), Group(rowsAtOnce, work.workers)} {}

  int rowsAtOnce() const override { return rowsAtOnce_; }

  void start(const Picture& band, int first, int row, int count) override {
    Group& group = groups_[next_];
    group.band = band;
    group.first = first;
    group.row = row;
    group.failures.assign(static_cast<std::size_t>(count), nullptr);
    group.batch.start(group.failures.size(),
                      [this, &group](int, std::size_t index) { code(group, static_cast<int>(index)); });
    next_ = 1 - next_;
    finish(groups_[next_], &group.batch);
  }

  void finish() override {
    finish(groups_[next_]);
    finish(groups_[1 - next_]);
  }

  void end() override { sinks_.endScan(); }

 private:
  struct Group {
    Group(int place, Workers& workers) : firstPlace(place), batch(workers) {}
    const int firstPlace;
    Picture band;
    int first = 0, row = 0;
    std::vector<std::exception_ptr> failures;  // of each row
    Workers::Batch batch;
  };

  void code(Group& group, int i) {
    const int place = group.firstPlace + i, row = group.row + i;
    try {
      coders_.code(group.band, group.first + i * mcuHeight_, row, sinks_.begin(place, row));
      sinks_.end(place);
    } catch (...) {
      group.failures[static_cast<std::size_t>(i)] = std::current_exception();
    }
  }

  // The failure of the first row is that of one thread.
  void finish(Group& group, Workers::Batch* later = nullptr) {
    group.batch.finish(later);
    for (std::size_t i = 0; i < group.failures.size(); ++i) {
      if (group.failures[i]) std::rethrow_exception(group.failures[i]);
      sinks_.join(group.firstPlace + static_cast<int>(i), group.row + static_cast<int>(i));
    }
    group.failures.clear();
  }

  const int mcuHeight_, rowsAtOnce_;
  Coders<typename Sinks::Sink> coders_;
  Sinks sinks_;
  std::array<Group, 2> groups_;
  std::size_t next_ = 0;
};

class CoefficientSinks {
 public:
  using Sink = CoefficientSink;
  explicit CoefficientSinks(Coefficients& coefficients) : sink_{coefficients} {}

  Sink& begin(int, int) { return sink_; }
  void end(int) {}
  void join(int, int) {}
  void endScan() {}

 private:
  Sink sink_;
};

// The blocks of an MCU row: those of its first MCU, and the code of the others.
class PartSink {
 public:
  PartSink(const ScanHeader& scan, int restartInterval)
      : part_(scan, kAnnexKCodes), restartInterval_(restartInterval) {}

  void begin(std::int64_t mcu) {
    mcu_ = 0;
    lastDc_ = {};
    first_.clear();
    if (restartInterval_ != 0) mcusToRestart_ = restartInterval_ - static_cast<int>(mcu % restartInterval_);
  }

  Mox16s* place(int index, const ScanGeometry::Block&, int, int) { return blocks_[index]; }
  void beginMcu() {
    if (++mcu_ == 2) part_.begin(lastDc_);
    if (mcu_ > 1) {
      if (mcusToRestart_ == 0 && restartInterval_ != 0) restart();
      part_.beginMcu();
    }
    --mcusToRestart_;
  }
  void put(int index, const ScanGeometry::Block& block, bool real) {
    Mox16s* const coefficients = blocks_[index];
    if (mcu_ == 1) [[unlikely]]
      return keep(index, block, real);
    if (!real) {
      std::memset(coefficients, 0, sizeof blocks_[index]);
      coefficients[0] = part_.lastDc(block.selector);
    }
    part_.put(block.selector, coefficients);
  }
  void end() {
    if (mcu_ == 1) return;
    for (int selector = 0; selector < 4; ++selector)
      lastDc_[static_cast<std::size_t>(selector)] = part_.lastDc(selector);
    part_.endSegment();
  }

  // The first MCU is coded by `seam`. `lastDc` are the values before the row, and become those of its last blocks.
  void join(SegmentJoiner& joiner, Part& seam, LastDc& lastDc) const {
    seam.begin(lastDc);
    seam.beginMcu();
    for (const Kept& kept : first_) seam.put(kept.selector, kept.coefficients);
    seam.endSegment();
    seam.appendTo(joiner);
    if (mcu_ > 1) part_.appendTo(joiner);
    lastDc = lastDc_;
  }

 private:
  struct Kept {
    int selector;
    Mox16s coefficients[64];
  };

  // The first block of each component in an MCU row is real.
  void keep(int index, const ScanGeometry::Block& block, bool real) {
    Mox16s& last = lastDc_[static_cast<std::size_t>(block.selector)];
    Kept& kept = first_.emplace_back(Kept{block.selector, {}});
    if (real) {
      std::memcpy(kept.coefficients, blocks_[index], sizeof kept.coefficients);
      last = kept.coefficients[0];
    } else {
      kept.coefficients[0] = last;
    }
  }
  void restart() {
    part_.endSegment();
    mcusToRestart_ = restartInterval_;
  }

  Part part_;
  const int restartInterval_;
  int mcusToRestart_ = 0;
  int mcu_ = 0;  // the current one, from 1
  LastDc lastDc_{};
  std::vector<Kept> first_;
  alignas(64) Mox16s blocks_[kBlocksAtOnce][64];
};

class PartSinks {
 public:
  using Sink = PartSink;
  PartSinks(Writer& writer, const Frame& frame, const ScanHeader& scan, int restartInterval, int rowsAtOnce)
      : mcusWide_(frame.mcusWide), restartInterval_(restartInterval), joiner_(writer), seam_(scan, kAnnexKCodes) {
    for (int i = 0; i < 2 * rowsAtOnce; ++i) sinks_.emplace_back(scan, restartInterval);
  }

  Sink& begin(int place, int row) {
    PartSink& sink = sinks_[static_cast<std::size_t>(place)];
    sink.begin(firstMcu(row));
    return sink;
  }
  void end(int place) { sinks_[static_cast<std::size_t>(place)].end(); }
  void join(int place, int row) {
    if (restartInterval_ != 0 && row > 0 && firstMcu(row) % restartInterval_ == 0) {
      joiner_.restart();
      lastDc_ = {};
    }
    sinks_[static_cast<std::size_t>(place)].join(joiner_, seam_, lastDc_);
  }
  void endScan() { joiner_.end(); }

 private:
  std::int64_t firstMcu(int row) const { return std::int64_t{row} * mcusWide_; }

  const int mcusWide_, restartInterval_;
  SegmentJoiner joiner_;
  Part seam_;
  LastDc lastDc_{};
  std::deque<PartSink> sinks_;
};

}  // namespace

std::unique_ptr<RowEncoder> scanEncoder(const RowCoding& coding, Writer& writer, const ScanHeader& scan,
                                        int restartInterval, Work& work) {
  if (const int rows = rowsOfGroup(coding, work); rows > 1)
    return std::make_unique<GroupEncoder<PartSinks>>(coding, rows, work, writer, coding.frame, scan, restartInterval,
                                                     rows);
  return std::make_unique<SerialScanEncoder>(coding, writer, scan, restartInterval, work.budget);
}

std::unique_ptr<RowEncoder> coefficientEncoder(const RowCoding& coding, Coefficients& coefficients, Work& work) {
  if (const int rows = rowsOfGroup(coding, work); rows > 1)
    return std::make_unique<GroupEncoder<CoefficientSinks>>(coding, rows, work, coefficients);
  return std::make_unique<SerialEncoder<CoefficientSink>>(coding, CoefficientSink{coefficients}, work.budget);
}

}  // namespace moxj::jpeg
