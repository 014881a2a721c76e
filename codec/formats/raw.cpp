// Raw files: samples and nothing else, component after component, each of its own size. A sample has 1, 2 or 4 bytes,
// as many as its bits need. They are written only, because nothing in them says what they are.
#include <algorithm>

#include "base/bytes.h"
#include "formats/formats.h"

namespace moxj {

namespace {

constexpr std::size_t kWriteBytes = std::size_t{64} << 10;

// The rows of a file with several components are collected, because those of the first component come first.
template <bool little>
class RawWriter : public RowSink {
 public:
  RawWriter(Output& output, Work& work) : output_(output), collector_(&work.budget) {}

  void begin(const Picture& layout) override {
    single_ = layout.planes.size() == 1;
    collector_.begin(layout);
  }

  void rows(const Picture& band) override { single_ ? write(band.planes[0]) : collector_.rows(band); }

  void end() override {
    if (!single_)
      for (const Plane& plane : collector_.picture().planes) write(plane);
    flush();
  }

 private:
  void write(const Plane& plane) {
    for (int y = 0; y < plane.height; ++y) {
      visitRow(plane, y, [&](const auto* row) { append(row, plane); });
      if (bytes_.size() >= kWriteBytes) flush();
    }
  }

  template <class Type>
  void append(const Type* from, const Plane& plane) {
    const int size = sizeOf(plane.element) == 2 && plane.bits <= 8 ? 1 : sizeOf(plane.element);
    const std::size_t before = bytes_.size();
    bytes_.resize(before + static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(size));
    std::uint8_t* to = bytes_.data() + before;
    for (std::ptrdiff_t x = 0; x < plane.width; ++x) {
      const auto value = static_cast<std::uint32_t>(std::int32_t{from[x * plane.pixelStep]});
      for (int i = 0; i < size; ++i) *to++ = static_cast<std::uint8_t>(value >> 8 * (little ? i : size - 1 - i));
    }
  }

  void flush() {
    output_.write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }

  Output& output_;
  PictureCollector collector_;
  bool single_ = false;
  Bytes bytes_;  // not written yet
};

template <bool little>
std::unique_ptr<RowSink> create(Output& output, const WriteOptions&, Work& work, std::vector<std::string>&) {
  return std::make_unique<RawWriter<little>>(output, work);
}

Holds holds(const WriteOptions&) {
  return {.opacity = true,
          .premultiplied = true,
          .anyMaxval = true,
          .isSigned = true,
          .subsampled = true,
          .mixedDepths = true,
          .metadata = HeldMetadata::none()};
}

}  // namespace

extern const Format kRawFormat, kRawlFormat;

constinit const Format kRawFormat = {.label = "raw", .names = {"raw"}, .create = create<false>, .holds = holds};

constinit const Format kRawlFormat = {.label = "raw", .names = {"rawl"}, .create = create<true>, .holds = holds};

}  // namespace moxj
