// The Netpbm formats PGM and PPM, plain (P2, P3) and raw (P5, P6), in bands of rows. Only the first picture of a file
// is read.
#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <limits>
#include <string>

#include "base/bytes.h"
#include "base/problem.h"
#include "formats/bytestream.h"
#include "formats/formats.h"
#include "formats/plain.h"
#include "pictures/packedrows.h"

namespace moxj {

namespace {

constexpr std::size_t kWriteBytes = std::size_t{64} << 10;

// ---- Header --------------------------------------------------------------------------------------------------------

bool isSpace(std::uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
bool isDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

// Numbers separated by white space and comments.
class Text {
 public:
  explicit Text(Input& input) : bytes_(input) {}

  ByteStream& bytes() { return bytes_; }
  bool atEnd() { return bytes_.atEnd(); }

  void skipBlanks() {
    while (!atEnd() && (isSpace(bytes_.peek()) || bytes_.peek() == '#'))
      bytes_.peek() == '#' ? skipComment() : bytes_.skip();
  }
  void skipComment() {
    while (!atEnd() && bytes_.peek() != '\n' && bytes_.peek() != '\r') bytes_.skip();
  }
  // The header is separated from raw samples by one white-space character, or by a comment up to the end of its line.
  void skipToRaster() {
    if (!atEnd() && bytes_.peek() == '#') skipComment();
    if (!atEnd() && isSpace(bytes_.peek())) bytes_.skip();
  }

  // The next number; false if there is none. Saturates.
  bool number(std::uint64_t& value) {
    skipBlanks();
    if (atEnd() || !isDigit(bytes_.peek())) return false;
    for (value = 0; !atEnd() && isDigit(bytes_.peek()); bytes_.skip())
      value = value > (UINT64_MAX - 9) / 10 ? UINT64_MAX : value * 10 + (bytes_.peek() - '0');
    return true;
  }

 private:
  ByteStream bytes_;
};

struct Header {
  bool plain = false;
  int channels = 0;
  std::uint64_t width = 0, height = 0;
  int maxval = 0;

  int bits() const { return std::bit_width(static_cast<unsigned>(maxval)); }
};

Header readHeader(Text& text) {
  std::uint8_t magic[2] = {};
  if (text.bytes().read(magic, 2) < 2 || magic[0] != 'P') fail(Kind::notThisFormat, "not a PPM or PGM file");
  const int type = magic[1] - '0';
  if (type == 1 || type == 4) fail(Kind::unsupported, "PBM bitmaps are not supported");
  if (type == 7) fail(Kind::unsupported, "PAM files are not supported");
  Header header;
  header.plain = type < 4;
  header.channels = type % 3 == 0 ? 3 : 1;
  std::uint64_t maxval = 0;
  if (!text.number(header.width) || !text.number(header.height) || !text.number(maxval))
    fail(Kind::damaged, text.atEnd() ? "the file ends in its header" : "the header has something that is not a number");
  if (header.width == 0 || header.height == 0) fail(Kind::damaged, "the picture has no pixels");
  if (maxval == 0 || maxval > 65535) fail(Kind::damaged, "the maximum value is not between 1 and 65535");
  header.maxval = static_cast<int>(maxval);
  return header;
}

// ---- Reader --------------------------------------------------------------------------------------------------------

template <class Type>
bool clampTo(Type maxval, Type* samples, std::size_t count) {
  const bool above = std::any_of(samples, samples + count, [&](Type sample) { return sample > maxval; });
  for (std::size_t i = 0; above && i < count; ++i) samples[i] = std::min(samples[i], maxval);
  return above;
}

// From or to big-endian.
void swapToNative(std::uint16_t* samples, std::size_t count) {
  if constexpr (std::endian::native == std::endian::little)
    for (std::size_t i = 0; i < count; ++i) samples[i] = __builtin_bswap16(samples[i]);
}

class PnmReader : public RowSource {
 public:
  PnmReader(Input& input, Work& work) : input_(input), file_(input.inPlace()), text_(input), work_(work) {}

  Outcome push(RowSink& sink) override {
    const Picture layout = readLayout();
    if (const ByteSpan raster = rasterInPlace(layout); !raster.empty()) return pushInPlace(layout, raster, sink);
    const std::size_t rowSamples = static_cast<std::size_t>(layout.width) * layout.planes.size();
    Picture buffer = layout.band(0, rowsOfBand(layout));
    buffer.allocate(&work_.budget);
    std::uint64_t count = 0, wanted = 0;
    for (int y = 0; y < layout.height; y += buffer.height) {
      const Picture band = buffer.band(0, std::min(buffer.height, layout.height - y));
      const std::size_t samples = rowSamples * static_cast<std::size_t>(band.height);
      const std::size_t read = count == wanted ? readSamples(band, samples) : 0;
      if (y == 0 && read == 0) fail(Kind::damaged, "no samples follow the header");
      blackenFrom(band, read);
      if (y == 0) sink.begin(layout);
      sink.rows(band);
      count += read;
      wanted += samples;
      reportProgress(work_.progress, y, layout.height);
    }
    sink.end();
    return outcomeOf(count / rowSamples, count == wanted, layout.height);
  }

 private:
  Picture readLayout() {
    header_ = readHeader(text_);
    work_.limits.check(header_.width, header_.height);
    if (header_.width > INT_MAX / 6 || header_.height > INT_MAX)
      fail(Kind::limit, "the picture is too wide or too high");
    if (!header_.plain) text_.skipToRaster();
    if (text_.atEnd()) fail(Kind::damaged, "the file ends after its header");
    Picture layout =
        Picture::layout(static_cast<int>(header_.width), static_cast<int>(header_.height), header_.channels,
                        header_.bits(), header_.channels == 3 ? Colour::rgb : Colour::grey);
    for (Plane& plane : layout.planes) plane.maxval = header_.maxval;
    return layout;
  }

  // The samples, if they can be used as they are: bytes of which none is missing.
  ByteSpan rasterInPlace(const Picture& layout) {
    if (header_.plain || header_.maxval != 255 || file_.empty()) return {};
    const ByteSpan raster = file_.subspan(text_.bytes().position());
    const std::uint64_t size = layout.rowBytes() * static_cast<std::uint64_t>(layout.height);
    return raster.size() < size ? ByteSpan{} : raster.first(static_cast<std::size_t>(size));
  }

  Outcome pushInPlace(const Picture& layout, ByteSpan raster, RowSink& sink) {
    sink.begin(layout);
    Picture picture = layout;
    for (std::size_t i = 0; i < picture.planes.size(); ++i) {
      picture.planes[i].samples = const_cast<std::uint8_t*>(raster.data()) + i;  // sinks do not write
      picture.planes[i].pixelStep = static_cast<int>(picture.planes.size());
      picture.planes[i].step = static_cast<std::ptrdiff_t>(layout.rowBytes());
    }
    const int rows = rowsOfBand(layout);
    for (int y = 0; y < layout.height; y += rows) {
      const Picture band = picture.band(y, rows);
      sink.rows(band);
      input_.discard(static_cast<std::size_t>(band.row(band.height) - file_.data()));
      reportProgress(work_.progress, y, layout.height);
    }
    sink.end();
    return {};
  }

  // Returns how many samples there are.
  std::size_t readSamples(const Picture& band, std::size_t wanted) {
    return visitRow(band.planes[0], 0, [&]<class Type>(Type* samples) {
      if (header_.plain) return readNumbers(samples, wanted);
      const std::size_t count =
          text_.bytes().read(reinterpret_cast<std::uint8_t*>(samples), wanted * sizeof(Type)) / sizeof(Type);
      if constexpr (sizeof(Type) == 2) swapToNative(reinterpret_cast<std::uint16_t*>(samples), count);
      if (header_.maxval != std::numeric_limits<Type>::max())
        tooLarge_ |= clampTo(static_cast<Type>(header_.maxval), samples, count);
      return count;
    });
  }

  template <class Type>
  std::size_t readNumbers(Type* samples, std::size_t wanted) {
    const auto max = static_cast<std::uint64_t>(header_.maxval);
    std::uint64_t value = 0;
    std::size_t count = 0;
    for (; count < wanted && text_.number(value); ++count) {
      tooLarge_ |= value > max;
      samples[count] = static_cast<Type>(std::min(value, max));
    }
    return count;
  }

  static void blackenFrom(const Picture& band, std::size_t sample) {
    const std::size_t begin = sample * static_cast<std::size_t>(sizeOf(band.planes[0].element));
    std::memset(band.row(0) + begin, 0, band.rowBytes() * static_cast<std::size_t>(band.height) - begin);
  }

  Outcome outcomeOf(std::uint64_t rows, bool complete, int height) {
    Outcome outcome;
    if (!complete)
      outcome.incomplete(std::string(!header_.plain || text_.atEnd() ? "the file ends"
                                                                     : "the file has something that is not a number") +
                         " after " + std::to_string(rows) + " of " + std::to_string(height) + " rows");
    if (tooLarge_) outcome.incomplete("samples above the maximum value in the header");
    return outcome;
  }

  Input& input_;
  ByteSpan file_;  // empty if it has to be read
  Text text_;
  Work& work_;
  Header header_;
  bool tooLarge_ = false;
};

Description describePnm(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  Input bytes = Input::memory(file);
  Text text(bytes);
  const Header header = readHeader(text);
  const bool colour = header.channels == 3;
  Description facts;
  facts.format = colour ? "PPM" : "PGM";
  facts.width = header.width;
  facts.height = header.height;
  facts.channels = header.channels;
  facts.bits = header.bits();
  const std::string kind = std::string(colour ? "RGB" : "grey") + (header.plain ? ", plain" : ", raw") +
                           ", maximum value " + std::to_string(header.maxval);
  return describePlain(std::move(facts), kind, file.size());
}

// ---- Writer --------------------------------------------------------------------------------------------------------

// Raw, with the maximum value of the planes.
class PnmWriter : public RowSink {
 public:
  explicit PnmWriter(Output& output) : output_(output) {}

  void begin(const Picture& layout) override {
    header_ = std::string(layout.planes.size() == 3 ? "P6\n" : "P5\n") + std::to_string(layout.width) + " " +
              std::to_string(layout.height) + "\n" + std::to_string(layout.planes[0].maxval) + "\n";
  }

  void rows(const Picture& band) override {
    if (band.planes[0].element == Element::u8 && band.interleaved() &&
        band.planes[0].step == static_cast<std::ptrdiff_t>(band.rowBytes()))
      return write({band.row(0), band.rowBytes() * static_cast<std::size_t>(band.height)});
    packed_.begin(band);
    for (int y = 0; y < band.height; ++y) {
      bytes_.append(packed_.row(y), band.rowBytes());
      if (bytes_.size() >= kWriteBytes || y == band.height - 1) writeBytes(band.planes[0].element);
    }
  }

  void end() override {
    if (!header_.empty()) write({});
  }

 private:
  void writeBytes(Element element) {
    if (element == Element::u16) swapToNative(reinterpret_cast<std::uint16_t*>(bytes_.data()), bytes_.size() / 2);
    write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }
  void write(ByteSpan samples) {
    output_.write({reinterpret_cast<const std::uint8_t*>(header_.data()), header_.size()}, samples);
    header_.clear();
  }

  Output& output_;
  std::string header_;  // until it is written
  PackedRows packed_;
  Bytes bytes_;
};

// ---- The formats ---------------------------------------------------------------------------------------------------

bool isPnm(ByteSpan first) {
  return first.size() >= 3 && first[0] == 'P' && first[1] >= '1' && first[1] <= '7' &&
         (isSpace(first[2]) || first[2] == '#');
}

std::unique_ptr<RowSource> open(Input& input, const ReadOptions&, Work& work) {
  return std::make_unique<PnmReader>(input, work);
}

std::unique_ptr<RowSink> create(Output& output, const WriteOptions&, Work&, std::vector<std::string>&) {
  return std::make_unique<PnmWriter>(output);
}

template <Colour... colours>
Holds holds(const WriteOptions&) {
  return {.colours = {colours...}, .maxBits = 16, .anyMaxval = true, .metadata = HeldMetadata::none()};
}

}  // namespace

extern const Format kPpmFormat, kPgmFormat, kPnmFormat;

constinit const Format kPpmFormat = {.label = "PPM",
                                     .names = {"ppm"},
                                     .describe = describePnm,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::rgb>};

constinit const Format kPgmFormat = {.label = "PGM",
                                     .names = {"pgm"},
                                     .describe = describePnm,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::grey>};

// PPM for colour, PGM for grey. It recognises both.
constinit const Format kPnmFormat = {.label = "PPM/PGM",
                                     .names = {"pnm"},
                                     .sniff = isPnm,
                                     .describe = describePnm,
                                     .open = open,
                                     .create = create,
                                     .holds = holds<Colour::grey, Colour::rgb>};

}  // namespace moxj
