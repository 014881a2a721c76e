// The BMP writer. The bottom row comes first, so the rows are collected.
#include <climits>
#include <cmath>
#include <optional>

#include "base/problem.h"
#include "formats/bmp.h"

namespace moxj::bmp {

namespace {

constexpr std::size_t kWriteBytes = std::size_t{64} << 10;
constexpr std::uint32_t kFileHeader = 14, kInfo = 40, kV4 = 108, kV5 = 124;
constexpr std::uint32_t kFields = 3, kSrgb = 0x73524742, kEmbeddedProfile = 0x4D424544, kPhotometricIntent = 4;
constexpr std::size_t kGreys = 256;

void append(Bytes& to, std::uint32_t value, int size = 4) {
  for (int i = 0; i < size; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

std::uint32_t perMetre(double resolution) {
  return static_cast<std::uint32_t>(std::min(std::round(resolution), static_cast<double>(INT_MAX)));
}

class Writer : public RowSink {
 public:
  Writer(Output& output, Work& work) : output_(output), work_(work) {}

  void begin(const Picture& layout) override {
    opacity_ = layout.opacity != Opacity::none;
    grey_ = layout.colour == Colour::grey && !opacity_;
    pixelBytes_ = grey_ ? 1 : opacity_ ? 4 : 3;
    rowBytes_ = (std::uint64_t{pixelBytes_} * static_cast<unsigned>(layout.width) + 3) / 4 * 4;
    profile_ = layout.metadata ? layout.metadata->find(MetadataKind::icc) : nullptr;
    header_ = profile_ ? kV5 : opacity_ ? kV4 : kInfo;
    offset_ = kFileHeader + header_ + (grey_ ? 4 * kGreys : 0);
    const std::uint64_t size = offset_ + rowBytes_ * static_cast<unsigned>(layout.height) + profileBytes();
    if (size > UINT32_MAX) fail(Kind::unsupported, "a BMP file holds at most 4 GiB");
    size_ = static_cast<std::uint32_t>(size);
    collector_.emplace(&work_.budget);
    collector_->begin(layout);
  }
  void rows(const Picture& band) override { collector_->rows(band); }

  void end() override {
    const Picture& picture = collector_->picture();
    writeHeader(picture);
    for (int y = picture.height; y-- > 0;) {
      writeRow(picture, y);
      if (bytes_.size() >= kWriteBytes) flush();
    }
    if (profile_) bytes_.append(profile_->span());
    flush();
  }

 private:
  std::uint32_t profileBytes() const { return profile_ ? static_cast<std::uint32_t>(profile_->bytes.size()) : 0; }

  void writeHeader(const Picture& picture) {
    bytes_.append("BM", 2);
    append(bytes_, size_);
    append(bytes_, 0);
    append(bytes_, static_cast<std::uint32_t>(offset_));
    append(bytes_, header_);
    append(bytes_, static_cast<std::uint32_t>(picture.width));
    append(bytes_, static_cast<std::uint32_t>(picture.height));
    append(bytes_, 1, 2);
    append(bytes_, 8 * pixelBytes_, 2);
    append(bytes_, opacity_ ? kFields : 0);
    append(bytes_, static_cast<std::uint32_t>(rowBytes_ * static_cast<unsigned>(picture.height)));
    append(bytes_, picture.metadata ? perMetre(picture.metadata->horizontalResolution) : 0);
    append(bytes_, picture.metadata ? perMetre(picture.metadata->verticalResolution) : 0);
    append(bytes_, grey_ ? kGreys : 0);
    append(bytes_, 0);
    if (header_ > kInfo) writeColourSpace();
    for (std::uint32_t i = 0; grey_ && i < kGreys; ++i) append(bytes_, i << 16 | i << 8 | i);
  }

  // Masks, colour space, its end points and gamma (not used), and the place of the profile.
  void writeColourSpace() {
    for (const std::uint32_t mask : {0xFF0000u, 0x00FF00u, 0x0000FFu, 0xFF000000u}) append(bytes_, opacity_ ? mask : 0);
    append(bytes_, profile_ ? kEmbeddedProfile : kSrgb);
    for (int i = 0; i < 12; ++i) append(bytes_, 0);
    if (header_ < kV5) return;
    append(bytes_, kPhotometricIntent);
    append(bytes_, size_ - profileBytes() - kFileHeader);
    append(bytes_, profileBytes());
    append(bytes_, 0);
  }

  void writeRow(const Picture& picture, int y) {
    const std::size_t before = bytes_.size();
    bytes_.resize(before + static_cast<std::size_t>(rowBytes_));
    std::uint8_t* const to = bytes_.data() + before;
    std::fill(to, to + rowBytes_, std::uint8_t{0});
    const bool rgb = picture.colour == Colour::rgb;
    for (std::uint32_t i = 0; i < pixelBytes_; ++i) {
      const std::size_t source = i == 3 ? picture.planes.size() - 1 : rgb ? 2 - i : 0;
      const Plane& plane = picture.planes[source];
      const std::uint8_t* const row = plane.row<std::uint8_t>(y);
      for (std::ptrdiff_t x = 0; x < plane.width; ++x) to[x * pixelBytes_ + i] = row[x * plane.pixelStep];
    }
  }

  void flush() {
    output_.write({bytes_.data(), bytes_.size()});
    bytes_.clear();
  }

  Output& output_;
  Work& work_;
  std::optional<PictureCollector> collector_;
  bool grey_ = false, opacity_ = false;
  std::uint32_t pixelBytes_ = 0, header_ = 0, size_ = 0;
  std::uint64_t rowBytes_ = 0, offset_ = 0;
  const MetadataBlock* profile_ = nullptr;  // of the picture
  Bytes bytes_;                             // not written yet
};

}  // namespace

std::unique_ptr<RowSink> writer(Output& output, Work& work) { return std::make_unique<Writer>(output, work); }

}  // namespace moxj::bmp
