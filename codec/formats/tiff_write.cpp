// The TIFF writer. Nothing is compressed, so the directory, with the place of every strip, comes before the rows, and
// the rows are written as they come. Files of more than 4 GiB become BigTIFF.
#include <algorithm>
#include <bit>
#include <cstring>

#include "base/problem.h"
#include "formats/tiff.h"
#include "formats/tiff_directory.h"
#include "formats/tiff_metadata.h"

namespace moxj::tiff {

namespace {

constexpr std::size_t kStripBytes = std::size_t{64} << 10;  // about
constexpr std::uint64_t kAlignment = 16;
enum Value : std::uint64_t {
  kUncompressed = 1,
  kMinIsBlack = 1,
  kRgb = 2,
  kSeparated = 5,
  kInterleaved = 1,
  kCmyk = 1,
  kSigned = 2,
  kUnspecified = 0,
  kAssociated = 1,
  kUnassociated = 2
};

class Writer : public RowSink {
 public:
  Writer(Output& output, Work& work) : output_(output), work_(work) {}

  void begin(const Picture& layout) override {
    const Plane& plane = layout.planes[0];
    sampleBytes_ = plane.bits / 8;
    little_ = wantsLittle(layout.metadata.get());
    rowBytes_ = static_cast<std::uint64_t>(layout.width) * layout.planes.size() * static_cast<unsigned>(sampleBytes_);
    rowsOfStrip_ = std::clamp<std::uint64_t>(kStripBytes / rowBytes_, 1, static_cast<std::uint64_t>(layout.height));
    strips_ = (static_cast<std::uint64_t>(layout.height) + rowsOfStrip_ - 1) / rowsOfStrip_;
    work_.budget.charge(64, strips_);
    writeHeader(layout);
  }

  void rows(const Picture& band) override {
    for (int y = 0; y < band.height; ++y) {
      const std::size_t before = bytes_.size();
      bytes_.resize(before + static_cast<std::size_t>(rowBytes_));
      for (std::size_t i = 0; i < band.planes.size(); ++i) store(band, i, y, bytes_.data() + before);
      if (bytes_.size() >= kStripBytes) flush();
    }
  }

  void end() override { flush(); }

 private:
  // ---- Header ------------------------------------------------------------------------------------------------------

  // The size of the directory, which has the offsets of the strips, does not depend on them.
  void writeHeader(const Picture& layout) {
    const std::uint64_t samples = rowBytes_ * static_cast<std::uint64_t>(layout.height);
    Directory directory = directoryOf(layout, 0, false);
    std::uint64_t begin = aligned(serialisedSize(directory, false));
    const bool big = begin + samples > UINT32_MAX;
    if (big) {
      directory = directoryOf(layout, 0, true);
      begin = aligned(serialisedSize(directory, true));
    }
    bytes_ = serialised(directoryOf(layout, begin, big), little_, big);
    while (bytes_.size() < begin) bytes_.push_back(0);
  }
  static std::uint64_t aligned(std::uint64_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }

  Directory directoryOf(const Picture& layout, std::uint64_t begin, bool big) const {
    const Values values(little_);
    const std::size_t samples = layout.planes.size();
    const Plane& plane = layout.planes[0];
    std::vector<std::uint64_t> offsets, sizes;
    for (std::uint64_t strip = 0; strip < strips_; ++strip) {
      const std::uint64_t rows =
          std::min(rowsOfStrip_, static_cast<std::uint64_t>(layout.height) - strip * rowsOfStrip_);
      offsets.push_back(begin + strip * rowsOfStrip_ * rowBytes_);
      sizes.push_back(rows * rowBytes_);
    }
    Directory directory;
    const auto add = [&](std::uint16_t tag, Type type, std::vector<std::uint64_t> numbers) {
      directory.entries.push_back(values.numbers(tag, type, numbers));
    };
    add(kImageWidth, kLong, {static_cast<std::uint64_t>(layout.width)});
    add(kImageLength, kLong, {static_cast<std::uint64_t>(layout.height)});
    add(kBitsPerSample, kShort, std::vector<std::uint64_t>(samples, static_cast<std::uint64_t>(plane.bits)));
    add(kCompression, kShort, {kUncompressed});
    add(kPhotometric, kShort, {photometricOf(layout)});
    add(kStripOffsets, big ? kLong8 : kLong, std::move(offsets));
    add(kSamplesPerPixel, kShort, {samples});
    add(kRowsPerStrip, kLong, {rowsOfStrip_});
    add(kStripByteCounts, big ? kLong8 : kLong, std::move(sizes));
    add(kPlanarConfiguration, kShort, {kInterleaved});
    if (layout.colour == Colour::cmyk) add(kInkSet, kShort, {kCmyk});
    if (std::vector<std::uint64_t> extra = extraSamplesOf(layout); !extra.empty())
      add(kExtraSamples, kShort, std::move(extra));
    if (plane.isSigned) add(kSampleFormat, kShort, std::vector<std::uint64_t>(samples, kSigned));
    addMetadata(directory, layout.metadata.get(), little_);
    return directory;
  }

  static std::uint64_t photometricOf(const Picture& layout) {
    return layout.colour == Colour::rgb ? kRgb : layout.colour == Colour::cmyk ? kSeparated : kMinIsBlack;
  }

  static std::vector<std::uint64_t> extraSamplesOf(const Picture& layout) {
    const std::size_t colours = layout.colour == Colour::rgb ? 3 : layout.colour == Colour::cmyk ? 4 : 1;
    std::vector<std::uint64_t> types(layout.planes.size() - std::min(colours, layout.planes.size()), kUnspecified);
    if (layout.opacity != Opacity::none && !types.empty())
      types.back() = layout.opacity == Opacity::premultiplied ? kAssociated : kUnassociated;
    return types;
  }

  // ---- Rows --------------------------------------------------------------------------------------------------------

  // Inks are 0 where there is none.
  void store(const Picture& band, std::size_t index, int y, std::uint8_t* row) const {
    const Plane& plane = band.planes[index];
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(band.planes.size()) * sampleBytes_;
    const bool inverted = band.inverted && static_cast<int>(index) < band.colours();
    const bool swapped = little_ != (std::endian::native == std::endian::little);
    std::uint8_t* to = row + static_cast<std::ptrdiff_t>(index) * sampleBytes_;
    visitRow(plane, y, [&](const auto* from) {
      for (int x = 0; x < plane.width; ++x, from += plane.pixelStep, to += step) {
        const auto value = static_cast<std::uint16_t>(inverted ? plane.maxval - *from : *from);
        if (sampleBytes_ == 1) {
          *to = static_cast<std::uint8_t>(value);
        } else {
          const std::uint16_t word = swapped ? __builtin_bswap16(value) : value;
          std::memcpy(to, &word, sizeof word);
        }
      }
    });
  }

  void flush() {
    output_.write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }

  Output& output_;
  Work& work_;
  int sampleBytes_ = 1;
  bool little_ = true;
  std::uint64_t rowBytes_ = 0, rowsOfStrip_ = 0, strips_ = 0;
  Bytes bytes_;  // not written yet
};

}  // namespace

std::unique_ptr<RowSink> writer(Output& output, Work& work) { return std::make_unique<Writer>(output, work); }

}  // namespace moxj::tiff
