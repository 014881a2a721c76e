// The JPEG encoder. A baseline file with the Annex K tables is written in one pass, one MCU row at a time. For optimal
// tables or several scans, the coefficients of the whole picture are computed first.
#include <array>
#include <cstring>

#include "jpeg/coefficientwriter.h"
#include "jpeg/fastmcu.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/library.h"
#include "jpeg/markers.h"
#include "jpeg/samplestrips.h"
#include "jpeg/scanwriter.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxWord = 65535;

[[noreturn]] void exceeds(const std::string& what) { fail(Kind::limit, what); }

Frame frameFor(const Picture& picture, const EncodeOptions& options) {
  if (picture.width > kMaxWord || picture.height > kMaxWord) {
    exceeds(std::to_string(picture.width) + " x " + std::to_string(picture.height) +
            " pixels: JPEG allows at most 65535 x 65535");
  }
  Frame frame{.process = marker::sof0, .width = picture.width, .height = picture.height, .components = {{.id = 1}}};
  if (picture.channels == 3 && !options.grayscale) {
    FrameComponent& luminance = frame.components[0];
    luminance.horizontal = options.sampling == Sampling::s444 ? 1 : 2;
    luminance.vertical = options.sampling == Sampling::s420 ? 2 : 1;
    frame.components.push_back({.id = 2, .quantTable = 1});
    frame.components.push_back({.id = 3, .quantTable = 1});
  }
  frame.layOut();
  return frame;
}

// A table of Annex K at some quality: as the file stores it, and as the transform needs it.
struct Quantiser {
  Steps steps;
  std::array<Mox16u, 64> reciprocals;

  Quantiser(const Steps& annexK, int quality) {
    std::array<Mox8u, 64> raw;
    for (int position = 0; position < 64; ++position) raw[position] = static_cast<Mox8u>(annexK[kZigZag[position]]);
    require(moxiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality), "quality scaling");
    require(moxiQuantFwdTableInit_JPEG_8u16u(raw.data(), reciprocals.data()), "a quantisation table");
    for (int position = 0; position < 64; ++position) steps[kZigZag[position]] = raw[position];
  }
};

using Quantisers = std::array<Quantiser, 2>;

// Computes quantised coefficients from the samples of each component.
class StripSource {
 public:
  StripSource(const Picture& picture, const Frame& frame, const Quantisers& quantisers)
      : frame_(frame), quantisers_(quantisers), strips_(picture, frame) {}

  void beginRow(int row) { strips_.loadRow(row); }
  void beginMcu(int) {}
  // Transforms a block of an MCU (the one with number `index`); `x` counts the blocks of the whole row.
  void transform(const ScanGeometry::Block& block, int, int x, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    moxiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(strips_.block(block.component, x, block.dy), strips_.step(block.component),
                                        coefficients, quantisers_[table].reciprocals.data());
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  SampleStrips strips_;
};

// Computes them from the pixels of each MCU.
class FastSource {
 public:
  FastSource(const Picture& picture, const Frame& frame, const Quantisers& quantisers)
      : frame_(frame), quantisers_(quantisers), source_(picture, frame) {}

  void beginRow(int row) { row_ = row; }
  void beginMcu(int mcu) { source_.load(mcu, row_); }
  void transform(const ScanGeometry::Block& block, int index, int, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    moxiDCTQuantFwd8x8_JPEG_16s_C1(source_.block(index), coefficients, quantisers_[table].reciprocals.data());
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  McuSource source_;
  int row_ = 0;
};

// Blocks are transformed in groups and then coded. Entropy coding has many unpredictable branches, and each
// misprediction would discard the work the processor has already begun on the next transform.
constexpr int kBlocksAtOnce = 24;

// A group of MCUs in a row.
struct Run {
  int row, first, end;
  bool real[kBlocksAtOnce];  // false: a padding block, which only completes an MCU
};

template <class Source, class Sink>
void transform(const Frame& frame, const ScanGeometry& geometry, Run& run, Source& source, Sink& sink) {
  int index = 0;
  for (int mcu = run.first; mcu < run.end; ++mcu) {
    source.beginMcu(mcu);
    int ofMcu = 0;
    for (const ScanGeometry::Block& block : geometry.blocks) {
      const FrameComponent& c = frame.components[block.component];
      const int x = mcu * block.across + block.dx, y = run.row * block.down + block.dy;
      run.real[index] = x < c.blocksWide && y < c.blocksHigh;
      if (run.real[index]) source.transform(block, ofMcu, x, sink.place(index, block, x, y));
      ++ofMcu;
      ++index;
    }
  }
}

template <class Sink>
void put(const ScanGeometry& geometry, const Run& run, Sink& sink) {
  int index = 0;
  for (int mcu = run.first; mcu < run.end; ++mcu) {
    sink.beginMcu();
    for (const ScanGeometry::Block& block : geometry.blocks) {
      sink.put(index, block, run.real[index]);
      ++index;
    }
  }
}

// Computes the blocks of all MCUs. The sink has three members:
//   Mox16s* place(int index, const ScanGeometry::Block& block, int x, int y)
//                    returns the destination of the coefficients of block `index` of a run
//   beginMcu()
//   put(int index, const ScanGeometry::Block& block, bool real)
//                    called when the coefficients are stored; not `real`: a padding block
template <class Source, class Sink>
void makeBlocks(const Frame& frame, Source& source, Sink& sink, const Progress& progress) {
  ScanHeader all;
  for (int i = 0; i < static_cast<int>(frame.components.size()); ++i) all.components.push_back({i, 0, 0});
  const ScanGeometry geometry(frame, all);
  const int mcusAtOnce = kBlocksAtOnce / static_cast<int>(geometry.blocks.size());
  for (int row = 0; row < geometry.mcusHigh; ++row) {
    source.beginRow(row);
    for (int first = 0; first < geometry.mcusWide; first += mcusAtOnce) {
      Run run{row, first, std::min(first + mcusAtOnce, geometry.mcusWide), {}};
      transform(frame, geometry, run, source, sink);
      put(geometry, run, sink);
    }
    reportProgress(progress, row + 1, geometry.mcusHigh);
  }
}

// Selects the source.
template <class Sink>
void makeBlocks(const Picture& picture, const Frame& frame, const Quantisers& quantisers, bool fast, Sink&& sink,
                const Progress& progress) {
  if (fast && mcuFunctionsFor(frame)) {
    FastSource source(picture, frame, quantisers);
    makeBlocks(frame, source, sink, progress);
  } else {
    StripSource source(picture, frame, quantisers);
    makeBlocks(frame, source, sink, progress);
  }
}

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

struct CoefficientSink {
  Coefficients& coefficients;

  Mox16s* place(int, const ScanGeometry::Block& block, int x, int y) {
    return coefficients.block(block.component, x, y);
  }
  void beginMcu() {}
  void put(int, const ScanGeometry::Block&, bool) {}
};

// The first component uses tables 0, the others tables 1.
void selectTables(std::vector<ScanHeader>& scans) {
  for (ScanHeader& scan : scans) {
    for (ScanHeader::Selector& selector : scan.components)
      selector.dcTable = selector.acTable = std::min(selector.component, 1);
  }
}

std::vector<ScanHeader> scansFor(const Frame& frame, const EncodeOptions& options) {
  std::vector<ScanHeader> scans = options.script        ? scansOf(*options.script, frame)
                                  : options.progressive ? progressiveScans(frame, true)
                                                        : sequentialScans(frame);
  selectTables(scans);
  return scans;
}

void writeTables(Writer& writer, const Frame& frame) {
  for (int table = 0; table < static_cast<int>(std::min<std::size_t>(frame.components.size(), 2)); ++table) {
    writer.code(kDc, table, kAnnexKCodes[kDc][table]);
    writer.code(kAc, table, kAnnexKCodes[kAc][table]);
  }
}

}  // namespace

Bytes encode(const Picture& picture, const EncodeOptions& options, const Progress& progress, const Limits& limits) {
  Frame frame = frameFor(picture, options);
  const Coding coding{scansFor(frame, options), options.optimize, {options.restart, options.restartInRows}};
  const int restartInterval = coding.restart.of(frame.mcusWide);
  if (options.script ? options.script->progressive() : options.progressive) frame.process = marker::sof2;
  const bool colour = frame.components.size() > 1;
  const Quantisers quantisers{Quantiser(kAnnexKSteps[0], options.quality), Quantiser(kAnnexKSteps[1], options.quality)};

  Writer writer;
  // Two bits per pixel are enough for many files.
  writer.file().reserve(std::size_t{4096} + picture.rowBytes() * static_cast<std::size_t>(picture.height) / 12);
  writer.marker(marker::soi);
  writer.jfif();
  for (int table = 0; table <= int{colour}; ++table) writer.steps(table, quantisers[table].steps);
  writer.frame(frame);
  if (frame.process == marker::sof0 && coding.scans.size() == 1 && !coding.optimal) {
    const ScanHeader& scan = coding.scans[0];
    writeTables(writer, frame);
    if (restartInterval != 0) writer.restartInterval(restartInterval);
    writer.scan(frame, scan);
    ScanWriter data(writer.file(), ScanKind::sequential, scan, kAnnexKCodes, restartInterval);
    makeBlocks(picture, frame, quantisers, options.fastMcu, ScanSink{data, {}}, progress);
    data.end();
  } else {
    Budget budget(limits.maxMemory);
    Coefficients coefficients(frame, budget);
    makeBlocks(picture, frame, quantisers, options.fastMcu, CoefficientSink{coefficients}, {});
    fillMcus(frame, coefficients);
    writeScans(writer, frame, coefficients, coding, progress);
  }
  writer.marker(marker::eoi);
  return std::move(writer.file());
}

}  // namespace moxj::jpeg
