// The headers of BMP files, of 12 bytes (OS/2), 40 (BITMAPINFOHEADER) and up to 124 (BITMAPV5HEADER), and the entry in
// the table of formats.
#include "formats/bmp.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <string>

#include "base/problem.h"
#include "formats/plain.h"
#include "pictures/icc.h"

namespace moxj {

namespace bmp {

namespace {

constexpr std::size_t kFileHeader = 14;
constexpr std::uint32_t kCore = 12, kInfo = 40, kMaxOs2 = 64, kV4 = 108, kV5 = 124;
constexpr std::uint32_t kEmbeddedProfile = 0x4D424544, kLinkedProfile = 0x4C494E4B;
constexpr int kMaxFieldBits = 16;
constexpr std::string_view kWriteOptions[] = {"words"};
enum Compression : std::uint32_t { kNone, kRle8, kRle4, kFields, kJpeg, kPng, kAlphaFields };

// Little-endian numbers at offsets. Fields that a short header does not have are 0.
class Numbers {
 public:
  explicit Numbers(ByteSpan bytes) : bytes_(bytes) {}
  std::uint32_t u32(std::size_t at) const { return number(at, 4); }
  std::uint32_t u16(std::size_t at) const { return number(at, 2); }

 private:
  std::uint32_t number(std::size_t at, std::size_t size) const {
    if (at > bytes_.size() || size > bytes_.size() - at) return 0;
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) value = value << 8 | bytes_[at + i];
    return value;
  }
  ByteSpan bytes_;
};

// The bytes of a file from an offset on; none beyond its end.
ByteSpan from(ByteSpan file, std::uint64_t offset) {
  return file.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(offset, file.size())));
}

class HeaderReader {
 public:
  HeaderReader(ByteSpan file, Work& work, std::vector<std::string>& notes)
      : file_(file), work_(work), notes_(notes), size_(Numbers(file).u32(kFileHeader)) {}

  Header read() {
    if (file_.size() < kFileHeader + std::max<std::size_t>(size_, kCore))
      fail(Kind::damaged, "the file ends in its header");
    info_ = Numbers(file_.subspan(kFileHeader, size_));
    readSize();
    readKind();
    const std::uint64_t end = readFields(kFileHeader + size_);
    readPalette(end);
    const std::uint64_t given = Numbers(file_).u32(10);
    header_.raster = given == 0 ? end + header_.palette.size() * paletteEntry() : given;
    readMetadata();
    return std::move(header_);
  }

 private:
  bool core() const { return size_ == kCore; }
  std::size_t paletteEntry() const { return core() ? 3 : 4; }

  void readSize() {
    const std::int64_t width = core() ? std::int64_t{info_.u16(4)} : static_cast<std::int32_t>(info_.u32(4));
    const std::int64_t height = core() ? std::int64_t{info_.u16(6)} : static_cast<std::int32_t>(info_.u32(8));
    if (width < 0) fail(Kind::damaged, "the picture has a negative width");
    if (width == 0 || height == 0) fail(Kind::damaged, "the picture has no pixels");
    work_.limits.check(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(std::abs(height)));
    if (width > INT_MAX / 8 || std::abs(height) > INT_MAX) fail(Kind::limit, "the picture is too wide or too high");
    header_.width = static_cast<int>(width);
    header_.height = static_cast<int>(std::abs(height));
    header_.topDown = height < 0;
    header_.bits = static_cast<int>(core() ? info_.u16(10) : info_.u16(14));
    compression_ = core() ? kNone : info_.u32(16);
  }

  void readKind() {
    const int bits = header_.bits;
    if (compression_ == kJpeg || compression_ == kPng)
      fail(Kind::unsupported, std::string("BMP files that wrap a ") + (compression_ == kJpeg ? "JPEG" : "PNG") +
                                  " file are not supported");
    const bool masks = size_ == kInfo || size_ == kInfo + 12 || size_ == kInfo + 16 || size_ >= kV4;
    const bool good = compression_ == kNone
                          ? bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32
                      : compression_ == kRle8                                   ? bits == 8
                      : compression_ == kRle4                                   ? bits == 4
                      : compression_ == kFields || compression_ == kAlphaFields ? masks && (bits == 16 || bits == 32)
                                                                                : false;
    if (!good)
      fail(Kind::unsupported, "BMP files of compression " + std::to_string(compression_) + " with " +
                                  std::to_string(bits) + " bits are not supported");
    header_.coding = compression_ == kRle8 ? Coding::rle8 : compression_ == kRle4 ? Coding::rle4 : Coding::none;
  }

  // ---- Masks -------------------------------------------------------------------------------------------------------

  // Returns the offset of what follows the header and the masks.
  std::uint64_t readFields(std::uint64_t end) {
    if (header_.bits != 16 && header_.bits != 32) return end;
    std::array<std::uint32_t, 4> masks = header_.bits == 16
                                             ? std::array<std::uint32_t, 4>{0x7C00, 0x03E0, 0x001F, 0}
                                             : std::array<std::uint32_t, 4>{0xFF0000, 0x00FF00, 0x0000FF, 0};
    if (compression_ != kNone) {
      // They follow a header of 40 bytes, and are part of larger ones.
      const std::size_t count = compression_ == kAlphaFields || size_ > kInfo + 12 ? 4 : 3;
      const Numbers all(file_);
      for (std::size_t i = 0; i < 4; ++i) masks[i] = i < count ? all.u32(kFileHeader + kInfo + 4 * i) : 0;
      if (size_ == kInfo) end += 4 * count;
    }
    for (std::size_t i = 0; i < 4; ++i) header_.fields[i] = fieldOf(masks[i], static_cast<std::uint32_t>(header_.bits));
    return end;
  }

  static Field fieldOf(std::uint32_t mask, std::uint32_t wordBits) {
    if (mask == 0) return {};
    const int shift = std::countr_zero(mask), bits = std::popcount(mask);
    const std::uint32_t ones = mask >> shift;
    if ((ones & (ones + 1)) != 0) fail(Kind::damaged, "a colour mask has gaps");
    if (wordBits == 16 && mask > 0xFFFF) fail(Kind::damaged, "a colour mask has more bits than the pixels");
    const int dropped = std::max(bits - kMaxFieldBits, 0);
    return {shift + dropped, bits - dropped};
  }

  // ---- Palette -----------------------------------------------------------------------------------------------------

  void readPalette(std::uint64_t at) {
    if (header_.bits > 8) return;
    const std::uint32_t most = 1u << header_.bits, used = core() ? 0 : info_.u32(32);
    const ByteSpan bytes = from(file_, at);
    const std::size_t entry = paletteEntry();
    std::size_t count = std::min<std::size_t>(used == 0 ? most : std::min(used, most), bytes.size() / entry);
    // Some writers leave out what they do not use: the samples follow.
    if (const std::uint64_t raster = Numbers(file_).u32(10); raster != 0)
      count = std::min<std::size_t>(count, static_cast<std::size_t>((std::max(raster, at) - at) / entry));
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t* const bgr = bytes.data() + i * entry;
      header_.palette.push_back({bgr[2], bgr[1], bgr[0]});
    }
    if (header_.palette.empty()) fail(Kind::damaged, "the palette is missing");
  }

  // ---- Metadata ----------------------------------------------------------------------------------------------------

  void readMetadata() {
    Metadata metadata;
    const auto x = static_cast<std::int32_t>(info_.u32(24)), y = static_cast<std::int32_t>(info_.u32(28));
    if (!core() && x > 0 && y > 0) {
      metadata.horizontalResolution = x;
      metadata.verticalResolution = y;
    }
    if (size_ >= kV5) readProfile(metadata);
    if (!metadata.empty()) header_.metadata = std::make_shared<const Metadata>(std::move(metadata));
  }

  void readProfile(Metadata& metadata) {
    const std::uint32_t space = info_.u32(56);
    if (space == kLinkedProfile) notes_.push_back("ICC profile dropped: it is in another file");
    if (space != kEmbeddedProfile) return;
    const ByteSpan rest = from(file_, kFileHeader + std::uint64_t{info_.u32(112)});
    const std::size_t size = info_.u32(116);
    if (size == 0 || size > rest.size() || !iccFactsOf(rest.first(size)))
      return notes_.push_back("ICC profile dropped: it is damaged");
    work_.budget.charge(1, size);
    metadata.add(MetadataKind::icc, "", rest.first(size));
  }

  ByteSpan file_;
  Work& work_;
  std::vector<std::string>& notes_;
  std::uint32_t size_;  // of the information header
  Numbers info_{{}};
  Header header_;
  std::uint32_t compression_ = 0;
};

constexpr bool isKnownSize(std::uint32_t size) {
  return size == kCore || (size >= 16 && size <= kMaxOs2) || size == kV4 || size == kV5;
}

bool isBmp(ByteSpan first) {
  return first.size() >= kFileHeader + 4 && first[0] == 'B' && first[1] == 'M' &&
         isKnownSize(Numbers(first).u32(kFileHeader));
}

std::string kindOf(const Header& header) {
  std::string kind = std::to_string(header.bits) + " bits a pixel";
  if (header.bits <= 8) {
    kind = (header.greyPalette() ? "grey, palette of " : "palette of ") + std::to_string(header.bits) + " bits";
  } else if (header.bits != 24) {
    kind += " (";
    for (const Field& field : header.fields)
      if (field.bits != 0) kind += (kind.back() == '(' ? "" : ", ") + std::to_string(field.bits);
    kind += ")";
  }
  if (header.coding != Coding::none) kind += ", run lengths";
  if (header.hasOpacity()) kind += ", transparent";
  return kind + (header.topDown ? ", top row first" : "");
}

Description describe(Input& input, Work& work) {
  const ByteSpan file = input.all(maxFileBytes(work.limits));
  Description facts;
  const Header header = readHeader(file, work, facts.notes);
  facts.format = "BMP";
  facts.width = static_cast<std::uint64_t>(header.width);
  facts.height = static_cast<std::uint64_t>(header.height);
  facts.channels = (header.greyPalette() ? 1 : 3) + header.hasOpacity();
  facts.bits = header.depth();
  facts.metadata = header.metadata;
  return describePlain(std::move(facts), kindOf(header), file.size());
}

bool hasFullYcbcr(Input& input, Work& work) {
  std::vector<std::string> notes;
  const std::uint64_t used = work.budget.used();
  const Header header = readHeader(input.all(maxFileBytes(work.limits)), work, notes);
  work.budget.restore(used);
  return header.words() != Words::none;
}

// A profile describes red, green and blue: a grey picture has them too.
bool hasPlaceFor(const MetadataBlock& block) {
  if (block.kind != MetadataKind::icc) return false;
  const std::optional<IccFacts> facts = iccFactsOf(block.span());
  return facts && facts->colour == Colour::rgb;
}

}  // namespace

bool Header::greyPalette() const {
  return !palette.empty() && std::ranges::all_of(palette, [](const auto& colour) {
    return colour[0] == colour[1] && colour[1] == colour[2];
  });
}

int Header::depth() const {
  int depth = 8;
  for (const Field& field : fields) depth = std::max(depth, field.bits);
  return depth;
}

Words Header::words() const {
  const auto fieldsAre = [&](Field red, Field green) {
    const auto same = [](const Field& a, const Field& b) { return a.shift == b.shift && a.bits == b.bits; };
    return bits == 16 && same(fields[0], red) && same(fields[1], green) && same(fields[2], {0, 5}) && !hasOpacity();
  };
  return fieldsAre({10, 5}, {5, 5}) ? Words::rgb555 : fieldsAre({11, 5}, {5, 6}) ? Words::rgb565 : Words::none;
}

Header readHeader(ByteSpan file, Work& work, std::vector<std::string>& notes) {
  return HeaderReader(file, work, notes).read();
}

void swapIfBigEndian(std::uint8_t* words, std::size_t bytes) {
  if constexpr (std::endian::native == std::endian::big)
    for (std::size_t i = 0; i + 1 < bytes; i += 2) std::swap(words[i], words[i + 1]);
}

}  // namespace bmp

extern const Format kBmpFormat;

constinit const Format kBmpFormat = {
    .label = "BMP",
    .names = {"bmp", "dib"},
    .sniff = bmp::isBmp,
    .describe = bmp::describe,
    .open = [](Input& input, const ReadOptions& options,
               Work& work) { return bmp::reader(input, options.native, work); },
    .hasFullYcbcr = bmp::hasFullYcbcr,
    .create = [](Output& output, const WriteOptions& options, Work& work,
                 std::vector<std::string>& notes) { return bmp::writer(output, options.words, work, notes); },
    .holds =
        [](const WriteOptions& options) {
          Holds holds{.colours = {Colour::grey, Colour::rgb},
                      .opacity = true,
                      .depths = {8},
                      .metadata = {.block = bmp::hasPlaceFor, .ratio = false}};
          if (options.words == Words::none) return holds;
          holds.colours = {Colour::rgb};
          if (options.native) holds.colours.insert(holds.colours.begin(), Colour::ycbcr);
          holds.opacity = false;
          return holds;
        },
    .writeOptions = bmp::kWriteOptions,
};

}  // namespace moxj
