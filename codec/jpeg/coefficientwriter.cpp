// Codes each scan from the stored coefficients: statistics, tables, data.
#include "jpeg/coefficientwriter.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <exception>
#include <functional>
#include <numeric>
#include <thread>

#include "base/input.h"
#include "base/problem.h"
#include "jpeg/deepscan.h"
#include "jpeg/scanpart.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/scanwriter.h"
#include "jpeg/segmentjoiner.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxWord = 65535;

// Counts the MCU rows of all passes over the coefficients, and reports them on the thread that made it. A third pass
// over a scan, which is rarely needed, is not in the total.
class Rows {
 public:
  Rows(const Progress& progress, std::uint64_t total) : progress_(progress), total_(total) {}
  void done(int count = 1) {
    const std::uint64_t before = done_;
    done_ += static_cast<std::uint64_t>(count);
    if (std::this_thread::get_id() == caller_) reportProgress(progress_, std::min(before, total_), total_);
  }

 private:
  const Progress& progress_;
  const std::uint64_t total_;
  const std::thread::id caller_ = std::this_thread::get_id();
  std::atomic<std::uint64_t> done_ = 0;
};

// Passes the blocks of a scan to a ScanWriter or a statistics object.
template <class Sink>
void walk(const Frame& frame, const ScanHeader& scan, const Coefficients& coefficients, Sink& sink, Rows& rows) {
  const ScanGeometry geometry(frame, scan);
  forKind(kindOf(frame, scan), [&](auto kind) {
    for (int row = 0; row < geometry.mcusHigh; ++row) {
      rows.done();
      for (int mcu = 0; mcu < geometry.mcusWide; ++mcu) {
        sink.beginMcu();
        for (const ScanGeometry::Block& block : geometry.blocks) {
          sink.template put<kind()>(block.selector, coefficients.block(block.component, mcu * block.across + block.dx,
                                                                       row * block.down + block.dy));
        }
      }
    }
  });
  sink.end();
}

Codes optimalCodes(const Frame& frame, const ScanHeader& scan, const Coefficients& coefficients, int restart,
                   Rows& rows) {
  if (isDeep(frame, kindOf(frame, scan))) {
    DeepCounts counts;
    DeepScan counted(counts, scan, restart);
    walk(frame, scan, coefficients, counted, rows);
    return counts.codes();
  }
  ScanStatistics statistics(kindOf(frame, scan), scan, restart);
  walk(frame, scan, coefficients, statistics, rows);
  if (!statistics.incomplete()) return statistics.codes();
  BandStatistics band(scan, restart);
  walk(frame, scan, coefficients, band, rows);
  return band.codes();
}

bool needsStatistics(const Frame& frame, const ScanHeader& scan, const Coding& coding) {
  return coding.optimal || frame.precision > 8 || isProgressive(kindOf(frame, scan));
}

std::uint64_t rowsOf(const Frame& frame, const Coding& coding) {
  std::uint64_t rows = 0;
  for (const ScanHeader& scan : coding.scans)
    rows +=
        static_cast<std::uint64_t>(ScanGeometry(frame, scan).mcusHigh) * (needsStatistics(frame, scan, coding) ? 2 : 1);
  return rows;
}

// Writes the Huffman tables of scans; with `once`, each table only the first time.
class TableWriter {
 public:
  explicit TableWriter(Writer& writer) : writer_(writer) {}

  void write(ScanKind kind, const ScanHeader& scan, const Codes& codes, bool once) {
    bool done[2][2] = {};
    for (const ScanHeader::Selector& selector : scan.components) {
      for (const TableClass tableClass : {kDc, kAc}) {
        const int index = tableClass == kDc ? selector.dcTable : selector.acTable;
        if (!usesTable(kind, tableClass) || done[tableClass][index]) continue;
        done[tableClass][index] = true;
        if (once && written_[tableClass][index]) continue;
        written_[tableClass][index] = true;
        writer_.code(tableClass, index, codes[tableClass][index]);
      }
    }
  }

 private:
  Writer& writer_;
  bool written_[2][2] = {};
};

}  // namespace

int RestartInterval::of(int mcusWide) const {
  const std::int64_t mcus = std::int64_t{count} * (inRows ? mcusWide : 1);
  if (mcus > kMaxWord)
    fail(Kind::limit, "a restart interval of " + std::to_string(mcus) + " MCUs: JPEG allows at most 65535");
  return static_cast<int>(mcus);
}

namespace {

struct Scans {
  const Frame& frame;
  const Coefficients& coefficients;
  const Coding& coding;
  Rows& rows;

  int restartOf(const ScanHeader& scan) const { return coding.restart.of(ScanGeometry(frame, scan).mcusWide); }
  Codes codesOf(const ScanHeader& scan) const {
    if (!needsStatistics(frame, scan, coding)) return kAnnexKCodes;
    return optimalCodes(frame, scan, coefficients, restartOf(scan), rows);
  }
  void writeData(Writer& writer, const ScanHeader& scan, const Codes& codes) const {
    const ScanKind kind = kindOf(frame, scan);
    if (isDeep(frame, kind)) {
      DeepBits bits(writer, codes);
      DeepScan data(bits, scan, restartOf(scan));
      walk(frame, scan, coefficients, data, rows);
    } else {
      ScanWriter data(writer, kind, scan, codes, restartOf(scan));
      walk(frame, scan, coefficients, data, rows);
    }
  }
};

// Tables and headers of scans, in order.
class HeaderWriter {
 public:
  HeaderWriter(Writer& writer, const Scans& scans) : writer_(writer), scans_(scans), tables_(writer) {}

  void write(const ScanHeader& scan, const Codes& codes) {
    const bool optimal = needsStatistics(scans_.frame, scan, scans_.coding);
    tables_.write(kindOf(scans_.frame, scan), scan, codes, !optimal);
    const int restart = scans_.restartOf(scan);
    if (restart != restart_) writer_.restartInterval(restart);
    restart_ = restart;
    writer_.scan(scans_.frame, scan);
  }

 private:
  Writer& writer_;
  const Scans& scans_;
  TableWriter tables_;
  int restart_ = 0;
};

// ---- Several threads -----------------------------------------------------------------------------------------------

// About how long a scan takes: refining ones are the longest, the more so the lower the bit.
std::int64_t costOf(const Frame& frame, const ScanHeader& scan) {
  std::int64_t blocks = 0;
  for (const ScanHeader::Selector& selector : scan.components) {
    const FrameComponent& c = frame.components[static_cast<std::size_t>(selector.component)];
    blocks += std::int64_t{c.blocksWide} * c.blocksHigh;
  }
  if (scan.spectralStart == 0) return blocks;
  return blocks * (scan.approxHigh == 0 ? 3 : 6 - std::min(scan.approxLow, 2));
}

struct CodedScan {
  Codes codes;
  MemoryOutput data;
  std::exception_ptr failure;
};

// The scans of a progressive file depend on the coefficients only. Each is a task, the longest first.
void writeScansSideBySide(Writer& writer, const Scans& scans, Work& work) {
  const std::vector<ScanHeader>& all = scans.coding.scans;
  std::vector<CodedScan> coded(all.size());
  std::vector<std::size_t> order(all.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, std::greater(), [&](std::size_t i) { return costOf(scans.frame, all[i]); });
  work.workers.forEach(
      order.size(),
      [&](int, std::size_t index) {
        CodedScan& scan = coded[order[index]];
        try {
          scan.codes = scans.codesOf(all[order[index]]);
          Writer data(scan.data);
          scans.writeData(data, all[order[index]], scan.codes);
          data.flush();
        } catch (const Problem& problem) {
          if (problem.kind == Kind::cancelled) throw;
          scan.failure = std::current_exception();
        }
      },
      [&](std::size_t) { scans.rows.done(0); });
  HeaderWriter headers(writer, scans);
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (coded[i].failure) std::rethrow_exception(coded[i].failure);
    headers.write(all[i], coded[i].codes);
    writer.data({coded[i].data.bytes.data(), coded[i].data.bytes.size()});
    coded[i].data.bytes = Bytes();
  }
}

// Of the data of all scans, which take less than the coefficients.
std::uint64_t maxDataBytes(const Frame& frame) {
  std::uint64_t bytes = 0;
  for (const FrameComponent& c : frame.components)
    bytes += static_cast<std::uint64_t>(c.paddedWide) * static_cast<std::uint64_t>(c.paddedHigh) * 64 * sizeof(Mox16s);
  return bytes;
}

// A sequential scan: groups of MCU rows, each row a task.
class RowTasks {
 public:
  RowTasks(const Scans& scans, const ScanHeader& scan, Work& work)
      : scans_(scans),
        scan_(scan),
        work_(work),
        geometry_(scans.frame, scan),
        restart_(scans.restartOf(scan)),
        rowsAtOnce_(std::min(kRowsOfThread * work.workers.count(), geometry_.mcusHigh)) {}

  Codes codes() {
    if (!needsStatistics(scans_.frame, scan_, scans_.coding)) return kAnnexKCodes;
    ScanStatistics all(ScanKind::sequential, scan_, restart_);
    std::deque<ScanStatistics> parts;
    forEachGroup(
        [&](int count) {
          parts.clear();
          for (int i = 0; i < count; ++i) parts.emplace_back(ScanKind::sequential, scan_, restart_);
        },
        [&](int index, int row) { this->count(parts[static_cast<std::size_t>(index)], row); },
        [&](int index, int) { all.add(parts[static_cast<std::size_t>(index)]); });
    all.end();
    return all.codes();
  }

  void write(Writer& writer, const Codes& codes) {
    SegmentJoiner joiner(writer);
    std::deque<Part> parts;
    for (int i = 0; i < rowsAtOnce_; ++i) parts.emplace_back(scan_, codes);
    forEachGroup([](int) {}, [&](int index, int row) { code(parts[static_cast<std::size_t>(index)], row); },
                 [&](int index, int row) {
                   if (row > 0 && isBoundary(firstMcu(row))) joiner.restart();
                   parts[static_cast<std::size_t>(index)].appendTo(joiner);
                 });
    joiner.end();
  }

 private:
  static constexpr int kRowsOfThread = 8;

  std::int64_t firstMcu(int row) const { return std::int64_t{row} * geometry_.mcusWide; }
  bool isBoundary(std::int64_t mcu) const { return restart_ != 0 && mcu % restart_ == 0; }

  // Calls rowWork(index, row) for the rows of each group on any threads, then join(index, row) in order. The failure of
  // the first row is that of one thread.
  template <class Begin, class RowWork, class Join>
  void forEachGroup(const Begin& begin, const RowWork& rowWork, const Join& join) {
    for (int row = 0; row < geometry_.mcusHigh; row += rowsAtOnce_) {
      const int count = std::min(rowsAtOnce_, geometry_.mcusHigh - row);
      begin(count);
      std::vector<std::exception_ptr> failures(static_cast<std::size_t>(count));
      work_.workers.forEach(failures.size(), [&](int, std::size_t index) {
        try {
          rowWork(static_cast<int>(index), row + static_cast<int>(index));
        } catch (...) {
          failures[index] = std::current_exception();
        }
      });
      for (int i = 0; i < count; ++i) {
        if (failures[static_cast<std::size_t>(i)]) std::rethrow_exception(failures[static_cast<std::size_t>(i)]);
        join(i, row + i);
      }
      scans_.rows.done(count);
    }
  }

  // The DC values before a row: those of the last blocks of the row above.
  LastDc lastDcBefore(int row) const {
    LastDc last{};
    if (row == 0 || isBoundary(firstMcu(row))) return last;
    for (const ScanGeometry::Block& block : geometry_.blocks)
      last[static_cast<std::size_t>(block.selector)] = blockAt(block, geometry_.mcusWide - 1, row - 1)[0];
    return last;
  }
  const Mox16s* blockAt(const ScanGeometry::Block& block, int mcu, int row) const {
    return scans_.coefficients.block(block.component, mcu * block.across + block.dx, row * block.down + block.dy);
  }

  void count(ScanStatistics& statistics, int row) const {
    const std::int64_t first = firstMcu(row);
    statistics.beginAt(lastDcBefore(row), restart_ == 0 ? 0 : restart_ - static_cast<int>(first % restart_));
    for (int mcu = 0; mcu < geometry_.mcusWide; ++mcu) {
      statistics.beginMcu();
      for (const ScanGeometry::Block& block : geometry_.blocks)
        statistics.put<ScanKind::sequential>(block.selector, blockAt(block, mcu, row));
    }
  }
  void code(Part& part, int row) const {
    part.begin(lastDcBefore(row));
    for (int mcu = 0; mcu < geometry_.mcusWide; ++mcu) {
      if (mcu > 0 && isBoundary(firstMcu(row) + mcu)) part.endSegment();
      part.beginMcu();
      for (const ScanGeometry::Block& block : geometry_.blocks) part.put(block.selector, blockAt(block, mcu, row));
    }
    part.endSegment();
  }

  const Scans& scans_;
  const ScanHeader& scan_;
  Work& work_;
  const ScanGeometry geometry_;
  const int restart_, rowsAtOnce_;
};

}  // namespace

void writeScans(Writer& writer, const Frame& frame, const Coefficients& coefficients, const Coding& coding,
                Work& work) {
  Rows rows(work.progress, rowsOf(frame, coding));
  const Scans scans{frame, coefficients, coding, rows};
  const bool threads = work.workers.count() > 1 && isWorthThreads(frame);
  // Another half of the memory is left for an output that keeps the file.
  const std::uint64_t dataBytes = maxDataBytes(frame);
  if (threads && frame.progressive() && dataBytes <= work.budget.left() / 2) {
    work.budget.charge(1, dataBytes);
    writeScansSideBySide(writer, scans, work);
    work.budget.release(dataBytes);
  } else {
    HeaderWriter headers(writer, scans);
    for (const ScanHeader& scan : coding.scans) {
      if (threads && !frame.progressive()) {
        RowTasks tasks(scans, scan, work);
        const Codes codes = tasks.codes();
        headers.write(scan, codes);
        tasks.write(writer, codes);
      } else {
        const Codes codes = scans.codesOf(scan);
        headers.write(scan, codes);
        scans.writeData(writer, scan, codes);
      }
    }
  }
  rows.done(0);
}

void fillMcus(const Frame& frame, Coefficients& coefficients) {
  for (int component = 0; component < static_cast<int>(frame.components.size()); ++component) {
    const FrameComponent& c = frame.components[component];
    for (int y = 0; y < c.paddedHigh; ++y) {
      for (int x = y < c.blocksHigh ? c.blocksWide : 0; x < c.paddedWide; ++x) {
        // The preceding block in the order of the stream: to the left within the MCU, or the last of the row above.
        const bool first = x % c.horizontal == 0;
        const Mox16s* const before = first ? coefficients.block(component, x + c.horizontal - 1, y - 1)
                                           : coefficients.block(component, x - 1, y);
        Mox16s* const block = coefficients.block(component, x, y);
        std::memset(block, 0, 64 * sizeof(Mox16s));
        block[0] = before[0];
      }
    }
  }
}

}  // namespace moxj::jpeg
