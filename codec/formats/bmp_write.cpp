// The BMP writer. The bottom row comes first, so the rows are collected as the file has them.
#include <climits>
#include <cmath>

#include "base/problem.h"
#include "formats/bmp.h"

namespace moxj::bmp {

namespace {

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
  Writer(Output& output, Words words, Work& work, std::vector<std::string>& notes)
      : output_(output), words_(words), work_(work), notes_(notes) {}

  void begin(const Picture& layout) override {
    height_ = layout.height;
    opacity_ = layout.opacity != Opacity::none;
    grey_ = layout.colour == Colour::grey && !opacity_;
    pixelBytes_ = words_ != Words::none ? 2 : grey_ ? 1 : opacity_ ? 4 : 3;
    rowBytes_ = (std::uint64_t{pixelBytes_} * static_cast<unsigned>(layout.width) + 3) / 4 * 4;
    metadata_ = layout.metadata;
    profile_ = metadata_ ? metadata_->find(MetadataKind::icc) : nullptr;
    header_ = profile_ ? kV5 : opacity_ ? kV4 : kInfo;
    offset_ = kFileHeader + header_ + maskBytes() + (grey_ ? 4 * kGreys : 0);
    const std::uint64_t size = offset_ + rowBytes_ * static_cast<unsigned>(height_) + profileBytes();
    if (size > UINT32_MAX) fail(Kind::unsupported, "a BMP file holds at most 4 GiB");
    size_ = static_cast<std::uint32_t>(size);
    work_.budget.charge(static_cast<std::uint64_t>(height_), rowBytes_);
    raster_.resize(static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height_));
    writeHeader(layout.width);
  }

  void rows(const Picture& band) override {
    for (int y = 0; y < band.height; ++y) {
      std::uint8_t* const to = raster_.data() + rowBytes_ * static_cast<unsigned>(height_ - 1 - y_++);
      words_ != Words::none ? packRow(band, y, to) : copyRow(band, y, to);
    }
  }

  void end() override {
    output_.write({bytes_.data(), bytes_.size()});
    output_.write({raster_.data(), raster_.size()});
    if (profile_) output_.write(profile_->span());
    if (loses_) notes_.push_back(std::string("samples reduced to ") + (is565() ? "5, 6 and 5 bits" : "5 bits"));
  }

 private:
  bool is565() const { return words_ == Words::rgb565; }
  // Words of 5 bits each need no masks, and larger headers have them.
  std::uint32_t maskBytes() const { return is565() && header_ == kInfo ? 12 : 0; }
  std::uint32_t profileBytes() const { return profile_ ? static_cast<std::uint32_t>(profile_->bytes.size()) : 0; }

  void writeHeader(int width) {
    bytes_.append("BM", 2);
    append(bytes_, size_);
    append(bytes_, 0);
    append(bytes_, static_cast<std::uint32_t>(offset_));
    append(bytes_, header_);
    append(bytes_, static_cast<std::uint32_t>(width));
    append(bytes_, static_cast<std::uint32_t>(height_));
    append(bytes_, 1, 2);
    append(bytes_, 8 * pixelBytes_, 2);
    append(bytes_, opacity_ || is565() ? kFields : 0);
    append(bytes_, static_cast<std::uint32_t>(rowBytes_ * static_cast<unsigned>(height_)));
    append(bytes_, metadata_ ? perMetre(metadata_->horizontalResolution) : 0);
    append(bytes_, metadata_ ? perMetre(metadata_->verticalResolution) : 0);
    append(bytes_, grey_ ? kGreys : 0);
    append(bytes_, 0);
    writeMasks();
    if (header_ > kInfo) writeColourSpace();
    for (std::uint32_t i = 0; grey_ && i < kGreys; ++i) append(bytes_, i << 16 | i << 8 | i);
  }

  void writeMasks() {
    constexpr std::uint32_t kNone[4] = {}, kOf32[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000},
                            kOf565[4] = {0xF800, 0x07E0, 0x001F, 0};
    const std::size_t count = header_ > kInfo ? 4 : maskBytes() / 4;
    const auto& masks = opacity_ ? kOf32 : is565() ? kOf565 : kNone;
    for (std::size_t i = 0; i < count; ++i) append(bytes_, masks[i]);
  }

  // Colour space, its end points and gamma (not used), and the place of the profile.
  void writeColourSpace() {
    append(bytes_, profile_ ? kEmbeddedProfile : kSrgb);
    for (int i = 0; i < 12; ++i) append(bytes_, 0);
    if (header_ < kV5) return;
    append(bytes_, kPhotometricIntent);
    append(bytes_, size_ - profileBytes() - kFileHeader);
    append(bytes_, profileBytes());
    append(bytes_, 0);
  }

  void copyRow(const Picture& band, int y, std::uint8_t* to) const {
    const bool rgb = band.colour == Colour::rgb;
    for (std::uint32_t i = 0; i < pixelBytes_; ++i) {
      const std::size_t source = i == 3 ? band.planes.size() - 1 : rgb ? 2 - i : 0;
      const Plane& plane = band.planes[source];
      const std::uint8_t* const row = plane.row<std::uint8_t>(y);
      for (std::ptrdiff_t x = 0; x < plane.width; ++x) to[x * pixelBytes_ + i] = row[x * plane.pixelStep];
    }
  }

  void packRow(const Picture& band, int y, std::uint8_t* to) {
    loses_ |= !packWords(band, y, words_, to);
    swapIfBigEndian(to, static_cast<std::size_t>(rowBytes_));
  }

  Output& output_;
  const Words words_;
  Work& work_;
  std::vector<std::string>& notes_;
  bool grey_ = false, opacity_ = false;
  bool loses_ = false;  // words do not say all of the samples
  int height_ = 0, y_ = 0;
  std::uint32_t pixelBytes_ = 0, header_ = 0, size_ = 0;
  std::uint64_t rowBytes_ = 0, offset_ = 0;
  std::shared_ptr<const Metadata> metadata_;
  const MetadataBlock* profile_ = nullptr;  // of the picture
  Bytes bytes_;                             // the header
  std::vector<std::uint8_t> raster_;
};

}  // namespace

std::unique_ptr<RowSink> writer(Output& output, Words words, Work& work, std::vector<std::string>& notes) {
  return std::make_unique<Writer>(output, words, work, notes);
}

}  // namespace moxj::bmp
