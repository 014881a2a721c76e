// The TIFF reader. Strips of interleaved samples are read row by row; tiles, planes apart and YCbCr a row of chunks at
// a time. JPEG chunks become files of their own for the codec's decoder: the tables of the directory, and a
// segment that says what the components are.
#include "formats/tiff.h"

#include "base/problem.h"
#include "formats/plain.h"

#if MOXJ_LIBTIFF

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <optional>

#include "base/arithmetic.h"
#include "formats/tiff_directory.h"
#include "formats/tiff_facts.h"
#include "formats/tiff_metadata.h"
#include "jpeg/jpeg.h"
#include "pictures/colourspace/space.h"
#include "pictures/opacity.h"

namespace moxj::tiff {

namespace {

// ---- Samples -------------------------------------------------------------------------------------------------------

// Whole bytes and words are in the byte order of the machine, other samples are packed, the highest bit first.
void unpack(const std::uint8_t* from, const Facts& facts, std::size_t count, std::int32_t* to) {
  const int bits = facts.bits;
  if (bits == 8) {
    std::copy_n(from, count, to);
  } else if (bits == 16) {
    for (std::size_t i = 0; i < count; ++i) {
      std::uint16_t word;
      std::memcpy(&word, from + 2 * i, sizeof word);
      to[i] = word;
    }
  } else {
    std::uint32_t window = 0;
    int has = 0;
    for (std::size_t i = 0; i < count; ++i) {
      for (; has < bits; has += 8) window = window << 8 | *from++;
      has -= bits;
      to[i] = static_cast<std::int32_t>(window >> has & ((1u << bits) - 1));
    }
  }
  const std::int32_t sign = facts.isSigned() ? 1 << (bits - 1) : 0;
  for (std::size_t i = 0; sign != 0 && i < count; ++i) to[i] = (to[i] ^ sign) - sign;
}

void swapWords(std::vector<std::uint8_t>& bytes) {
  for (std::size_t i = 0; i + 2 <= bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
}

// YCbCr of any coefficients and reference levels (TIFF 6.0, section 21).
class YccConverter {
 public:
  explicit YccConverter(const Session& session) {
    float *coefficients = nullptr, *levels = nullptr;
    session.calls().getFieldDefaulted(session.file(), TIFFTAG_YCBCRCOEFFICIENTS, &coefficients);
    session.calls().getFieldDefaulted(session.file(), TIFFTAG_REFERENCEBLACKWHITE, &levels);
    if (coefficients) std::copy_n(coefficients, 3, coefficients_);
    if (levels) std::copy_n(levels, 6, levels_);
  }
  void convert(std::uint8_t y, std::uint8_t cb, std::uint8_t cr, std::uint8_t* rgb) const {
    const double luma = level(y, 0, 255), blueness = level(cb, 1, 127), redness = level(cr, 2, 127);
    const double red = luma + redness * (2 - 2 * coefficients_[0]);
    const double blue = luma + blueness * (2 - 2 * coefficients_[2]);
    const double green = (luma - coefficients_[2] * blue - coefficients_[0] * red) / coefficients_[1];
    rgb[0] = rounded(red);
    rgb[1] = rounded(green);
    rgb[2] = rounded(blue);
  }

 private:
  double level(std::uint8_t code, int component, double range) const {
    const double black = levels_[2 * component], white = levels_[2 * component + 1];
    return (code - black) * range / (white - black);
  }
  // What is not a number is black.
  static std::uint8_t rounded(double value) {
    return value > 0 ? static_cast<std::uint8_t>(std::lround(std::min(value, 255.0))) : std::uint8_t{0};
  }

  double coefficients_[3] = {0.299, 0.587, 0.114}, levels_[6] = {0, 255, 128, 255, 128, 255};
};

// ---- JPEG ----------------------------------------------------------------------------------------------------------

constexpr std::uint8_t kSoi[] = {0xFF, 0xD8};

ByteSpan withoutSoi(ByteSpan bytes) {
  const bool has = bytes.size() >= 2 && std::equal(std::begin(kSoi), std::end(kSoi), bytes.begin());
  return bytes.subspan(has ? 2 : 0);
}

ByteSpan withoutEoi(ByteSpan bytes) {
  const bool has = bytes.size() >= 2 && bytes[bytes.size() - 2] == 0xFF && bytes.back() == 0xD9;
  return bytes.first(bytes.size() - (has ? 2 : 0));
}

// Colours are those of the directory, whatever the components are called.
enum Transform : std::uint8_t { kNoTransform = 0, kYcc = 1 };

Bytes jpegFile(ByteSpan tables, ByteSpan chunk, Transform transform, bool marked) {
  Bytes file;
  file.append(kSoi, sizeof kSoi);
  const std::uint8_t marker[] = {0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform};
  if (marked) file.append(marker, sizeof marker);
  file.append(withoutEoi(withoutSoi(tables)));
  file.append(withoutSoi(chunk));
  return file;
}

// Damage to more strips or tiles than these ends the search for more: each attempt takes time.
constexpr int kMaxFailures = 1000;

// ---- The reader ----------------------------------------------------------------------------------------------------

class Reader : public RowSource {
 public:
  Reader(Input& input, const ReadOptions& options, Work& work) : input_(input), options_(options), work_(work) {}

  Outcome push(RowSink& sink) override {
    file_ = input_.all(maxFileBytes(work_.limits));
    session_.emplace(file_, work_.limits.maxMemory, Strips::divided);
    facts_ = factsOf(*session_);
    work_.limits.check(facts_.width, facts_.height);
    checkSupported(facts_, *session_);
    checkSize();
    prepare();
    sink_ = &sink;
    if (!facts_.tiled && !facts_.separate && !facts_.ycbcr() && !facts_.jpeg())
      readRows();
    else
      readChunks();
    if (!anyGood_) fail(Kind::damaged, cause_);
    sink.end();
    if (firstBad_ >= 0)
      outcome_.incomplete(cause_ + ", after " + std::to_string(firstBad_) + " of " + std::to_string(layout_.height) +
                          " rows");
    if (facts_.several) outcome_.notes.push_back("only the first picture of the file is read");
    return std::move(outcome_);
  }

 private:
  // ---- The layout --------------------------------------------------------------------------------------------------

  void checkSize() const {
    if (facts_.width > static_cast<std::uint32_t>(INT_MAX / 4 / std::max(facts_.samples, 4)) ||
        facts_.height > INT_MAX || facts_.chunkWidth > INT_MAX || facts_.chunkHeight > INT_MAX)
      fail(Kind::limit, "the picture is too wide or too high");
  }

  bool expandsPalette() const { return facts_.palette() && !options_.components; }

  // Opacity moves to the end.
  void prepare() {
    const int width = static_cast<int>(facts_.width), height = static_cast<int>(facts_.height);
    Colour colour = facts_.colour;
    if (facts_.palette() && options_.components) colour = Colour::grey;
    raw_ = Picture::layout(width, height, facts_.samples, facts_.bits, colour);
    for (Plane& plane : raw_.planes) plane = Plane::of(width, height, facts_.bits, facts_.isSigned());
    if (facts_.opacity >= 0) raw_.opacity = Opacity::straight;
    for (int sample = 0; sample < facts_.samples; ++sample)
      planeOf_.push_back(facts_.opacity < 0 || sample < facts_.opacity ? sample
                         : sample == facts_.opacity                    ? facts_.samples - 1
                                                                       : sample - 1);
    layout_ = raw_;
    if (facts_.otherInks() && !options_.components) {
      static const auto inks = std::make_shared<const ColourSpace>(
          ColourSpace{.kind = ColourSpace::Kind::unusable, .name = "inks other than CMYK", .note = {}});
      layout_.space = inks;
    }
    if (expandsPalette()) {
      palette_ = paletteOf(facts_, *session_);
      layout_ = Picture::layout(width, height, 3, palette_.bits, Colour::rgb);
    }
    plain_ = facts_.compression == COMPRESSION_NONE &&
             session_->number<std::uint16_t>(TIFFTAG_FILLORDER) == FILLORDER_MSB2LSB;
    if (const std::optional<File> file = File::of(file_)) {
      swaps_ = facts_.bits == 16 && file->little() != (std::endian::native == std::endian::little);
      Metadata metadata = metadataOf(*file, work_.budget);
      if (!metadata.empty()) layout_.metadata = std::make_shared<const Metadata>(std::move(metadata));
      const Directory first =
          file->first([](std::uint16_t tag) { return tag == kJpegTables || tag == kPhotometric || tag == kColourMap; });
      if (const Entry* const tables = first.find(kJpegTables)) tables_ = tables->value;
      // libtiff takes such a picture for grey.
      if (file->number(first.find(kPhotometric)) == PHOTOMETRIC_PALETTE && !first.find(kColourMap))
        fail(Kind::damaged, "the palette is missing");
    }
  }

  void charge(std::uint64_t bytes, std::vector<std::uint8_t>& memory) {
    work_.budget.charge(1, bytes);
    memory.resize(static_cast<std::size_t>(bytes));
  }

  void allocate(int rows) {
    buffer_ = raw_.band(0, rows);
    buffer_.allocate(&work_.budget);
    if (expandsPalette()) {
      expanded_ = layout_.band(0, rows);
      expanded_.allocate(&work_.budget);
    }
  }

  // ---- Rows --------------------------------------------------------------------------------------------------------

  std::uint64_t bytesOfRow(std::uint64_t width) const {
    return (width * static_cast<unsigned>(facts_.samplesOfChunk()) * static_cast<unsigned>(facts_.bits) + 7) / 8;
  }

  void readRows() {
    allocate(rowsOfBand(raw_));
    charge(std::max(session_->calls().scanlineSize(session_->file()), bytesOfRow(facts_.width)), bytes_);
    chargeLine(facts_.width);
    int skip = 0;  // the first row after a strip that is damaged
    for (int y = 0; y < raw_.height; y += buffer_.height) {
      const Picture band = buffer_.band(0, std::min(buffer_.height, raw_.height - y));
      for (int i = 0; i < band.height; ++i) {
        const int row = y + i;
        if (row >= skip && !readRow(row, band, i)) skip = endOfStrip(row);
        if (row < skip) band.band(i, 1).clear();
      }
      give(band, y);
    }
  }

  int endOfStrip(int row) const {
    if (failures_ >= kMaxFailures) return raw_.height;
    const auto rows = static_cast<std::int64_t>(facts_.chunkHeight);
    return static_cast<int>(std::min<std::int64_t>((row / rows + 1) * rows, raw_.height));
  }

  // Samples that are not compressed are taken from the file: of a strip that is cut off, too.
  bool takeRow(int row) {
    const std::uint64_t strip = static_cast<unsigned>(row) / facts_.chunkHeight, size = bytesOfRow(facts_.width);
    const std::uint64_t offset = session_->calls().chunkOffset(session_->file(), static_cast<std::uint32_t>(strip)) +
                                 static_cast<unsigned>(row) % facts_.chunkHeight * size;
    if (offset == 0 || offset > file_.size() || size > file_.size() - offset) {
      damaged(row, "the file ends early");
      return false;
    }
    std::memcpy(bytes_.data(), file_.data() + offset, static_cast<std::size_t>(size));
    if (swaps_) swapWords(bytes_);
    return true;
  }

  bool readRow(int row, const Picture& band, int y) {
    if (plain_) {
      if (!takeRow(row)) return false;
    } else if (session_->calls().readScanline(session_->file(), bytes_.data(), static_cast<std::uint32_t>(row), 0) <
               0) {
      damaged(row, session_->takeError("the samples are damaged"));
      return false;
    }
    anyGood_ = true;
    loadSamples(bytes_.data(), band, 0, y, raw_.width, 0);
    return true;
  }

  void chargeLine(std::uint64_t width) {
    const std::uint64_t samples = width * static_cast<unsigned>(facts_.samplesOfChunk());
    work_.budget.charge(sizeof(std::int32_t), samples);
    line_.resize(static_cast<std::size_t>(samples));
  }

  // Samples of a chunk's row to row y of a band, from column x on.
  void loadSamples(const std::uint8_t* from, const Picture& band, int x, int y, int width, int firstSample) {
    const auto samples = static_cast<std::size_t>(facts_.samplesOfChunk());
    const bool plain = facts_.bits == 8 && !facts_.isSigned() && samples == band.planes.size() && facts_.opacity < 0 &&
                       facts_.photometric != PHOTOMETRIC_MINISWHITE;
    if (plain) {
      std::memcpy(band.row(y) + static_cast<std::size_t>(x) * samples, from, static_cast<std::size_t>(width) * samples);
      return;
    }
    unpack(from, facts_, static_cast<std::size_t>(width) * samples, line_.data());
    for (std::size_t i = 0; i < samples; ++i) {
      const int sample = firstSample + static_cast<int>(i);
      const Plane& plane = band.planes[static_cast<std::size_t>(planeOf_[static_cast<std::size_t>(sample)])];
      const bool inverted = facts_.photometric == PHOTOMETRIC_MINISWHITE && sample == 0;
      const std::int32_t sum = plane.maxval + plane.minval();
      visitRow(plane, y, [&]<class Type>(Type* row) {
        Type* to = row + std::ptrdiff_t{x} * plane.pixelStep;
        const std::int32_t* value = line_.data() + i;
        for (int column = 0; column < width; ++column, to += plane.pixelStep, value += samples)
          *to = static_cast<Type>(inverted ? sum - *value : *value);
      });
    }
  }

  // ---- Chunks ------------------------------------------------------------------------------------------------------

  void readChunks() {
    const std::uint64_t rows = std::min(facts_.chunkHeight, facts_.height);
    allocate(static_cast<int>(rows));
    if (!facts_.jpeg()) {
      const auto& calls = session_->calls();
      const std::uint64_t size = facts_.tiled ? calls.tileSize(session_->file()) : calls.stripSize(session_->file());
      charge(std::max(size, neededBytes()), bytes_);
      chargeLine(facts_.chunkWidth);
    }
    if (facts_.ycbcr()) ycc_.emplace(*session_);
    for (std::uint32_t row = 0; row < facts_.chunksDown(); ++row) {
      const int y = static_cast<int>(row * facts_.chunkHeight);
      const Picture band = buffer_.band(0, std::min(buffer_.height, raw_.height - y));
      for (int sample = 0; sample < facts_.samples; sample += facts_.samplesOfChunk())
        for (std::uint32_t column = 0; column < facts_.chunksAcross(); ++column) readChunk(row, column, sample, band);
      give(band, y);
    }
  }

  // Blocks of sub-sampled YCbCr: their luminance, then Cb and Cr.
  std::uint64_t blocksAcross() const { return ceilDiv<std::uint64_t>(facts_.chunkWidth, facts_.horizontal); }
  std::uint64_t bytesOfBlock() const { return std::uint64_t{facts_.horizontal} * facts_.vertical + 2; }
  std::uint64_t neededBytes(std::uint64_t rows) const {
    if (facts_.ycbcr()) return ceilDiv<std::uint64_t>(rows, facts_.vertical) * blocksAcross() * bytesOfBlock();
    return rows * bytesOfRow(facts_.chunkWidth);
  }
  std::uint64_t neededBytes() const { return neededBytes(facts_.chunkHeight); }

  void readChunk(std::uint32_t row, std::uint32_t column, int sample, const Picture& band) {
    const std::uint64_t perPlane = std::uint64_t{facts_.chunksAcross()} * facts_.chunksDown();
    const auto index = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(static_cast<unsigned>(facts_.separate ? sample : 0) * perPlane +
                                    std::uint64_t{row} * facts_.chunksAcross() + column,
                                UINT32_MAX));
    const int x = static_cast<int>(column * facts_.chunkWidth), y = static_cast<int>(row * facts_.chunkHeight);
    const int width = std::min(static_cast<int>(facts_.chunkWidth), raw_.width - x);
    if (failures_ >= kMaxFailures)
      clear(band, x, width, sample);
    else if (facts_.jpeg() ? readJpeg(index, x, width, sample, band) : readPacked(index, x, width, sample, band))
      anyGood_ = true;
    else
      damaged(y, std::move(chunkError_));
  }

  bool readPacked(std::uint32_t index, int x, int width, int sample, const Picture& band) {
    const auto& calls = session_->calls();
    std::fill(bytes_.begin(), bytes_.end(), std::uint8_t{0});
    const auto size = static_cast<tmsize_t>(bytes_.size());
    const tmsize_t has = facts_.tiled ? calls.readTile(session_->file(), index, bytes_.data(), size)
                                      : calls.readStrip(session_->file(), index, bytes_.data(), size);
    const auto rows = static_cast<std::uint64_t>(facts_.tiled ? static_cast<int>(facts_.chunkHeight) : band.height);
    const bool good = has >= 0 && static_cast<std::uint64_t>(has) >= neededBytes(rows);
    if (!good) chunkError_ = session_->takeError("the samples end early");
    if (facts_.ycbcr()) {
      loadYcc(band, x, width);
    } else {
      for (int y = 0; y < band.height; ++y)
        loadSamples(bytes_.data() + static_cast<std::uint64_t>(y) * bytesOfRow(facts_.chunkWidth), band, x, y, width,
                    sample);
    }
    return good;
  }

  void loadYcc(const Picture& band, int x, int width) {
    const int across = facts_.horizontal, down = facts_.vertical;
    for (int y = 0; y < band.height; ++y) {
      const std::uint8_t* const blocks =
          bytes_.data() + static_cast<std::uint64_t>(y / down) * blocksAcross() * bytesOfBlock();
      std::uint8_t* to = band.row(y) + 3 * std::ptrdiff_t{x};
      for (int column = 0; column < width; ++column, to += 3) {
        const std::uint8_t* const block = blocks + static_cast<std::uint64_t>(column / across) * bytesOfBlock();
        ycc_->convert(block[y % down * across + column % across], block[across * down], block[across * down + 1], to);
      }
    }
  }

  // ---- JPEG --------------------------------------------------------------------------------------------------------

  bool readJpeg(std::uint32_t index, int x, int width, int sample, const Picture& band) {
    const std::uint64_t used = work_.budget.used();
    try {
      decodeJpeg(index, x, width, sample, band);
    } catch (const Problem& problem) {
      if (!liesInFile(problem.kind)) throw;
      clear(band, x, width, sample);
      chunkError_ = problem.what();
    }
    work_.budget.restore(used);
    return chunkError_.empty();
  }

  void decodeJpeg(std::uint32_t index, int x, int width, int sample, const Picture& band) {
    const auto& calls = session_->calls();
    const std::uint64_t offset = calls.chunkOffset(session_->file(), index),
                        size = calls.chunkBytes(session_->file(), index);
    if (offset > file_.size() || size == 0) fail(Kind::damaged, "a strip or tile is missing");
    const ByteSpan chunk = file_.subspan(static_cast<std::size_t>(offset));
    work_.budget.charge(1, std::min<std::uint64_t>(size, chunk.size()) + tables_.size());
    const bool ycc = facts_.ycbcr() && !facts_.separate;
    const Bytes file =
        jpegFile(tables_, chunk.first(static_cast<std::size_t>(std::min<std::uint64_t>(size, chunk.size()))),
                 ycc ? kYcc : kNoTransform, facts_.samplesOfChunk() > 1);
    Limits limits = work_.limits;
    limits.maxMemory -= std::min(limits.maxMemory, work_.budget.used());
    Work work(limits);
    PictureCollector collector(&work.budget);
    const Outcome outcome =
        jpeg::decode({file.data(), file.size()}, {.inks = true, .components = true}, collector, work);
    const Picture& picture = collector.picture();
    const bool fits = static_cast<int>(picture.planes.size()) == facts_.samplesOfChunk() && picture.width >= width &&
                      picture.height >= band.height && picture.planes[0].bits == facts_.bits && !facts_.isSigned();
    if (!fits) fail(Kind::damaged, "a JPEG strip or tile does not fit its place");
    copyChunk(picture, x, width, sample, band);
    if (!outcome.complete) chunkError_ = outcome.warning;
  }

  void copyChunk(const Picture& from, int x, int width, int sample, const Picture& band) {
    for (std::size_t i = 0; i < from.planes.size(); ++i) {
      const Plane& source = from.planes[i];
      const Plane& plane = band.planes[static_cast<std::size_t>(planeOf_[static_cast<std::size_t>(sample) + i])];
      const bool inverted = facts_.photometric == PHOTOMETRIC_MINISWHITE && sample + static_cast<int>(i) == 0;
      for (int y = 0; y < band.height; ++y) {
        visitRow(plane, y, [&]<class Type>(Type* row) {
          Type* to = row + std::ptrdiff_t{x} * plane.pixelStep;
          const Type* value = source.row<const Type>(y);
          for (int column = 0; column < width; ++column, to += plane.pixelStep, value += source.pixelStep)
            *to = static_cast<Type>(inverted ? plane.maxval - *value : *value);
        });
      }
    }
  }

  void clear(const Picture& band, int x, int width, int sample) const {
    for (int of = sample; of < sample + facts_.samplesOfChunk(); ++of) {
      const Plane& plane = band.planes[static_cast<std::size_t>(planeOf_[static_cast<std::size_t>(of)])];
      for (int y = 0; y < band.height; ++y)
        visitRow(plane, y, [&](auto* row) {
          for (int column = x; column < x + width; ++column) row[std::ptrdiff_t{column} * plane.pixelStep] = 0;
        });
    }
  }

  // ---- Giving ------------------------------------------------------------------------------------------------------

  void damaged(int row, std::string cause) {
    if (firstBad_ < 0) {
      firstBad_ = row;
      cause_ = std::move(cause);
    }
    chunkError_.clear();
    ++failures_;
  }

  // With the first rows that are there, the sink begins: a file without any leaves no trace in the output.
  void give(const Picture& band, int y) {
    if (facts_.premultiplied) divideByOpacity(band);
    if (!begun_ && !anyGood_ && y + band.height == raw_.height) fail(Kind::damaged, cause_);
    if (!begun_) sink_->begin(layout_);
    begun_ = true;
    if (expandsPalette()) {
      const Picture colours = expanded_.band(0, band.height);
      expand(band, colours);
      sink_->rows(colours);
    } else {
      sink_->rows(band);
    }
    reportProgress(work_.progress, y, raw_.height);
  }

  void expand(const Picture& indices, const Picture& colours) const {
    for (int y = 0; y < indices.height; ++y) {
      visitRow(colours.planes[0], y, [&]<class Type>(Type* to) {
        visitRow(indices.planes[0], y, [&](const auto* index) {
          for (int x = 0; x < indices.width; ++x)
            for (const std::uint16_t sample : palette_.colours[static_cast<std::size_t>(index[x])])
              *to++ = static_cast<Type>(sample);
        });
      });
    }
  }

  Input& input_;
  const ReadOptions options_;
  Work& work_;
  ByteSpan file_;
  std::optional<Session> session_;
  Facts facts_;
  Picture raw_, layout_;       // the samples as they are, and as they are given
  Picture buffer_, expanded_;  // bands of them
  std::vector<int> planeOf_;   // by the sample
  Palette palette_;
  std::optional<YccConverter> ycc_;
  std::vector<std::uint8_t> tables_;  // of JPEG
  std::vector<std::uint8_t> bytes_;   // a row or a chunk
  std::vector<std::int32_t> line_;    // samples of a row of it
  RowSink* sink_ = nullptr;
  Outcome outcome_;
  std::string chunkError_, cause_;
  int firstBad_ = -1;  // row
  int failures_ = 0;   // strips or tiles
  bool anyGood_ = false, begun_ = false;
  bool plain_ = false, swaps_ = false;  // not compressed; words in the other byte order
};

}  // namespace

std::unique_ptr<RowSource> reader(Input& input, const ReadOptions& options, Work& work) {
  return std::make_unique<Reader>(input, options, work);
}

Description describe(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  const Session session(file, work.limits.maxMemory, Strips::asWritten);
  const Facts found = factsOf(session);
  Description facts;
  facts.format = "TIFF";
  facts.width = found.width;
  facts.height = found.height;
  facts.channels = found.palette() ? 3 : found.samples;
  facts.bits = found.bits;
  if (const std::optional<File> read = File::of(file)) {
    Metadata metadata = metadataOf(*read, work.budget);
    if (!metadata.empty()) facts.metadata = std::make_shared<const Metadata>(std::move(metadata));
  }
  return describePlain(std::move(facts), kindOf(found), file.size());
}

}  // namespace moxj::tiff

#else

namespace moxj::tiff {

namespace {

[[noreturn]] void failWithout() {
  fail(Kind::unsupported, "reading TIFF files needs libtiff, without which this was built");
}

}  // namespace

std::unique_ptr<RowSource> reader(Input&, const ReadOptions&, Work&) { failWithout(); }
Description describe(Input&, Work&) { failWithout(); }

}  // namespace moxj::tiff

#endif
