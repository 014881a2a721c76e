// Rows of BMP files. Nearly all begin with the bottom row, so the whole file is mapped, or read if it is a stream.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "base/problem.h"
#include "formats/bmp.h"

namespace moxj::bmp {

namespace {

// ---- Run lengths ---------------------------------------------------------------------------------------------------

// Decodes run lengths to indices into the palette, the bottom row first. Pixels that are skipped have index 0.
class RunLengths {
 public:
  RunLengths(const Header& header, ByteSpan bytes)
      : bytes_(bytes), width_(header.width), height_(header.height), nibbles_(header.coding == Coding::rle4) {}

  // Returns false if the data end early or have rows beyond the picture. Some writers fill rows up to a whole number of
  // words; these pixels are left out.
  bool decode(std::uint8_t* to) {
    to_ = to;
    while (!ended_ && at_ + 2 <= bytes_.size()) {
      const int first = bytes_[at_], second = bytes_[at_ + 1];
      at_ += 2;
      if (first > 0)
        run(first, second);
      else if (second < 3)
        escape(second);
      else
        absolute(second);
    }
    // Some writers leave out the end.
    return good_ && (ended_ || y_ >= height_ || (y_ == height_ - 1 && x_ >= width_));
  }
  // How many rows have begun.
  int rows() const { return std::min(y_ + (x_ > 0), height_); }

 private:
  void put(int index) {
    if (y_ >= height_)
      good_ = false;
    else if (x_ < width_)
      to_[static_cast<std::size_t>(y_) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x_)] =
          static_cast<std::uint8_t>(index);
    x_ = std::min(x_ + 1, width_);
  }
  void run(int count, int value) {
    for (int i = 0; i < count; ++i) put(!nibbles_ ? value : i % 2 == 0 ? value >> 4 : value & 15);
  }
  void absolute(int count) {
    const std::size_t size = static_cast<std::size_t>(nibbles_ ? (count + 1) / 2 : count);
    if (size > bytes_.size() - at_) {
      at_ = bytes_.size();
      return;
    }
    for (int i = 0; i < count; ++i) {
      const int value = bytes_[at_ + static_cast<std::size_t>(nibbles_ ? i / 2 : i)];
      put(!nibbles_ ? value : i % 2 == 0 ? value >> 4 : value & 15);
    }
    at_ += std::min(size + size % 2, bytes_.size() - at_);
  }
  void escape(int code) {
    if (code == 0) {
      x_ = 0;
      y_ = std::min(y_ + 1, height_);
    } else if (code == 1) {
      ended_ = true;
    } else if (at_ + 2 <= bytes_.size()) {
      x_ = std::min(x_ + bytes_[at_], width_);
      y_ = std::min(y_ + bytes_[at_ + 1], height_);
      at_ += 2;
    }
  }

  ByteSpan bytes_;
  std::size_t at_ = 0;
  int width_, height_;
  bool nibbles_;
  std::uint8_t* to_ = nullptr;
  int x_ = 0, y_ = 0;
  bool ended_ = false, good_ = true;
};

// ---- Pixels --------------------------------------------------------------------------------------------------------

// A field becomes a sample by repeating its bits, as the words of the library do.
std::uint32_t sampleOf(std::uint32_t word, const Field& field, int depth) {
  if (field.bits == 0) return 0;
  const std::uint32_t value = word >> field.shift & ((1u << field.bits) - 1);
  std::uint32_t sample = 0;
  for (int at = depth - field.bits; at > -field.bits; at -= field.bits) sample |= at >= 0 ? value << at : value >> -at;
  return sample;
}

class Reader : public RowSource {
 public:
  Reader(Input& input, bool native, Work& work) : input_(input), native_(native), work_(work) {}

  Outcome push(RowSink& sink) override {
    file_ = input_.all(maxFileBytes(work_.limits));
    Outcome outcome;
    header_ = readHeader(file_, work_, outcome.notes);
    findRows(outcome);
    const Picture layout = layoutOf();
    prepare();
    sink.begin(layout);
    if (header_.bits == 24 && given_ == header_.height && sink.takesBgr())
      pushStayingBands(viewOf(layout), sink, work_.progress);
    else
      pushLoaded(layout, sink);
    sink.end();
    if (beyondPalette_) outcome.incomplete("pixels have colours that the palette does not have");
    return outcome;
  }

 private:
  bool isYcbcr() const { return native_ && header_.words() != Words::none; }

  Picture layoutOf() const {
    const bool grey = header_.greyPalette();
    Picture layout =
        Picture::layout(header_.width, header_.height, (grey ? 1 : 3) + header_.hasOpacity(), header_.depth(),
                        grey        ? Colour::grey
                        : isYcbcr() ? Colour::ycbcr
                                    : Colour::rgb);
    if (header_.hasOpacity()) layout.opacity = Opacity::straight;
    layout.metadata = header_.metadata;
    return layout;
  }

  // The pixels in the file itself, which nothing writes to.
  Picture viewOf(const Picture& layout) const {
    Picture view = layout;
    auto* const top = const_cast<std::uint8_t*>(bytesOf(0));
    const auto step = static_cast<std::ptrdiff_t>(rowBytes_);
    for (std::size_t i = 0; i < 3; ++i) {
      Plane& plane = view.planes[i];
      plane.samples = top + 2 - i;
      plane.pixelStep = 3;
      plane.step = header_.topDown ? step : -step;
    }
    return view;
  }

  void pushLoaded(const Picture& layout, RowSink& sink) {
    const Picture buffer = bufferFor(layout);
    for (int y = 0; y < layout.height; y += buffer.height) {
      const Picture band = buffer.band(0, std::min(buffer.height, layout.height - y));
      for (int i = 0; i < band.height; ++i)
        isYcbcr() ? loadYcbcr(y + i, band, i) : load(y + i, band.row(i), band.planes.size());
      sink.rows(band);
      reportProgress(work_.progress, y, layout.height);
    }
  }

  // Planes of YCbCr are below each other.
  Picture bufferFor(const Picture& layout) {
    Picture buffer = layout.band(0, rowsOfBand(layout));
    if (!isYcbcr()) {
      buffer.allocate(&work_.budget);
      return buffer;
    }
    Picture planes = Picture::layout(layout.width, 3 * buffer.height, 1, 8, Colour::grey);
    planes.allocate(&work_.budget);
    for (int i = 0; i < 3; ++i) {
      Plane& plane = buffer.planes[static_cast<std::size_t>(i)];
      plane.samples = planes.row(i * buffer.height);
      plane.step = planes.planes[0].step;
    }
    buffer.owner = planes.owner;
    work_.budget.charge(1, rowBytes_);
    words_.resize(static_cast<std::size_t>(rowBytes_));
    return buffer;
  }

  // ---- Rows --------------------------------------------------------------------------------------------------------

  void findRows(Outcome& outcome) {
    const ByteSpan raster =
        file_.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(header_.raster, file_.size())));
    rowBytes_ = header_.rowBytes();
    int given = 0;
    if (header_.coding != Coding::none) {
      given = decodeRuns(raster, outcome);
    } else {
      raster_ = raster;
      const std::uint64_t needed =
          (static_cast<std::uint64_t>(header_.width) * static_cast<unsigned>(header_.bits) + 7) / 8;
      // The padding of the last row may be missing.
      const std::uint64_t rows = raster.size() / rowBytes_ + (raster.size() % rowBytes_ >= needed);
      given = static_cast<int>(std::min<std::uint64_t>(rows, static_cast<std::uint64_t>(header_.height)));
      if (given < header_.height) outcome.incomplete(missing(given));
    }
    if (given == 0) fail(Kind::damaged, "no rows follow the header");
    given_ = given;
  }

  std::string missing(int given) const {
    return "the file ends after " + std::to_string(given) + " of " + std::to_string(header_.height) + " rows" +
           (header_.topDown ? "" : ", counted from the bottom");
  }

  int decodeRuns(ByteSpan raster, Outcome& outcome) {
    const std::size_t width = static_cast<std::size_t>(header_.width),
                      height = static_cast<std::size_t>(header_.height);
    work_.budget.charge(height, width);
    indices_.assign(width * height, 0);
    RunLengths runs(header_, raster);
    const bool good = runs.decode(indices_.data());
    if (!good && runs.rows() < header_.height) outcome.incomplete(missing(runs.rows()));
    if (!good) outcome.incomplete("the run lengths are damaged");
    raster_ = {indices_.data(), indices_.size()};
    rowBytes_ = width;
    header_.bits = 8;
    return good ? header_.height : runs.rows();
  }

  // Null if the row is missing.
  const std::uint8_t* bytesOf(int y) const {
    const int at = header_.topDown ? y : header_.height - 1 - y;
    return at < given_ ? raster_.data() + static_cast<std::size_t>(at) * rowBytes_ : nullptr;
  }

  // ---- Samples -----------------------------------------------------------------------------------------------------

  // Indices beyond the palette are black.
  void prepare() {
    for (std::size_t i = 0; i < header_.palette.size(); ++i) colours_[i] = header_.palette[i];
  }

  void load(int y, std::uint8_t* to, std::size_t channels) {
    const std::uint8_t* const from = bytesOf(y);
    if (!from) {
      const std::size_t size = header_.depth() > 8 ? 2 : 1;
      std::memset(to, 0, static_cast<std::size_t>(header_.width) * channels * size);
    } else if (header_.bits <= 8) {
      loadIndices(from, to, channels);
    } else if (header_.bits == 24) {
      for (int x = 0; x < header_.width; ++x, to += 3)
        for (int i = 0; i < 3; ++i) to[i] = from[3 * x + 2 - i];
    } else if (header_.depth() > 8) {
      loadWords(from, reinterpret_cast<std::uint16_t*>(to), channels);
    } else {
      loadWords(from, to, channels);
    }
  }

  void loadIndices(const std::uint8_t* from, std::uint8_t* to, std::size_t channels) {
    const int bits = header_.bits, perByte = 8 / bits;
    for (int x = 0; x < header_.width; ++x, to += channels) {
      const unsigned index = from[x / perByte] >> (perByte - 1 - x % perByte) * bits & ((1u << bits) - 1);
      beyondPalette_ |= index >= header_.palette.size();
      std::copy_n(colours_[index].data(), channels, to);
    }
  }

  // A row that is missing is black, as a word of 0 is.
  void loadYcbcr(int y, const Picture& band, int row) {
    const std::uint8_t* const from = bytesOf(y);
    const std::size_t size = std::size_t{2} * static_cast<std::size_t>(header_.width);
    from ? static_cast<void>(std::memcpy(words_.data(), from, size)) : words_.assign(words_.size(), 0);
    swapIfBigEndian(words_.data(), size);
    unpackWords(words_.data(), header_.words(), band, row);
  }

  template <class Type>
  void loadWords(const std::uint8_t* from, Type* to, std::size_t channels) const {
    const int size = header_.bits / 8, depth = header_.depth();
    for (int x = 0; x < header_.width; ++x, from += size) {
      std::uint32_t word = 0;
      for (int i = size; i-- > 0;) word = word << 8 | from[i];
      for (std::size_t i = 0; i < channels; ++i) *to++ = static_cast<Type>(sampleOf(word, header_.fields[i], depth));
    }
  }

  Input& input_;
  const bool native_;
  Work& work_;
  ByteSpan file_;
  Header header_;
  ByteSpan raster_;
  std::uint64_t rowBytes_ = 0;
  int given_ = 0;                      // rows
  std::vector<std::uint8_t> indices_;  // of run lengths
  std::vector<std::uint8_t> words_;    // of a row that becomes YCbCr
  std::array<std::array<std::uint8_t, 3>, 256> colours_ = {};
  bool beyondPalette_ = false;
};

}  // namespace

std::unique_ptr<RowSource> reader(Input& input, bool native, Work& work) {
  return std::make_unique<Reader>(input, native, work);
}

}  // namespace moxj::bmp
