// PNM headers and samples, plain and raw, scaled to 8 bits or at full depth.
#include "pictures/pnm.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>

#include "base/problem.h"
#include "pictures/convert.h"

namespace moxj {

namespace {

bool isSpace(std::uint8_t byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }
bool isDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

// Scans the text of a file: numbers separated by white space and comments.
class Text {
 public:
  explicit Text(std::span<const std::uint8_t> bytes) : at_(bytes.data()), end_(at_ + bytes.size()) {}

  const std::uint8_t* at() const { return at_; }
  std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
  bool atEnd() const { return at_ == end_; }
  void skip(std::size_t count) { at_ += count; }

  void skipBlanks() {
    while (at_ < end_ && (isSpace(*at_) || *at_ == '#')) *at_ == '#' ? skipComment() : skip(1);
  }
  void skipComment() {
    while (at_ < end_ && *at_ != '\n' && *at_ != '\r') ++at_;
  }

  // The next number; false if there is none. Saturates.
  bool number(std::uint64_t& value) {
    skipBlanks();
    if (atEnd() || !isDigit(*at_)) return false;
    for (value = 0; at_ < end_ && isDigit(*at_); ++at_)
      value = value > (UINT64_MAX - 9) / 10 ? UINT64_MAX : value * 10 + (*at_ - '0');
    return true;
  }

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

struct Header {
  bool plain = false;
  int channels = 0;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  int maxval = 0;
};

Header readHeader(Text& text) {
  if (text.left() < 2) fail(Kind::notThisFormat, "not a PPM or PGM file");
  const int type = text.at()[1] - '0';
  text.skip(2);
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

// The header is separated from raw samples by one white-space character, or by a comment up to the end of its line.
void skipToRaster(Text& text) {
  if (!text.atEnd() && *text.at() == '#') text.skipComment();
  if (!text.atEnd() && isSpace(*text.at())) text.skip(1);
}

// From 0 .. maxval to 0 .. 255, rounded.
class Scale {
 public:
  explicit Scale(int maxval) : maxval_(static_cast<std::uint32_t>(maxval)) {}
  std::uint8_t operator()(std::uint32_t value) const {
    return static_cast<std::uint8_t>((value * 255 + maxval_ / 2) / maxval_);
  }

 private:
  std::uint32_t maxval_;
};

// Stores samples in a picture, one after the other. Samples above the maximum value are clamped to it and reported.
class Sink {
 public:
  Sink(const Picture& picture, int maxval)
      : scale_(maxval),
        maxval_(static_cast<std::uint64_t>(maxval)),
        at_(picture.samples),
        begin_(at_),
        end_(at_ + picture.rowBytes() * static_cast<std::size_t>(picture.height)) {}

  bool full() const { return at_ == end_; }
  void put(std::uint64_t value) {
    tooLarge_ |= value > maxval_;
    *at_++ = scale_(static_cast<std::uint32_t>(std::min(value, maxval_)));
  }
  void blackenRest() { std::memset(at_, 0, static_cast<std::size_t>(end_ - at_)); }
  std::size_t count() const { return static_cast<std::size_t>(at_ - begin_); }
  bool tooLarge() const { return tooLarge_; }

 private:
  Scale scale_;
  std::uint64_t maxval_;
  bool tooLarge_ = false;
  std::uint8_t* at_;
  std::uint8_t* begin_;
  std::uint8_t* end_;
};

void readPlain(Text& text, Sink& sink) {
  std::uint64_t value = 0;
  while (!sink.full() && text.number(value)) sink.put(value);
}

void readRaw(const Text& text, int maxval, Sink& sink) {
  const std::uint8_t* at = text.at();
  if (maxval < 256) {
    for (std::size_t left = text.left(); left > 0 && !sink.full(); --left) sink.put(*at++);
  } else {
    for (std::size_t left = text.left(); left > 1 && !sink.full(); left -= 2, at += 2) sink.put(at[0] * 256u + at[1]);
  }
}

void setWarning(Decoded& decoded, const Sink& sink, bool atEnd) {
  const std::size_t rowBytes = decoded.picture.rowBytes();
  if (!sink.full()) {
    decoded.complete = false;
    decoded.warning = std::string(atEnd ? "the file ends" : "the file has something that is not a number") + " after " +
                      std::to_string(sink.count() / rowBytes) + " of " + std::to_string(decoded.picture.height) +
                      " rows";
  } else if (sink.tooLarge()) {
    decoded.complete = false;
    decoded.warning = "samples above the maximum value in the header";
  }
}

// Stores samples without scaling in the components of an image.
class DeepReader {
 public:
  DeepReader(Text& text, const Header& header, const Image& image) : text_(text), header_(header), image_(image) {}

  void read(DecodedImage& decoded) {
    std::uint64_t count = 0, value = 0;
    const std::uint64_t max = static_cast<std::uint64_t>(header_.maxval);
    const auto channels = static_cast<std::uint64_t>(header_.channels);
    const std::uint64_t size = header_.width * header_.height * channels;
    bool tooLarge = false;
    for (; count < size && next(value); ++count) {
      tooLarge |= value > max;
      put(count / channels, count % channels, static_cast<std::int32_t>(std::min(value, max)));
    }
    if (count == 0) fail(Kind::damaged, "no samples follow the header");
    decoded.complete = count == size && !tooLarge;
    if (count < size)
      decoded.warning = "the file ends after " + std::to_string(count / channels / header_.width) + " of " +
                        std::to_string(header_.height) + " rows";
    else if (tooLarge)
      decoded.warning = "samples above the maximum value in the header";
  }

 private:
  bool next(std::uint64_t& value) {
    if (header_.plain) return text_.number(value);
    const std::size_t size = header_.maxval > 255 ? 2 : 1;
    if (text_.left() < size) return false;
    value = size == 2 ? static_cast<std::uint64_t>(text_.at()[0] << 8 | text_.at()[1]) : text_.at()[0];
    text_.skip(size);
    return true;
  }
  void put(std::uint64_t pixel, std::uint64_t channel, std::int32_t value) {
    const Component& c = image_.components[channel];
    const int x = static_cast<int>(pixel % header_.width), y = static_cast<int>(pixel / header_.width);
    if (c.wide)
      c.numbers(y)[std::ptrdiff_t{x} * c.pixelStep] = value;
    else
      c.bytes(y)[std::ptrdiff_t{x} * c.pixelStep] = static_cast<std::uint8_t>(value);
  }

  Text& text_;
  const Header& header_;
  const Image& image_;
};

PnmWriter::Piece bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

Bytes packed(const Picture& picture) {
  Bytes bytes;
  bytes.reserve(picture.rowBytes() * static_cast<std::size_t>(picture.height));
  for (int y = 0; y < picture.height; ++y) bytes.append(picture.row(y), picture.rowBytes());
  return bytes;
}

}  // namespace

Decoded readPnm(const Source& source, const Limits& limits) {
  Text text(source.bytes);
  const Header header = readHeader(text);
  limits.check(header.width, header.height);
  if (header.width > INT_MAX / 3 || header.height > INT_MAX) fail(Kind::limit, "the picture is too wide or too high");
  if (!header.plain) skipToRaster(text);
  if (text.atEnd()) fail(Kind::damaged, "the file ends after its header");

  Decoded decoded;
  Picture& picture = decoded.picture;
  if (header.maxval > 255)
    decoded.notes.push_back("samples of " + std::to_string(std::bit_width(unsigned(header.maxval))) +
                            " bits reduced to 8");
  const std::uint64_t size = header.width * header.height * static_cast<std::uint64_t>(header.channels);
  if (!header.plain && header.maxval == 255 && text.left() >= size) {
    picture.width = static_cast<int>(header.width);
    picture.height = static_cast<int>(header.height);
    picture.channels = header.channels;
    picture.step = static_cast<std::ptrdiff_t>(picture.rowBytes());
    picture.samples = source.bytes.data() + (text.at() - source.bytes.data());
    picture.owner = source.owner;
    return decoded;
  }
  Budget budget(limits.maxMemory);
  picture = Picture::make(static_cast<int>(header.width), static_cast<int>(header.height), header.channels, &budget);
  Sink sink(picture, header.maxval);
  header.plain ? readPlain(text, sink) : readRaw(text, header.maxval, sink);
  if (sink.count() == 0) fail(Kind::damaged, "no samples follow the header");
  setWarning(decoded, sink, !header.plain || text.atEnd());
  sink.blackenRest();
  return decoded;
}

void PnmWriter::begin(int width, int height, int channels) {
  colour_ = format_ == Format::ppm || (format_ == Format::pnm && channels == 3);
  dropsColour_ = channels == 3 && !colour_;
  header_ = std::string(colour_ ? "P6\n" : "P5\n") + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
}

void PnmWriter::rows(const Picture& band) {
  const Picture picture = colour_ ? toColour(band) : toGrey(band);
  if (picture.packed()) {
    write_(bytesOf(header_), {picture.samples, picture.rowBytes() * static_cast<std::size_t>(picture.height)});
  } else {
    const Bytes bytes = packed(picture);
    write_(bytesOf(header_), {bytes.data(), bytes.size()});
  }
  header_.clear();
}

Content writePnm(const Picture& picture, Format format) {
  Content content;
  PnmWriter writer(format, [&](PnmWriter::Piece header, PnmWriter::Piece samples) {
    content.head.append(header);
    const bool inPlace = samples.data() == picture.samples;
    inPlace ? void(content.body = samples) : content.head.append(samples);
  });
  writer.begin(picture.width, picture.height, picture.channels);
  writer.rows(picture);
  content.owner = picture.owner;
  return content;
}

DecodedImage readPnmImage(const Source& source, const Limits& limits) {
  Text text(source.bytes);
  const Header header = readHeader(text);
  if (header.maxval == 255) {
    Decoded decoded = readPnm(source, limits);
    return {decoded, imageOf(decoded.picture)};
  }
  limits.check(header.width, header.height);
  if (header.width > INT_MAX / 12 || header.height > INT_MAX) fail(Kind::limit, "the picture is too wide or too high");
  if (!header.plain) skipToRaster(text);
  if (text.atEnd()) fail(Kind::damaged, "the file ends after its header");
  DecodedImage decoded;
  Image& image = decoded.image;
  image.width = static_cast<int>(header.width);
  image.height = static_cast<int>(header.height);
  image.colour = header.channels == 3 ? Colour::rgb : Colour::grey;
  image.components.assign(static_cast<std::size_t>(header.channels),
                          {.width = image.width,
                           .height = image.height,
                           .bits = static_cast<int>(std::bit_width(static_cast<unsigned>(header.maxval)))});
  Budget budget(limits.maxMemory);
  image.allocate(&budget);
  std::memset(image.owner.get(), 0, static_cast<std::size_t>(image.bytes()));
  DeepReader(text, header, image).read(decoded);
  return decoded;
}

Content writePnmImage(const Image& given, Format format, std::vector<std::string>& notes) {
  const Image image = sameSize(given);
  const std::size_t count = image.components.size();
  const bool colour = format == Format::ppm || (format == Format::pnm && count >= 3);
  if (count == 2 || count == 4 || image.alpha) notes.push_back("transparency dropped");
  const Component& first = image.components[0];
  if (format == Format::pgm && count >= 3) notes.push_back("only the first component written");
  const std::string header = std::string(colour ? "P6\n" : "P5\n") + std::to_string(image.width) + " " +
                             std::to_string(image.height) + "\n" + std::to_string(first.maxValue()) + "\n";
  Content content;
  content.head.append(header.data(), header.size());
  const std::size_t channels = colour ? 3 : 1;
  const std::size_t rowSize = channels * static_cast<std::size_t>(image.width) * (first.bits > 8 ? 2 : 1);
  for (int y = 0; y < image.height; ++y) {
    content.head.resize(content.head.size() + rowSize);
    std::uint8_t* to = content.head.end() - rowSize;
    for (int x = 0; x < image.width; ++x) {
      for (std::size_t channel = 0; channel < channels; ++channel) {
        const std::int32_t value = image.components[count >= 3 ? channel : 0].at(x, y);
        if (first.bits > 8) *to++ = static_cast<std::uint8_t>(value >> 8);
        *to++ = static_cast<std::uint8_t>(value);
      }
    }
  }
  return content;
}

PictureInfo describePnm(const Source& source) {
  Text text(source.bytes);
  const Header header = readHeader(text);
  PictureInfo info;
  info.format = header.channels == 3 ? "PPM" : "PGM";
  info.kind = std::string(header.channels == 3 ? "RGB" : "grey") + (header.plain ? ", plain" : ", raw") +
              ", maximum value " + std::to_string(header.maxval);
  info.width = header.width;
  info.height = header.height;
  info.channels = header.channels;
  info.bits = std::bit_width(static_cast<unsigned>(header.maxval));
  return info;
}

}  // namespace moxj
