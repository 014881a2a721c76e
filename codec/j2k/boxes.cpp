// Parsing and writing of JP2 boxes, palettes and channel definitions.
#include "j2k/boxes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "base/bigendian.h"
#include "base/budget.h"
#include "base/problem.h"
#include "j2k/colour.h"
#include "pictures/icc.h"

namespace moxj::j2k {

namespace {

constexpr std::uint8_t kSignature[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};
constexpr int kMaxDepth = 31;
// Methods of the colr box. JPX has more, which readers of JP2 pass over.
constexpr int kEnumerated = 1, kRestrictedIcc = 2, kAnyIcc = 3;

struct FoundBox {
  std::string type;
  std::size_t offset;  // of its contents
  ByteSpan body;
  std::size_t start;
};

// The boxes in a sequence of bytes. The last one may be truncated, and what follows an invalid length is not read.
// Where `name` says what the sequence is, both are refused.
std::vector<FoundBox> boxesIn(ByteSpan bytes, std::size_t offset, const char* name = nullptr) {
  const auto check = [&](bool ok) {
    if (name && !ok) fail(Kind::damaged, std::string("a box in ") + name + " has an invalid length");
    return ok;
  };
  std::vector<FoundBox> found;
  for (std::size_t at = 0; bytes.size() - at >= 8;) {
    ByteReader in(bytes.subspan(at), "a box");
    std::uint64_t length = in.u32();
    const ByteSpan type = in.take(4);
    std::size_t header = 8;
    if (length == 1) {
      if (!check(in.left() >= 8)) break;
      length = std::uint64_t{in.u32()} << 32;
      length |= in.u32();
      header = 16;
    }
    if (length == 0 || !check(length <= bytes.size() - at)) length = bytes.size() - at;
    if (!check(length >= header)) break;
    found.push_back({std::string(type.begin(), type.end()), offset + at + header,
                     bytes.subspan(at + header, static_cast<std::size_t>(length) - header), offset + at});
    at += static_cast<std::size_t>(length);
  }
  return found;
}

class Reader {
 public:
  explicit Reader(Boxes& boxes) : boxes_(boxes) {}

  void read(ByteSpan file) {
    for (const FoundBox& box : boxesIn(file, 0)) {
      list(box);
      if (box.type == "jp2h")
        for (const FoundBox& inner : boxesIn(box.body, box.offset, "the JP2 header")) readHeaderBox(inner);
      if (box.type == "uuid") boxes_.metadata.takeUuid(box.body);
      if (box.type == "xml ") boxes_.metadata.takeXml(box.body);
      if (box.type == "jp2c" && boxes_.codestream.empty()) {
        boxes_.codestream = box.body;
        boxes_.codestreamOffset = box.offset;
      }
      codestreams_ += box.type == "jp2c";
      fragmented_ |= box.type == "ftbl";
    }
    if (boxes_.codestream.empty() && fragmented_)
      fail(Kind::unsupported, "codestreams in fragments (ISO/IEC 15444-2) are not supported");
    if (boxes_.codestream.empty()) fail(Kind::damaged, "the JP2 file has no codestream");
    if (codestreams_ > 1)
      boxes_.notes.push_back("the first of " + std::to_string(codestreams_) + " codestreams is used");
  }

 private:
  void list(const FoundBox& box) {
    std::string type;
    for (const char c : box.type) type += c >= ' ' && c <= '~' ? c : '?';
    boxes_.list.push_back({type, box.start, box.offset - box.start + box.body.size()});
  }

  void readHeaderBox(const FoundBox& box) {
    list(box);
    if (box.type == "colr") boxes_.colourName.empty() ? readColour(box.body) : readFurtherColour(box.body);
    if (box.type == "pclr") readPalette(box.body);
    if (box.type == "cmap") readMappings(box.body);
    if (box.type == "cdef") readChannels(box.body);
    if (box.type == "res ")
      for (const FoundBox& inner : boxesIn(box.body, box.offset))
        if (inner.type == "resc" || inner.type == "resd")
          boxes_.metadata.takeResolution(inner.body, inner.type == "resc");
  }

  void readColour(ByteSpan body) {
    ByteReader in(body, "a colr box");
    const int method = in.u8();
    in.u16();  // precedence and approximation
    if (method < kEnumerated || method > kAnyIcc) return;
    if (method != kEnumerated) {
      boxes_.colourName = "ICC profile";
      boxes_.metadata.takeProfile(in.take(in.left()));
      boxes_.colour = colourOf(boxes_.metadata);
      return;
    }
    const std::uint32_t space = in.u32();
    boxes_.colour = colourOf(space);
    boxes_.colourName = colourSpaceName(space);
    boxes_.colourSpace = space;
    boxes_.colourParameters = in.take(in.left());
  }

  // A profile that says what the inks of the first box are.
  void readFurtherColour(ByteSpan body) {
    if (body.size() < 3 || (body[0] != kRestrictedIcc && body[0] != kAnyIcc)) return;
    if (boxes_.metadata.has(MetadataKind::icc) || boxes_.colour != Colour::cmyk) return;
    const ByteSpan profile = body.subspan(3);
    const std::optional<IccFacts> facts = iccFactsOf(profile);
    if (facts && facts->colour == boxes_.colour) boxes_.metadata.takeProfile(profile);
  }

  void readPalette(ByteSpan body) {
    ByteReader in(body, "a pclr box");
    const int entries = in.u16(), columns = in.u8();
    if (entries == 0 || entries > 1024 || columns == 0) fail(Kind::damaged, "invalid palette");
    Palette palette;
    for (int i = 0; i < columns; ++i) {
      const int depth = in.u8();
      palette.columns.push_back({(depth & 127) + 1, depth > 127, {}});
      if (palette.columns.back().bits > kMaxDepth)
        fail(Kind::unsupported, "palettes of more than 31 bits are not supported");
    }
    for (int entry = 0; entry < entries; ++entry)
      for (Palette::Column& column : palette.columns)
        column.values.push_back(valueOf(in.number((column.bits + 7) / 8), column));
    boxes_.palette = std::move(palette);
  }

  // Bits above those of the column are ignored if it is signed, otherwise the value is clamped.
  static std::int32_t valueOf(std::uint32_t value, const Palette::Column& column) {
    const std::uint32_t max = (1u << column.bits) - 1, sign = 1u << (column.bits - 1);
    if (!column.isSigned) return static_cast<std::int32_t>(std::min(value, max));
    return static_cast<std::int32_t>(((value & max) ^ sign) - sign);
  }

  void readMappings(ByteSpan body) {
    ByteReader in(body, "a cmap box");
    if (in.left() / 4 > kMaxComponents) fail(Kind::damaged, "a cmap box with more than 16384 channels");
    while (in.left() >= 4) {
      const int component = in.u16(), kind = in.u8(), column = in.u8();
      boxes_.mappings.push_back({component, kind == 1 ? column : Mapping::kDirect});
    }
  }

  void readChannels(ByteSpan body) {
    ByteReader in(body, "a cdef box");
    for (int count = in.u16(); count > 0; --count) boxes_.channels.push_back({in.u16(), in.u16(), in.u16()});
  }

  Boxes& boxes_;
  int codestreams_ = 0;
  bool fragmented_ = false;
};

// Looks up the samples of a component in a column of a palette.
void lookUp(const Plane& from, const std::vector<std::int32_t>& values, const Plane& to) {
  const std::int32_t last = static_cast<std::int32_t>(values.size()) - 1;
  for (int y = 0; y < to.height; ++y)
    visitRow(from, y, [&](const auto* source) {
      visitRow(to, y, [&](auto* target) {
        using Sample = std::remove_pointer_t<decltype(target)>;
        for (std::ptrdiff_t x = 0; x < to.width; ++x) {
          const std::int32_t index = std::clamp<std::int32_t>(source[x * from.pixelStep], 0, last);
          target[x * to.pixelStep] = static_cast<Sample>(values[static_cast<std::size_t>(index)]);
        }
      });
    });
}

void copyPlane(const Plane& from, const Plane& to) {
  for (int y = 0; y < to.height; ++y)
    visitRow(to, y, [&]<class Sample>(Sample* target) {
      const Sample* source = from.row<const Sample>(y);
      for (std::ptrdiff_t x = 0; x < to.width; ++x) target[x * to.pixelStep] = source[x * from.pixelStep];
    });
}

void applyMappings(const Boxes& boxes, Picture& picture, Budget& budget) {
  Picture made = picture;
  made.planes.clear();
  const auto sourceOf = [&](const Mapping& mapping) -> const Plane& {
    return picture.planes[static_cast<std::size_t>(mapping.component)];
  };
  const auto columnOf = [&](const Mapping& mapping) -> const Palette::Column& {
    return boxes.palette->columns[static_cast<std::size_t>(mapping.column)];
  };
  for (const Mapping& mapping : boxes.mappings) {
    if (mapping.component >= static_cast<int>(picture.planes.size()) ||
        mapping.column >= static_cast<int>(boxes.palette->columns.size()))
      fail(Kind::damaged, "the component mapping does not fit the palette");
    const Plane& from = sourceOf(mapping);
    const bool direct = mapping.column == Mapping::kDirect;
    const int bits = direct ? from.bits : columnOf(mapping).bits;
    const bool isSigned = direct ? from.isSigned : columnOf(mapping).isSigned;
    made.planes.push_back(Plane::of(from.width, from.height, bits, isSigned, from.dx, from.dy));
  }
  made.allocate(&budget);
  for (std::size_t i = 0; i < boxes.mappings.size(); ++i) {
    const Mapping& mapping = boxes.mappings[i];
    if (mapping.column == Mapping::kDirect)
      copyPlane(sourceOf(mapping), made.planes[i]);
    else
      lookUp(sourceOf(mapping), columnOf(mapping).values, made.planes[i]);
  }
  budget.release(picture.bytes());
  picture = std::move(made);
}

// A palette has a component mapping. Without one, it can only be meant for the single component of a picture.
std::string applyPalette(Boxes& boxes, Picture& picture, Budget& budget) {
  if (boxes.mappings.empty()) {
    if (picture.planes.size() != 1) return "the palette has no component mapping";
    boxes.notes.emplace_back("the palette has no component mapping: its columns are used in their order");
    for (int column = 0; column < static_cast<int>(boxes.palette->columns.size()); ++column)
      boxes.mappings.push_back({0, column});
  }
  applyMappings(boxes, picture, budget);
  return "";
}

// Sorts the channels: colours in the order of their associations, then other colours and channels that are not defined,
// then channels without a meaning, then opacity.
class ChannelOrder {
 public:
  ChannelOrder(const Boxes& boxes, Picture& picture)
      : picture_(picture), used_(picture.planes.size(), false), defined_(picture.planes.size(), false) {
    for (const Channel& channel : boxes.channels) {
      if (channel.number >= static_cast<int>(picture.planes.size())) continue;
      defined_[static_cast<std::size_t>(channel.number)] = true;
      channels_.push_back(channel);
    }
  }

  void apply() {
    const Channel* const opacity = opacityChannel();
    if (opacity) used_[static_cast<std::size_t>(opacity->number)] = true;
    std::vector<Channel> colours;
    std::ranges::copy_if(channels_, std::back_inserter(colours), isColour);
    std::ranges::stable_sort(colours, {}, rankOf);
    for (const Channel& channel : colours) add(static_cast<std::size_t>(channel.number));
    for (std::size_t number = 0; number < used_.size(); ++number)
      if (!defined_[number]) add(number);
    for (const Channel& channel : channels_) add(static_cast<std::size_t>(channel.number));
    if (opacity) ordered_.push_back(picture_.planes[static_cast<std::size_t>(opacity->number)]);
    picture_.planes = std::move(ordered_);
    if (opacity) picture_.opacity = opacity->kind == kOpacity ? Opacity::straight : Opacity::premultiplied;
  }

 private:
  static constexpr int kColour = 0, kOpacity = 1, kPremultiplied = 2;

  static bool isColour(const Channel& channel) { return channel.kind == kColour; }
  // Those that belong to the whole picture (0) or to nothing (65535) come last.
  static int rankOf(const Channel& channel) { return channel.association == 0 ? 65535 : channel.association; }

  // The first one for the whole picture, otherwise the first one. A picture of nothing but opacity has none.
  const Channel* opacityChannel() const {
    const Channel* found = nullptr;
    for (const Channel& channel : channels_) {
      if (channel.kind != kOpacity && channel.kind != kPremultiplied) continue;
      if (!found || (found->association != 0 && channel.association == 0)) found = &channel;
    }
    return picture_.planes.size() > 1 ? found : nullptr;
  }
  void add(std::size_t number) {
    if (!used_[number]) ordered_.push_back(picture_.planes[number]);
    used_[number] = true;
  }

  Picture& picture_;
  std::vector<Channel> channels_;  // of planes that exist
  std::vector<bool> used_, defined_;
  std::vector<Plane> ordered_;
};

int depthByte(const Plane& plane) { return (plane.bits - 1) | (plane.isSigned ? 128 : 0); }

Bytes imageHeader(const Picture& picture, bool sameDepth) {
  Bytes body;
  ByteWriter out(body);
  out.u32(picture.height);
  out.u32(picture.width);
  out.u16(picture.planes.size());
  out.u8(sameDepth ? depthByte(picture.planes[0]) : 255);
  out.u8(7);   // compression type
  out.u16(0);  // colour space known; no intellectual property box
  return body;
}

void box(Bytes& file, const char* type, const Bytes& body) { writeBox(file, type, {body.data(), body.size()}); }

Bytes colourSpecification(int method, ByteSpan profile, std::uint32_t space) {
  Bytes body;
  ByteWriter out(body);
  out.u8(method);
  out.u16(0);  // precedence and approximation
  method == kEnumerated ? out.u32(space) : body.append(profile);
  return body;
}

// A profile of inks is not among those of JP2, so it follows the enumerated colour space, for readers that know more.
void writeColour(Bytes& header, const Picture& picture) {
  // A profile describes RGB or grey, never the YCbCr of such a picture.
  const bool described = picture.metadata && picture.colour != Colour::ycbcr;
  const MetadataBlock* const block = described ? picture.metadata->find(MetadataKind::icc) : nullptr;
  const ByteSpan profile = block ? block->span() : ByteSpan();
  const bool inks = picture.colour == Colour::cmyk;
  if (block && !inks) return box(header, "colr", colourSpecification(kRestrictedIcc, profile, 0));
  const std::uint32_t space = inks                              ? cmyk
                              : picture.colour == Colour::ycbcr ? sYcc
                              : picture.planes.size() >= 3      ? sRgb
                                                                : greyscale;
  box(header, "colr", colourSpecification(kEnumerated, {}, space));
  if (block) box(header, "colr", colourSpecification(kAnyIcc, profile, 0));
}

// CMYK is a colour space of JPX (ISO/IEC 15444-2).
Bytes fileType(const Picture& picture) {
  const char* const brand = picture.colour == Colour::cmyk ? "jpx " : "jp2 ";
  Bytes type;
  type.append(brand, 4);
  ByteWriter(type).u32(0);
  type.append(brand, 4);
  if (picture.colour == Colour::cmyk) type.append("jpxb", 4);
  return type;
}

Bytes channelDefinitions(const Picture& picture) {
  Bytes body;
  ByteWriter out(body);
  const auto count = static_cast<std::uint32_t>(picture.planes.size());
  out.u16(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const bool opacity = i + 1 == count;
    out.u16(i);
    out.u16(!opacity ? 0 : picture.opacity == Opacity::premultiplied ? 2 : 1);
    out.u16(opacity ? 0 : i + 1);
  }
  return body;
}

}  // namespace

// The signature box of drafts of the standard has other characters after "jP". Some files have none and begin with the
// file type box.
bool isBoxed(ByteSpan first) {
  constexpr std::string_view kBrands[] = {"jp2 ", "jpx ", "jpm ", "jph "};
  if (first.size() < sizeof kSignature) return false;
  const std::string_view text(reinterpret_cast<const char*>(first.data()), first.size());
  if (std::memcmp(first.data(), kSignature, 6) == 0 && std::memcmp(first.data() + 8, kSignature + 8, 4) == 0)
    return true;
  return text.substr(4, 4) == "ftyp" && std::ranges::find(kBrands, text.substr(8, 4)) != std::end(kBrands);
}

Boxes readBoxes(ByteSpan file) {
  Boxes boxes;
  if (isBoxed(file)) {
    boxes.boxed = true;
    Reader(boxes).read(file);
  } else {
    boxes.codestream = file;
  }
  return boxes;
}

// Without a usable colour space, one or two components are grey, more are RGB.
std::string applyBoxes(Boxes& boxes, Picture& picture, Budget& budget) {
  std::string problem;
  if (boxes.palette) problem = applyPalette(boxes, picture, budget);
  if (!boxes.channels.empty()) ChannelOrder(boxes, picture).apply();
  if (boxes.colourSpace)
    applyColourSpace(*boxes.colourSpace, boxes.colourParameters, picture);
  else
    applyColour(boxes.colour, picture);
  return problem;
}

void writeBoxes(Bytes& file, const Picture& picture) {
  file.append(kSignature, sizeof kSignature);
  box(file, "ftyp", fileType(picture));
  Bytes header;
  bool sameDepth = true;
  for (const Plane& plane : picture.planes) sameDepth &= depthByte(plane) == depthByte(picture.planes[0]);
  box(header, "ihdr", imageHeader(picture, sameDepth));
  Bytes body;
  if (!sameDepth) {
    for (const Plane& plane : picture.planes) ByteWriter(body).u8(depthByte(plane));
    box(header, "bpcc", body);
    body.clear();
  }
  writeColour(header, picture);
  if (picture.opacity != Opacity::none) box(header, "cdef", channelDefinitions(picture));
  writeResolution(header, picture.metadata.get());
  box(file, "jp2h", header);
  writeMetadata(file, picture.metadata.get());
  ByteWriter(file).u32(0);  // length: up to the end of the file
  file.append("jp2c", 4);
}

}  // namespace moxj::j2k
