// PGX files: one component of 1 to 31 bits, signed or unsigned. The format of the JPEG 2000 conformance files.
#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/problem.h"
#include "formats/bytestream.h"
#include "formats/formats.h"
#include "formats/plain.h"

namespace moxj {

namespace {

constexpr int kMaxBits = 31;
constexpr std::size_t kMaxHeaderBytes = 128;
constexpr std::size_t kWriteBytes = std::size_t{64} << 10;

// The bytes of a sample in a file.
constexpr int bytesOf(int bits) { return bits > 16 ? 4 : bits > 8 ? 2 : 1; }

// ---- Header --------------------------------------------------------------------------------------------------------

struct Header {
  bool little = false, isSigned = false;
  int bits = 0;
  std::uint64_t width = 0, height = 0;
  std::size_t size = 0;  // bytes
};

// The header is one line: "PG", byte order (ML or LM), sign, bits, width, height.
class HeaderReader {
 public:
  explicit HeaderReader(ByteSpan bytes) : bytes_(bytes.first(std::min(bytes.size(), kMaxHeaderBytes))) {}

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

  ByteSpan bytes_;
  std::size_t at_ = 0;
};

// ---- Reader --------------------------------------------------------------------------------------------------------

template <int size, class Type>
void loadRow(const std::uint8_t* from, const Header& header, Type* to, int width) {
  const std::uint32_t mask = (1u << header.bits) - 1, sign = header.isSigned ? 1u << (header.bits - 1) : 0;
  for (int x = 0; x < width; ++x, from += size) {
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | from[header.little ? size - 1 - i : i];
    value &= mask;
    to[x] = static_cast<Type>(static_cast<std::int32_t>(value ^ sign) - static_cast<std::int32_t>(sign));
  }
}

class PgxReader : public RowSource {
 public:
  PgxReader(Input& input, Work& work) : input_(input), work_(work) {}

  // Of a truncated file, the complete rows are read; the others are black.
  Outcome push(RowSink& sink) override {
    const Picture layout = readLayout();
    const std::size_t rowBytes =
        static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(bytesOf(header_.bits));
    Picture buffer = layout.band(0, rowsOfBand(layout));
    buffer.allocate(&work_.budget);
    work_.budget.charge(rowBytes, 1);
    row_.resize(rowBytes);
    ByteStream bytes(input_);
    skipHeader(bytes);
    if (bytes.atEnd()) fail(Kind::damaged, "the file ends after its header");
    sink.begin(layout);
    int good = 0;
    for (int y = 0; y < layout.height; y += buffer.height) {
      const Picture band = buffer.band(0, std::min(buffer.height, layout.height - y));
      int rows = 0;
      while (good == y + rows && rows < band.height && bytes.read(row_.data(), rowBytes) == rowBytes) {
        load(band.planes[0], rows++);
        ++good;
      }
      if (rows < band.height) band.band(rows, band.height - rows).clear();
      sink.rows(band);
      reportProgress(work_.progress, y, layout.height);
    }
    sink.end();
    Outcome outcome;
    if (good < layout.height)
      outcome.incomplete("the file ends after " + std::to_string(good) + " of " + std::to_string(layout.height) +
                         " rows");
    return outcome;
  }

 private:
  Picture readLayout() {
    header_ = HeaderReader(input_.first(kMaxHeaderBytes)).read();
    work_.limits.check(header_.width, header_.height);
    if (header_.width > INT_MAX / 4 || header_.height > INT_MAX)
      fail(Kind::limit, "the picture is too wide or too high");
    Picture layout = Picture::layout(static_cast<int>(header_.width), static_cast<int>(header_.height), 1, header_.bits,
                                     Colour::grey);
    layout.planes[0] = Plane::of(layout.width, layout.height, header_.bits, header_.isSigned);
    return layout;
  }

  void skipHeader(ByteStream& bytes) const {
    std::uint8_t header[kMaxHeaderBytes];
    bytes.read(header, header_.size);
  }

  void load(const Plane& plane, int y) const {
    visitRow(plane, y, [&](auto* to) {
      if (bytesOf(header_.bits) == 1) loadRow<1>(row_.data(), header_, to, plane.width);
      if (bytesOf(header_.bits) == 2) loadRow<2>(row_.data(), header_, to, plane.width);
      if (bytesOf(header_.bits) == 4) loadRow<4>(row_.data(), header_, to, plane.width);
    });
  }

  Input& input_;
  Work& work_;
  Header header_;
  std::vector<std::uint8_t> row_;
};

Description describePgx(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  const Header header = HeaderReader(file).read();
  Description facts;
  facts.format = "PGX";
  facts.width = header.width;
  facts.height = header.height;
  facts.channels = 1;
  facts.bits = header.bits;
  return describePlain(std::move(facts), header.isSigned ? "signed" : "unsigned", file.size());
}

// ---- Writer --------------------------------------------------------------------------------------------------------

class PgxWriter : public RowSink {
 public:
  explicit PgxWriter(Output& output) : output_(output) {}

  void begin(const Picture& layout) override {
    if (layout.planes.size() != 1) {
      Problem problem(Kind::unsupported, std::to_string(layout.planes.size()) + " components: a PGX file has one",
                      Setting::option);
      problem.option = "components";
      throw problem;
    }
    const Plane& plane = layout.planes[0];
    const std::string header = std::string("PG ML ") + (plane.isSigned ? "-" : "+") + " " + std::to_string(plane.bits) +
                               " " + std::to_string(plane.width) + " " + std::to_string(plane.height) + "\n";
    bytes_.append(header.data(), header.size());
  }

  void rows(const Picture& band) override {
    const Plane& plane = band.planes[0];
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&](const auto* from) { append(from, plane); });
      if (bytes_.size() >= kWriteBytes) flush();
    }
  }

  void end() override { flush(); }

 private:
  template <class Type>
  void append(const Type* from, const Plane& plane) {
    const int size = bytesOf(plane.bits);
    const std::size_t before = bytes_.size();
    bytes_.resize(before + static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(size));
    std::uint8_t* to = bytes_.data() + before;
    for (std::ptrdiff_t x = 0; x < plane.width; ++x) {
      const auto value = static_cast<std::uint32_t>(std::int32_t{from[x * plane.pixelStep]});
      for (int i = size; i-- > 0;) *to++ = static_cast<std::uint8_t>(value >> 8 * i);
    }
  }
  void flush() {
    output_.write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }

  Output& output_;
  Bytes bytes_;  // not written yet
};

}  // namespace

extern const Format kPgxFormat;

// Colours are not converted: a picture of several components is refused. Each can have a file of its own.
constinit const Format kPgxFormat = {
    .label = "PGX",
    .names = {"pgx"},
    .sniff =
        [](ByteSpan first) {
          return first.size() >= 3 && first[0] == 'P' && first[1] == 'G' && (first[2] == ' ' || first[2] == '\t');
        },
    .describe = describePgx,
    .open = [](Input& input, const ReadOptions&, Work& work) -> std::unique_ptr<RowSource> {
      return std::make_unique<PgxReader>(input, work);
    },
    .create = [](Output& output, const WriteOptions&, Work&, std::vector<std::string>&) -> std::unique_ptr<RowSink> {
      return std::make_unique<PgxWriter>(output);
    },
    .holds =
        [](const WriteOptions&) {
          return Holds{.maxBits = kMaxBits,
                       .isSigned = true,
                       .subsampled = true,
                       .mixedDepths = true,
                       .metadata = HeldMetadata::none()};
        },
};

}  // namespace moxj
