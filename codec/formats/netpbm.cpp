// Rows of Netpbm files. Bytes that lie in memory are passed on as they are.
#include "formats/netpbm.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <limits>

#include "base/arithmetic.h"
#include "base/problem.h"
#include "pictures/packedrows.h"

namespace moxj::netpbm {

namespace {

constexpr std::size_t kWriteBytes = std::size_t{64} << 10;

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

// ---- Reader --------------------------------------------------------------------------------------------------------

class Reader : public RowSource {
 public:
  Reader(Input& input, ReadHeader readHeader, Work& work)
      : input_(input), file_(input.inPlace()), text_(input), readHeader_(readHeader), work_(work) {}

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
    header_ = readHeader_(text_);
    work_.limits.check(header_.width, header_.height);
    if (header_.width > static_cast<std::uint64_t>(INT_MAX / 2 / std::max(header_.channels, 3)) ||
        header_.height > INT_MAX)
      fail(Kind::limit, "the picture is too wide or too high");
    if (text_.atEnd()) fail(Kind::damaged, "the file ends after its header");
    Picture layout = Picture::layout(static_cast<int>(header_.width), static_cast<int>(header_.height),
                                     header_.channels, header_.bits(), header_.colour);
    layout.opacity = header_.opacity;
    for (Plane& plane : layout.planes) plane.maxval = header_.maxval;
    if (header_.bitmap && !header_.plain) {
      const std::size_t bytes = ceilDiv(header_.width, 8);
      work_.budget.charge(1, bytes);
      bits_.resize(bytes);
    }
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
    const int rows = std::min(std::max(rowsOfBand(layout), sink.rowsWanted()), layout.height);
    work_.budget.charge(static_cast<std::uint64_t>(rows), layout.rowBytes());  // of the file, in use at a time
    for (int y = 0; y < layout.height; y += rows) {
      const Picture band = picture.band(y, rows);
      sink.stayingRows(band);
      // The sink may be at work on these rows, not on those before them.
      input_.discard(static_cast<std::size_t>(band.row(0) - file_.data()));
      reportProgress(work_.progress, y, layout.height);
    }
    sink.end();
    return {};
  }

  // Returns how many samples there are.
  std::size_t readSamples(const Picture& band, std::size_t wanted) {
    if (header_.bitmap && !header_.plain) return readBits(band);
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
    for (; count < wanted && (header_.bitmap ? text_.bit(value) : text_.number(value)); ++count) {
      tooLarge_ |= value > max;
      samples[count] = static_cast<Type>(header_.bitmap ? 1 - value : std::min(value, max));
    }
    return count;
  }

  // Rows begin at whole bytes, and the highest bit is the first sample.
  std::size_t readBits(const Picture& band) {
    const std::size_t width = static_cast<std::size_t>(band.width);
    std::size_t count = 0;
    for (int y = 0; y < band.height; ++y) {
      const std::size_t has = std::min(text_.bytes().read(bits_.data(), bits_.size()) * 8, width);
      std::uint8_t* const row = band.row(y);
      for (std::size_t x = 0; x < has; ++x) row[x] = (bits_[x / 8] >> (7 - x % 8) & 1) ^ 1;
      count += has;
      if (has < width) break;
    }
    return count;
  }

  static void blackenFrom(const Picture& band, std::size_t sample) {
    const std::size_t begin = sample * static_cast<std::size_t>(sizeOf(band.planes[0].element));
    std::memset(band.row(0) + begin, 0, band.rowBytes() * static_cast<std::size_t>(band.height) - begin);
  }

  Outcome outcomeOf(std::uint64_t rows, bool complete, int height) {
    const char* const what = header_.bitmap ? "neither 0 nor 1" : "not a number";
    Outcome outcome;
    if (!complete)
      outcome.incomplete((!header_.plain || text_.atEnd() ? std::string("the file ends")
                                                          : std::string("the file has something that is ") + what) +
                         " after " + std::to_string(rows) + " of " + std::to_string(height) + " rows");
    if (tooLarge_) outcome.incomplete("samples above the maximum value in the header");
    return outcome;
  }

  Input& input_;
  ByteSpan file_;  // empty if it has to be read
  Text text_;
  ReadHeader readHeader_;
  Work& work_;
  Header header_;
  std::vector<std::uint8_t> bits_;  // a row
  bool tooLarge_ = false;
};

// ---- Writer --------------------------------------------------------------------------------------------------------

template <class Type>
void invert(std::uint8_t* bytes, const Picture& layout) {
  Type* samples = reinterpret_cast<Type*>(bytes);
  const std::size_t channels = layout.planes.size(), inks = static_cast<std::size_t>(layout.colours());
  for (int x = 0; x < layout.width; ++x, samples += channels)
    for (std::size_t i = 0; i < inks; ++i) samples[i] = static_cast<Type>(layout.planes[i].maxval - samples[i]);
}

class Writer : public RowSink {
 public:
  Writer(Output& output, std::string (*headerOf)(const Picture&)) : output_(output), headerOf_(headerOf) {}

  void begin(const Picture& layout) override { header_ = headerOf_(layout); }

  void rows(const Picture& band) override {
    if (band.planes[0].element == Element::u8 && !band.inverted && band.interleaved() &&
        band.planes[0].step == static_cast<std::ptrdiff_t>(band.rowBytes()))
      return write({band.row(0), band.rowBytes() * static_cast<std::size_t>(band.height)});
    packed_.begin(band);
    for (int y = 0; y < band.height; ++y) {
      const std::size_t before = bytes_.size();
      bytes_.append(packed_.row(y), band.rowBytes());
      if (band.inverted) invertRow(bytes_.data() + before, band);
      if (bytes_.size() >= kWriteBytes || y == band.height - 1) writeBytes(band.planes[0].element);
    }
  }

  void end() override {
    if (!header_.empty()) write({});
  }

 private:
  static void invertRow(std::uint8_t* row, const Picture& band) {
    band.planes[0].element == Element::u8 ? invert<std::uint8_t>(row, band) : invert<std::uint16_t>(row, band);
  }
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
  std::string (*headerOf_)(const Picture&);
  std::string header_;  // until it is written
  PackedRows packed_;
  Bytes bytes_;
};

}  // namespace

int readMagic(Text& text, std::string_view digits, const char* what) {
  std::uint8_t magic[2] = {};
  if (text.bytes().read(magic, 2) < 2 || magic[0] != 'P' || digits.find(static_cast<char>(magic[1])) == digits.npos)
    fail(Kind::notThisFormat, std::string("not a ") + what + " file");
  return magic[1] - '0';
}

void failHeader(Text& text) {
  fail(Kind::damaged, text.atEnd() ? "the file ends in its header" : "the header has something that is not a number");
}

void readSize(Text& text, Header& header) {
  if (!text.number(header.width) || !text.number(header.height)) failHeader(text);
}

std::unique_ptr<RowSource> reader(Input& input, ReadHeader readHeader, Work& work) {
  return std::make_unique<Reader>(input, readHeader, work);
}

std::unique_ptr<RowSink> writer(Output& output, std::string (*headerOf)(const Picture& layout)) {
  return std::make_unique<Writer>(output, headerOf);
}

Facts factsOf(Input& input, ReadHeader readHeader, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  Input bytes = Input::memory(file);
  Text text(bytes);
  Facts facts;
  facts.header = readHeader(text);
  facts.description.width = facts.header.width;
  facts.description.height = facts.header.height;
  facts.description.channels = facts.header.channels;
  facts.description.bits = facts.header.bits();
  facts.bytes = file.size();
  return facts;
}

bool hasMagic(ByteSpan first, std::string_view digits) {
  return first.size() >= 3 && first[0] == 'P' && digits.find(static_cast<char>(first[1])) != digits.npos &&
         (isSpace(first[2]) || first[2] == '#');
}

}  // namespace moxj::netpbm
