// Codes each scan from the stored coefficients: statistics, tables, data.
#include "jpeg/coefficientwriter.h"

#include <cstring>

#include "base/problem.h"
#include "jpeg/scanstatistics.h"
#include "jpeg/scanwriter.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxWord = 65535;

// Passes the blocks of a scan to a ScanWriter or a statistics object.
template <class Sink>
void walk(const Frame& frame, const ScanHeader& scan, const Coefficients& coefficients, Sink& sink) {
  const ScanGeometry geometry(frame, scan);
  forKind(kindOf(frame, scan), [&](auto kind) {
    for (int row = 0; row < geometry.mcusHigh; ++row) {
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

Codes optimalCodes(const Frame& frame, const ScanHeader& scan, const Coefficients& coefficients, int restart) {
  ScanStatistics statistics(kindOf(frame, scan), scan, restart);
  walk(frame, scan, coefficients, statistics);
  if (!statistics.incomplete()) return statistics.codes();
  BandStatistics band(scan, restart);
  walk(frame, scan, coefficients, band);
  return band.codes();
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
  std::uint64_t done = 0;
  for (const ScanHeader& scan : coding.scans) {
    const ScanKind kind = kindOf(frame, scan);
    const bool optimal = coding.optimal || isProgressive(kind);
    const int restart = coding.restart.of(ScanGeometry(frame, scan).mcusWide);
    const Codes codes = optimal ? optimalCodes(frame, scan, coefficients, restart) : kAnnexKCodes;
    tables.write(kind, scan, codes, !optimal);
    if (restart != written) writer.restartInterval(restart);
    written = restart;
    writer.scan(frame, scan);
    ScanWriter data(writer.file(), kind, scan, codes, restart);
    walk(frame, scan, coefficients, data);
    reportProgress(progress, ++done, coding.scans.size());
  }
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
