// Codes each scan from the stored coefficients: statistics, tables, data.
#include "jpeg/coefficientwriter.h"

#include <cstring>

#include "base/problem.h"
#include "jpeg/deepscan.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/scanwriter.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxWord = 65535;

// Counts the MCU rows of all passes over the coefficients, and reports them. A third pass over a scan, which is rarely
// needed, is not in the total.
class Rows {
 public:
  Rows(const Progress& progress, std::uint64_t total) : progress_(progress), total_(total) {}
  void done() {
    reportProgress(progress_, done_, total_);
    if (done_ < total_) ++done_;
  }

 private:
  const Progress& progress_;
  const std::uint64_t total_;
  std::uint64_t done_ = 0;
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

void writeScans(Writer& writer, const Frame& frame, const Coefficients& coefficients, const Coding& coding,
                const Progress& progress) {
  TableWriter tables(writer);
  int written = 0;  // restart interval
  Rows rows(progress, rowsOf(frame, coding));
  for (const ScanHeader& scan : coding.scans) {
    const ScanKind kind = kindOf(frame, scan);
    const bool optimal = needsStatistics(frame, scan, coding);
    const int restart = coding.restart.of(ScanGeometry(frame, scan).mcusWide);
    const Codes codes = optimal ? optimalCodes(frame, scan, coefficients, restart, rows) : kAnnexKCodes;
    tables.write(kind, scan, codes, !optimal);
    if (restart != written) writer.restartInterval(restart);
    written = restart;
    writer.scan(frame, scan);
    if (isDeep(frame, kind)) {
      DeepBits bits(writer, codes);
      DeepScan data(bits, scan, restart);
      walk(frame, scan, coefficients, data, rows);
    } else {
      ScanWriter data(writer, kind, scan, codes, restart);
      walk(frame, scan, coefficients, data, rows);
    }
  }
  rows.done();
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
