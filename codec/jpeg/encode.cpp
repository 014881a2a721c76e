// The JPEG encoder. A baseline file with the Annex K tables is written in one pass, one MCU row at a time, as the rows
// come. For optimal tables or several scans, the coefficients of the whole picture are computed first.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "jpeg/coefficientwriter.h"
#include "jpeg/colour.h"
#include "jpeg/deepdct.h"
#include "jpeg/deepsamples.h"
#include "jpeg/fastmcu.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/library.h"
#include "jpeg/markers.h"
#include "jpeg/metadata.h"
#include "jpeg/samplestrips.h"
#include "jpeg/scanwriter.h"
#include "jpeg/writer.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxWord = 65535, kMaxBlocksOfMcu = 10;

[[noreturn]] void exceeds(const std::string& what) { fail(Kind::limit, what); }

bool isChrominance(std::size_t component, ColourModel model) {
  return model != ColourModel::cmyk && model != ColourModel::rgb && (component == 1 || component == 2);
}

// By Sampling, of luminance.
constexpr Factors kNamedFactors[] = {{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}, {4, 2}};

// Throws Problem for factors that T.81 allows no scan of all components to have, and for fractional ratios, for which
// there is no filter.
void checkFactors(const Frame& frame, const char* option) {
  int blocks = 0;
  Factors max;
  for (const FrameComponent& c : frame.components) {
    blocks += c.horizontal * c.vertical;
    max = {std::max(max.horizontal, c.horizontal), std::max(max.vertical, c.vertical)};
  }
  if (blocks > kMaxBlocksOfMcu)
    failOption(option, "makes an MCU of " + std::to_string(blocks) + " blocks: JPEG allows at most 10");
  for (const FrameComponent& c : frame.components) {
    if (max.horizontal % c.horizontal != 0 || max.vertical % c.vertical != 0)
      failOption(option, "has ratios of components that are not whole numbers");
  }
}

// The sampling of components that are made of pixels.
void sample(Frame& frame, ColourModel model, const EncodeOptions& options) {
  const std::size_t count = frame.components.size();
  if (options.factors.size() > count)
    failOption("factors", "is for " + std::to_string(options.factors.size()) + " components, but there are " +
                              std::to_string(count));
  const Sampling sampling = options.sampling.value_or(model == ColourModel::rgb ? Sampling::s444 : Sampling::s420);
  if (options.factors.empty() && model == ColourModel::rgb && sampling != Sampling::s444)
    failOption("sample", "is for chrominance, which RGB does not have; give sampling factors");
  for (std::size_t i = 0; i < count; ++i) {
    Factors factors;
    if (i < options.factors.size())
      factors = options.factors[i];
    else if (options.factors.empty() && !isChrominance(i, model))
      factors = kNamedFactors[static_cast<int>(sampling)];
    frame.components[i].horizontal = factors.horizontal;
    frame.components[i].vertical = factors.vertical;
  }
  checkFactors(frame, options.factors.empty() ? "sample" : "factors");
}

// That of planes of YCbCr.
void sample(Frame& frame, const Picture& layout) {
  const auto unsupported = [] { fail(Kind::unsupported, "this sub-sampling cannot be written to JPEG"); };
  const Plane& chrominance = layout.planes[1];
  for (const Plane& plane : layout.planes) {
    if (plane.width != ceilDiv(layout.width, plane.dx) || plane.height != ceilDiv(layout.height, plane.dy))
      unsupported();
  }
  const bool full = layout.planes[0].dx == 1 && layout.planes[0].dy == 1;
  const bool equal = layout.planes[2].dx == chrominance.dx && layout.planes[2].dy == chrominance.dy;
  if (!full || !equal || chrominance.dx > 4 || chrominance.dy > 4 || chrominance.dx * chrominance.dy > 8) unsupported();
  frame.components[0].horizontal = chrominance.dx;
  frame.components[0].vertical = chrominance.dy;
}

bool isYcbcr(const Picture& layout) { return layout.colour == Colour::ycbcr; }
bool isCmyk(const Picture& layout) { return layout.colour == Colour::cmyk; }

// What the picture is coded as.
ColourModel modelFor(const Picture& layout, const EncodeOptions& options) {
  if (isCmyk(layout)) return options.cmyk ? ColourModel::cmyk : ColourModel::ycck;
  if (layout.planes.size() == 1 || options.grayscale) return ColourModel::grey;
  return options.rgb ? ColourModel::rgb : ColourModel::ycbcr;
}

void requireOptionsFor(const Picture& layout, const EncodeOptions& options) {
  if (isYcbcr(layout)) {
    if (options.sampling) failOption("sample", "is not for samples of YCbCr, which have their own");
    if (!options.factors.empty()) failOption("factors", "is not for samples of YCbCr, which have their own");
    if (options.fastMcu) failOption("fastMcu", "is not for samples of YCbCr");
  }
  if (options.fastMcu && options.rgb) failOption("fastMcu", "is not for files of RGB");
  if (options.fastMcu && options.depth > 8) failOption("fastMcu", "is for samples of 8 bits");
  if (!options.cmyk) return;
  if (!isCmyk(layout)) failOption("cmyk", "is for pictures of inks");
  if (options.sampling) failOption("sample", "is not for inks as they are: they all have the same size");
  if (!options.factors.empty()) failOption("factors", "is not for inks as they are: they all have the same size");
  if (options.fastMcu) failOption("fastMcu", "is not for inks as they are");
}

void requireEncodable(const Picture& layout, const EncodeOptions& options) {
  requireOptionsFor(layout, options);
  const std::size_t planes = isCmyk(layout) ? 4 : isYcbcr(layout) || layout.colour == Colour::rgb ? 3 : 1;
  const bool known = layout.planes.size() == planes && layout.inverted == isCmyk(layout);
  const bool deep = options.depth > 8;
  for (const Plane& plane : layout.planes) {
    const bool fits = plane.element == (deep ? Element::u16 : Element::u8) && plane.bits == options.depth;
    if (!fits || !known || (deep && isCmyk(layout)))
      fail(Kind::unsupported, deep ? "12-bit JPEG takes grey, RGB and YCbCr samples of 12 bits"
                                   : "JPEG takes grey, RGB, YCbCr and CMYK samples of 8 bits");
  }
}

Frame frameFor(const Picture& layout, const EncodeOptions& options) {
  if (layout.width > kMaxWord || layout.height > kMaxWord) {
    exceeds(std::to_string(layout.width) + " x " + std::to_string(layout.height) +
            " pixels: JPEG allows at most 65535 x 65535");
  }
  requireEncodable(layout, options);
  Frame frame{.process = options.depth > 8 ? marker::sof1 : marker::sof0,
              .precision = options.depth,
              .width = layout.width,
              .height = layout.height,
              .components = {}};
  const ColourModel model = modelFor(layout, options);
  const std::size_t count = model == ColourModel::grey ? 1 : layout.planes.size();
  for (std::size_t i = 0; i < count; ++i)
    frame.components.push_back({.id = model == ColourModel::rgb ? "RGB"[i] : static_cast<int>(i) + 1});
  if (isYcbcr(layout) && count == 3)
    sample(frame, layout);
  else if (count > 1 && model != ColourModel::cmyk)
    sample(frame, model, options);
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

using Quantisers = std::vector<Quantiser>;

int qualityOf(const EncodeOptions& options, std::size_t component) {
  if (options.qualities.empty()) return options.quality;
  return options.qualities[std::min(component, options.qualities.size() - 1)];
}

// The tables of all components, each once. Sets the references of the components to them.
Quantisers quantisersFor(Frame& frame, ColourModel model, const EncodeOptions& options) {
  Quantisers quantisers;
  std::vector<std::pair<bool, int>> made;  // of chrominance, quality
  for (std::size_t i = 0; i < frame.components.size(); ++i) {
    const std::pair wanted(isChrominance(i, model), qualityOf(options, i));
    const auto found = std::ranges::find(made, wanted);
    frame.components[i].quantTable = static_cast<int>(found - made.begin());
    if (found != made.end()) continue;
    made.push_back(wanted);
    quantisers.emplace_back(kAnnexKSteps[wanted.first], wanted.second);
  }
  return quantisers;
}

// Computes quantised coefficients from the samples of each component.
class StripSource {
 public:
  StripSource(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers,
              Budget& budget)
      : frame_(frame), quantisers_(quantisers), strips_(layout, frame, model, budget) {}

  void beginRow(const Picture& band, int first) { strips_.loadRow(band, first); }
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

// Computes them from samples of more than 8 bits.
class DeepSource {
 public:
  DeepSource(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers, Budget& budget)
      : frame_(frame), quantisers_(quantisers), samples_(layout, frame, model, budget) {}

  void beginRow(const Picture& band, int first) { samples_.loadRow(band, first); }
  void beginMcu(int) {}
  void transform(const ScanGeometry::Block& block, int, int x, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    transformDeep(samples_.block(block.component, x, block.dy), samples_.step(block.component), frame_.precision,
                  quantisers_[static_cast<std::size_t>(table)].steps, coefficients);
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  DeepSamples samples_;
};

// Computes them from the pixels of each MCU.
class FastSource {
 public:
  FastSource(const Picture&, const Frame& frame, ColourModel model, const Quantisers& quantisers, Budget&)
      : frame_(frame), quantisers_(quantisers), source_(frame, model) {}

  void beginRow(const Picture& band, int first) { source_.beginRow(band, first); }
  void beginMcu(int mcu) { source_.load(mcu); }
  void transform(const ScanGeometry::Block& block, int index, int, Mox16s* coefficients) const {
    const int table = frame_.components[block.component].quantTable;
    moxiDCTQuantFwd8x8_JPEG_16s_C1(source_.block(index), coefficients, quantisers_[table].reciprocals.data());
  }

 private:
  const Frame& frame_;
  const Quantisers& quantisers_;
  McuSource source_;
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

ScanHeader allComponents(const Frame& frame) {
  ScanHeader all;
  for (int i = 0; i < static_cast<int>(frame.components.size()); ++i) all.components.push_back({i, 0, 0});
  return all;
}

class RowCoder {
 public:
  virtual ~RowCoder() = default;
  // Codes the next MCU row, whose pixels begin at row `first` of the band and lie within it.
  virtual void code(const Picture& band, int first) = 0;
};

// Computes the blocks of all MCUs. The sink has three members:
//   Mox16s* place(int index, const ScanGeometry::Block& block, int x, int y)
//                    returns the destination of the coefficients of block `index` of a run
//   beginMcu()
//   put(int index, const ScanGeometry::Block& block, bool real)
//                    called when the coefficients are stored; not `real`: a padding block
template <class Source, class Sink>
class RowCoderOf final : public RowCoder {
 public:
  RowCoderOf(const Picture& layout, const Frame& frame, ColourModel model, const Quantisers& quantisers,
             const Sink& sink, Budget& budget)
      : frame_(frame),
        geometry_(frame, allComponents(frame)),
        source_(layout, frame, model, quantisers, budget),
        sink_(sink),
        mcusAtOnce_(kBlocksAtOnce / static_cast<int>(geometry_.blocks.size())) {}

  void code(const Picture& band, int first) override {
    source_.beginRow(band, first);
    for (int mcu = 0; mcu < geometry_.mcusWide; mcu += mcusAtOnce_) {
      Run run{row_, mcu, std::min(mcu + mcusAtOnce_, geometry_.mcusWide), {}};
      transform(frame_, geometry_, run, source_, sink_);
      put(geometry_, run, sink_);
    }
    ++row_;
  }

 private:
  const Frame& frame_;
  const ScanGeometry geometry_;
  Source source_;
  Sink sink_;
  const int mcusAtOnce_;
  int row_ = 0;
};

// Selects the source.
template <class Sink>
std::unique_ptr<RowCoder> rowCoder(bool fast, const Picture& layout, const Frame& frame, ColourModel model,
                                   const Quantisers& quantisers, const Sink& sink, Budget& budget) {
  if (frame.precision > 8)
    return std::make_unique<RowCoderOf<DeepSource, Sink>>(layout, frame, model, quantisers, sink, budget);
  if (fast && mcuFunctionsFor(frame, model))
    return std::make_unique<RowCoderOf<FastSource, Sink>>(layout, frame, model, quantisers, sink, budget);
  return std::make_unique<RowCoderOf<StripSource, Sink>>(layout, frame, model, quantisers, sink, budget);
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

// Chrominance uses Huffman tables 1, the other components tables 0.
void selectTables(ColourModel model, std::vector<ScanHeader>& scans) {
  for (ScanHeader& scan : scans) {
    for (ScanHeader::Selector& selector : scan.components)
      selector.dcTable = selector.acTable = isChrominance(static_cast<std::size_t>(selector.component), model);
  }
}

std::vector<ScanHeader> scansFor(const Frame& frame, ColourModel model, const EncodeOptions& options) {
  std::vector<ScanHeader> scans = options.script        ? scansOf(*options.script, frame)
                                  : options.progressive ? progressiveScans(frame, model != ColourModel::rgb)
                                                        : sequentialScans(frame);
  selectTables(model, scans);
  return scans;
}

void writeTables(Writer& writer, const ScanHeader& scan) {
  int last = 0;
  for (const ScanHeader::Selector& selector : scan.components) last = std::max(last, selector.dcTable);
  for (int table = 0; table <= last; ++table) {
    writer.code(kDc, table, kAnnexKCodes[kDc][table]);
    writer.code(kAc, table, kAnnexKCodes[kAc][table]);
  }
}

// Copies rows from one band into another one.
void copyRows(const Picture& from, int first, const Picture& to, int at, int count) {
  if (from.interleaved() && to.interleaved()) {
    for (int y = 0; y < count; ++y) std::memcpy(to.row(at + y), from.row(first + y), to.rowBytes());
    return;
  }
  for (std::size_t i = 0; i < to.planes.size(); ++i) {
    const Plane &source = from.planes[i], &target = to.planes[i];
    for (int y = 0; y < ceilDiv(count, source.dy); ++y) {
      visitRow(target, at / target.dy + y, [&](auto* pixels) {
        const auto* const row = source.row<std::remove_pointer_t<decltype(pixels)>>(first / source.dy + y);
        for (int x = 0; x < source.width; ++x)
          pixels[std::ptrdiff_t{x} * target.pixelStep] = row[std::ptrdiff_t{x} * source.pixelStep];
      });
    }
  }
}

class Encoder final : public RowSink {
 public:
  Encoder(Output& output, const EncodeOptions& options, Work& work) : options_(options), work_(work), writer_(output) {}

  void begin(const Picture& layout) override;
  void rows(const Picture& band) override;
  void end() override;

 private:
  void writeHeader();
  void beginScan();
  bool canCode(const Picture& band) const;
  int rowsOfNext() const { return std::min(frame_.mcuHeight(), frame_.height - mcuRow_ * frame_.mcuHeight()); }
  void code(const Picture& band, int first);
  int keep(const Picture& band, int first);

  const EncodeOptions options_;
  Work& work_;
  Writer writer_;
  Quantisers quantisers_;
  Frame frame_;
  ColourModel model_ = ColourModel::unknown;
  Coding coding_;
  Picture layout_;
  std::optional<ScanWriter> scan_;              // of a file that is written as the rows come
  std::unique_ptr<Coefficients> coefficients_;  // of all others
  std::unique_ptr<RowCoder> coder_;
  Picture mcuRows_;  // the rows of an MCU row that have come, if it is not complete
  int kept_ = 0;     // their number
  int mcuRow_ = 0;   // the next one
};

void Encoder::begin(const Picture& layout) {
  frame_ = frameFor(layout, options_);
  model_ = modelFor(layout, options_);
  quantisers_ = quantisersFor(frame_, model_, options_);
  layout_ = layout;
  coding_ = {scansFor(frame_, model_, options_), options_.optimize, {options_.restart, options_.restartInRows}};
  coding_.restart.of(frame_.mcusWide);  // checks it
  if (options_.script ? options_.script->progressive() : options_.progressive) frame_.process = marker::sof2;
  writeHeader();
  if (frame_.process == marker::sof0 && coding_.scans.size() == 1 && !coding_.optimal) return beginScan();
  coefficients_ = std::make_unique<Coefficients>(frame_, work_.budget);
  coder_ =
      rowCoder(options_.fastMcu, layout_, frame_, model_, quantisers_, CoefficientSink{*coefficients_}, work_.budget);
}

void Encoder::writeHeader() {
  writer_.marker(marker::soi);
  const bool jfif = !isCmyk(layout_) && model_ != ColourModel::rgb;  // which has neither
  if (jfif) writer_.jfif(densityOf(layout_.metadata.get()));
  writeMetadata(writer_, layout_.metadata.get());
  if (!jfif) writer_.adobe(model_ == ColourModel::ycck ? AdobeTransform::ycck : AdobeTransform::none);
  for (std::size_t table = 0; table < quantisers_.size(); ++table)
    writer_.steps(static_cast<int>(table), quantisers_[table].steps);
  writer_.frame(frame_);
}

void Encoder::beginScan() {
  const int restartInterval = coding_.restart.of(frame_.mcusWide);
  writeTables(writer_, coding_.scans[0]);
  if (restartInterval != 0) writer_.restartInterval(restartInterval);
  writer_.scan(frame_, coding_.scans[0]);
  scan_.emplace(writer_, ScanKind::sequential, coding_.scans[0], kAnnexKCodes, restartInterval);
  coder_ = rowCoder(options_.fastMcu, layout_, frame_, model_, quantisers_, ScanSink{*scan_, {}}, work_.budget);
}

// Whole MCU rows are coded in place, if the samples are laid out so that they can be.
bool Encoder::canCode(const Picture& band) const {
  if (isYcbcr(layout_) || band.interleaved()) return true;
  return isCmyk(layout_) && !options_.fastMcu &&
         std::ranges::all_of(band.planes, [](const Plane& plane) { return plane.pixelStep == 1; });
}

void Encoder::rows(const Picture& band) {
  const bool inPlace = canCode(band);
  for (int at = 0; at < band.height;) {
    if (mcuRow_ == frame_.mcusHigh) fail(Kind::internal, "more rows than the picture has");
    const int wanted = rowsOfNext();
    if (inPlace && kept_ == 0 && band.height - at >= wanted) {
      code(band, at);
      at += wanted;
      continue;
    }
    at += keep(band, at);
    if (kept_ < wanted) continue;
    kept_ = 0;
    code(mcuRows_, 0);
  }
}

void Encoder::code(const Picture& band, int first) {
  coder_->code(band, first);
  ++mcuRow_;
}

// Copies rows of the band until the MCU row is complete. Returns their number.
int Encoder::keep(const Picture& band, int first) {
  if (!mcuRows_.hasSamples()) {
    mcuRows_ = layout_;
    mcuRows_.height = frame_.mcuHeight();
    for (Plane& plane : mcuRows_.planes) plane.height = ceilDiv(frame_.mcuHeight(), plane.dy);
    mcuRows_.allocate(&work_.budget);
  }
  const int count = std::min(rowsOfNext() - kept_, band.height - first);
  copyRows(band, first, mcuRows_, kept_, count);
  kept_ += count;
  return count;
}

void Encoder::end() {
  if (mcuRow_ != frame_.mcusHigh) fail(Kind::internal, "fewer rows than the picture has");
  if (scan_) {
    scan_->end();
  } else {
    fillMcus(frame_, *coefficients_);
    writeScans(writer_, frame_, *coefficients_, coding_, work_.progress);
  }
  writer_.marker(marker::eoi);
  writer_.flush();
}

}  // namespace

std::unique_ptr<RowSink> encoder(Output& output, const EncodeOptions& options, Work& work) {
  return std::make_unique<Encoder>(output, options, work);
}

}  // namespace moxj::jpeg
