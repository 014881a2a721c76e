// The PGX header and big-endian or little-endian samples.
#include "pictures/pgx.h"

#include <climits>
#include <cstring>
#include <string>

#include "base/problem.h"

namespace moxj {

namespace {

constexpr int kMaxBits = 16;
constexpr std::size_t kMaxHeaderBytes = 128;

struct Header {
  bool little = false, isSigned = false;
  int bits = 0;
  std::uint64_t width = 0, height = 0;
  std::size_t size = 0;  // bytes
};

// The header is one line: "PG", byte order (ML or LM), sign, bits, width, height.
class HeaderReader {
 public:
  explicit HeaderReader(std::span<const std::uint8_t> bytes)
      : bytes_(bytes.first(std::min(bytes.size(), kMaxHeaderBytes))) {}

  Header read() {
    Header header;
    at_ = 2;
    skipBlanks();
    const char first = next(), second = next();
    if (!(first == 'M' && second == 'L') && !(first == 'L' && second == 'M'))
      fail(Kind::damaged, "the PGX header does not give the byte order");
    header.little = first == 'L';
    skipBlanks();
    if (peek() == '+' || peek() == '-') header.isSigned = next() == '-';
    header.bits = static_cast<int>(std::min<std::uint64_t>(number(), INT_MAX));
    header.width = number();
    header.height = number();
    if (peek() == '\r') next();
    if (next() != '\n') fail(Kind::damaged, "the PGX header is not a single line");
    header.size = at_;
    if (header.bits < 1 || header.bits > kMaxBits)
      fail(Kind::unsupported, "PGX samples of " + std::to_string(header.bits) + " bits are not supported");
    if (header.width == 0 || header.height == 0) fail(Kind::damaged, "the picture has no pixels");
    return header;
  }

 private:
  char peek() const { return at_ < bytes_.size() ? static_cast<char>(bytes_[at_]) : '\0'; }
  char next() {
    const char c = peek();
    ++at_;
    return c;
  }
  void skipBlanks() {
    while (peek() == ' ' || peek() == '\t') ++at_;
  }
  std::uint64_t number() {
    skipBlanks();
    if (peek() < '0' || peek() > '9') fail(Kind::damaged, "the PGX header has something that is not a number");
    std::uint64_t value = 0;
    while (peek() >= '0' && peek() <= '9')
      value = std::min<std::uint64_t>(value * 10 + static_cast<unsigned>(next() - '0'), UINT32_MAX);
    return value;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

std::int32_t sampleAt(const std::uint8_t* at, const Header& header) {
  std::uint32_t value = at[0];
  if (header.bits > 8) value = header.little ? at[0] | at[1] << 8 : at[0] << 8 | at[1];
  value &= (1u << header.bits) - 1;
  const std::uint32_t sign = header.isSigned ? 1u << (header.bits - 1) : 0;
  return static_cast<std::int32_t>(value ^ sign) - static_cast<std::int32_t>(sign);
}

}  // namespace

DecodedImage readPgx(const Source& source, const Limits& limits) {
  const Header header = HeaderReader(source.bytes).read();
  limits.check(header.width, header.height);
  if (header.width > INT_MAX / 4 || header.height > INT_MAX) fail(Kind::limit, "the picture is too wide or too high");
  DecodedImage decoded;
  Image& image = decoded.image;
  image.width = static_cast<int>(header.width);
  image.height = static_cast<int>(header.height);
  image.colour = Colour::grey;
  image.components.push_back(
      {.width = image.width, .height = image.height, .bits = header.bits, .isSigned = header.isSigned});
  Budget budget(limits.maxMemory);
  image.allocate(&budget);
  std::memset(image.owner.get(), 0, static_cast<std::size_t>(image.bytes()));
  const std::span<const std::uint8_t> raster = std::span<const std::uint8_t>(source.bytes).subspan(header.size);
  const std::size_t size = header.bits > 8 ? 2 : 1;
  const std::uint64_t rows = std::min(header.height, raster.size() / (header.width * size));
  if (raster.empty()) fail(Kind::damaged, "the file ends after its header");
  const Component& c = image.components[0];
  const std::uint8_t* at = raster.data();
  for (int y = 0; y < static_cast<int>(rows); ++y) {
    for (int x = 0; x < c.width; ++x, at += size) {
      const std::int32_t value = sampleAt(at, header);
      c.wide ? void(c.numbers(y)[x] = value) : void(c.bytes(y)[x] = static_cast<std::uint8_t>(value));
    }
  }
  if (rows < header.height) {
    decoded.complete = false;
    decoded.warning = "the file ends after " + std::to_string(rows) + " of " + std::to_string(header.height) + " rows";
  }
  return decoded;
}

Content writePgx(const Component& component) {
  const std::string header = std::string("PG ML ") + (component.isSigned ? "-" : "+") + " " +
                             std::to_string(component.bits) + " " + std::to_string(component.width) + " " +
                             std::to_string(component.height) + "\n";
  Content content;
  content.head.append(header.data(), header.size());
  for (int y = 0; y < component.height; ++y) {
    for (int x = 0; x < component.width; ++x) {
      const std::int32_t value = component.at(x, y);
      if (component.bits > 8) content.head.push_back(static_cast<std::uint8_t>(value >> 8));
      content.head.push_back(static_cast<std::uint8_t>(value));
    }
  }
  return content;
}

PictureInfo describePgx(const Source& source) {
  const Header header = HeaderReader(source.bytes).read();
  return {.format = "PGX",
          .kind = header.isSigned ? "signed" : "unsigned",
          .width = header.width,
          .height = header.height,
          .channels = 1,
          .bits = header.bits};
}

}  // namespace moxj
