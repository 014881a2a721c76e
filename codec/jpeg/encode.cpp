// The JPEG encoder. A baseline file with the Annex K tables is written in one pass, a few MCU rows at a time, as the
// rows come. For optimal tables or several scans, the coefficients of the whole picture are computed first.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "jpeg/coefficientwriter.h"
#include "jpeg/colour.h"
#include "jpeg/frame.h"
#include "jpeg/jpeg.h"
#include "jpeg/markers.h"
#include "jpeg/metadata.h"
#include "jpeg/rowencoder.h"
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
  void rows(const Picture& band) override {
    take(band);
    coder_->finish();
  }
  void stayingRows(const Picture& band) override { take(band); }
  void end() override;
  int rowsWanted() const override { return coder_->rowsAtOnce() * frame_.mcuHeight(); }
  bool takesBgr() const override { return layout_.colour == Colour::rgb && frame_.precision == 8; }

 private:
  RowCoding rowCoding() const { return {layout_, frame_, model_, quantisers_, options_.fastMcu}; }
  void take(const Picture& band);
  void writeHeader();
  void beginScan();
  bool canCode(const Picture& band) const;
  // Of the next MCU rows.
  int rowsOf(int mcuRows) const { return std::min(mcuRows * frame_.mcuHeight(), frame_.height - top()); }
  int top() const { return mcuRow_ * frame_.mcuHeight(); }
  int codeInPlace(const Picture& band, int first);
  int keep(const Picture& band, int first);
  void startKept();

  const EncodeOptions options_;
  Work& work_;
  Writer writer_;
  Quantisers quantisers_;
  Frame frame_;
  ColourModel model_ = ColourModel::unknown;
  Coding coding_;
  Picture layout_;
  std::unique_ptr<Coefficients> coefficients_;  // of files that are not written as the rows come
  // Rows that have come, and are not as many as are coded at once: the next ones, and those that are being coded.
  Picture keptRows_[2];
  int kept_ = 0;    // the number of the next ones
  int mcuRow_ = 0;  // the next one
  std::unique_ptr<RowEncoder> coder_;
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
  coder_ = coefficientEncoder(rowCoding(), *coefficients_, work_);
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
  coder_ = scanEncoder(rowCoding(), writer_, coding_.scans[0], restartInterval, work_);
}

// Whole MCU rows are coded in place, if the samples are laid out so that they can be.
bool Encoder::canCode(const Picture& band) const {
  if (isYcbcr(layout_) || band.interleaved() || (takesBgr() && band.interleavedBgr())) return true;
  return isCmyk(layout_) && !options_.fastMcu &&
         std::ranges::all_of(band.planes, [](const Plane& plane) { return plane.pixelStep == 1; });
}

void Encoder::take(const Picture& band) {
  const bool inPlace = canCode(band);
  for (int at = 0; at < band.height;) {
    if (mcuRow_ == frame_.mcusHigh) fail(Kind::internal, "more rows than the picture has");
    const int coded = inPlace && kept_ == 0 ? codeInPlace(band, at) : 0;
    at += coded > 0 ? coded : keep(band, at);
  }
}

// Begins with as many MCU rows of the band as there are, or as are coded at once. Returns the number of rows.
int Encoder::codeInPlace(const Picture& band, int first) {
  const bool last = band.height - first >= frame_.height - top();
  const int there = last ? frame_.mcusHigh - mcuRow_ : (band.height - first) / frame_.mcuHeight();
  const int count = std::min(there, coder_->rowsAtOnce());
  // One row alone would not keep several threads busy.
  if (count == 0 || (count == 1 && !last && coder_->rowsAtOnce() > 1)) return 0;
  const int rows = rowsOf(count);
  coder_->start(band, first, mcuRow_, count);
  mcuRow_ += count;
  return rows;
}

// Copies rows of the band until there are as many MCU rows as are coded at once. Returns their number.
int Encoder::keep(const Picture& band, int first) {
  Picture& rows = keptRows_[0];
  if (!rows.hasSamples()) {
    rows = layout_;
    rows.height = coder_->rowsAtOnce() * frame_.mcuHeight();
    for (Plane& plane : rows.planes) plane.height = ceilDiv(rows.height, plane.dy);
    rows.allocate(&work_.budget);
  }
  const int wanted = rowsOf(coder_->rowsAtOnce());
  const int count = std::min(wanted - kept_, band.height - first);
  copyRows(band, first, rows, kept_, count);
  kept_ += count;
  if (kept_ == wanted) startKept();
  return count;
}

// If several are coded at once, the next ones come meanwhile.
void Encoder::startKept() {
  const int count = ceilDiv(kept_, frame_.mcuHeight());
  coder_->start(keptRows_[0], 0, mcuRow_, count);
  if (coder_->rowsAtOnce() > 1) std::swap(keptRows_[0], keptRows_[1]);
  mcuRow_ += count;
  kept_ = 0;
}

void Encoder::end() {
  if (mcuRow_ != frame_.mcusHigh) fail(Kind::internal, "fewer rows than the picture has");
  coder_->finish();
  coder_->end();
  if (coefficients_) {
    coder_.reset();
    fillMcus(frame_, *coefficients_);
    writeScans(writer_, frame_, *coefficients_, coding_, work_);
  }
  writer_.marker(marker::eoi);
  writer_.flush();
}

}  // namespace

std::unique_ptr<RowSink> encoder(Output& output, const EncodeOptions& options, Work& work) {
  return std::make_unique<Encoder>(output, options, work);
}

}  // namespace moxj::jpeg
