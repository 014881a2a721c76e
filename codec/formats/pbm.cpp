// PBM bitmaps, plain (P1) and raw (P4), as grey of one bit. In a file 1 is black.
#include <string>
#include <vector>

#include "base/arithmetic.h"
#include "base/problem.h"
#include "formats/netpbm.h"
#include "formats/plain.h"

namespace moxj {

namespace {

using netpbm::Header;
using netpbm::Text;

constexpr std::string_view kDigits = "14";
constexpr std::size_t kWriteBytes = std::size_t{64} << 10;

Header readHeader(Text& text) {
  Header header;
  header.plain = netpbm::readMagic(text, kDigits, "PBM") == 1;
  header.bitmap = true;
  netpbm::readSize(text, header);
  if (header.width == 0 || header.height == 0) fail(Kind::damaged, "the picture has no pixels");
  if (!header.plain) text.skipToRaster();
  return header;
}

Description describe(Input& input, Work& work) {
  netpbm::Facts facts = netpbm::factsOf(input, readHeader, work);
  facts.description.format = "PBM";
  return describePlain(std::move(facts.description), facts.header.plain ? "grey, plain" : "grey, raw", facts.bytes);
}

class PbmWriter : public RowSink {
 public:
  explicit PbmWriter(Output& output) : output_(output) {}

  void begin(const Picture& layout) override {
    const std::string header = "P4\n" + std::to_string(layout.width) + " " + std::to_string(layout.height) + "\n";
    bytes_.append(header.data(), header.size());
  }
  void rows(const Picture& band) override {
    const Plane& plane = band.planes[0];
    for (int y = 0; y < plane.height; ++y) {
      const std::size_t before = bytes_.size(), size = static_cast<std::size_t>(ceilDiv(plane.width, 8));
      bytes_.resize(before + size);
      pack(plane, y, bytes_.data() + before, size);
      if (bytes_.size() >= kWriteBytes) flush();
    }
  }
  void end() override { flush(); }

 private:
  // The bits after a row's last sample are 0.
  static void pack(const Plane& plane, int y, std::uint8_t* to, std::size_t size) {
    std::fill_n(to, size, std::uint8_t{0});
    const std::uint8_t* const from = plane.row<std::uint8_t>(y);
    for (std::ptrdiff_t x = 0; x < plane.width; ++x)
      if (from[x * plane.pixelStep] == 0) to[x / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
  }
  void flush() {
    output_.write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }

  Output& output_;
  Bytes bytes_;  // not written yet
};

}  // namespace

extern const Format kPbmFormat;

constinit const Format kPbmFormat = {
    .label = "PBM",
    .names = {"pbm"},
    .sniff = [](ByteSpan first) { return netpbm::hasMagic(first, kDigits); },
    .describe = describe,
    .open = [](Input& input, const ReadOptions&, Work& work) { return netpbm::reader(input, readHeader, work); },
    .create = [](Output& output, const WriteOptions&, Work&, std::vector<std::string>&) -> std::unique_ptr<RowSink> {
      return std::make_unique<PbmWriter>(output);
    },
    .holds =
        [](const WriteOptions&) {
          return Holds{.colours = {Colour::grey}, .maxBits = 1, .metadata = HeldMetadata::none()};
        },
};

}  // namespace moxj
