// Metadata that the library understands, made of choices: Exif of both byte orders with an orientation and a thumbnail,
// ICC profiles of every kind of colours, XMP, IPTC, comments, other segments or boxes, and a density.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "interface.h"

namespace fuzz {

// Numbers of either byte order.
class Writer {
 public:
  explicit Writer(bool highestFirst) : highestFirst_(highestFirst) {}

  void number(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i)
      bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (highestFirst_ ? size - 1 - i : i)));
  }
  void numbers(int size, std::initializer_list<std::uint32_t> values) {
    for (const std::uint32_t value : values) number(value, size);
  }
  void text(std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }
  // An entry of a directory of TIFF: tag, type (3: 2 bytes, 4: 4 bytes) and one value.
  void entry(std::uint32_t tag, int type, std::uint32_t value) {
    numbers(2, {tag, static_cast<std::uint32_t>(type)});
    number(1, 4);
    number(value, type == 3 ? 2 : 4);
    if (type == 3) number(0, 2);
  }

  Bytes bytes;

 private:
  bool highestFirst_;
};

// Orientation, size in pixels and a thumbnail of a few bytes.
inline Bytes exifOf(Choices& in) {
  const bool highestFirst = in.ConsumeBool();
  const auto orientation = static_cast<std::uint32_t>(in.from(1, 8));
  Writer to(highestFirst);
  to.text(highestFirst ? "MM" : "II");
  to.number(42, 2);
  to.number(8, 4);
  constexpr std::uint32_t kEntry = 12, kDirectory = 2 + 4, kDetails = 8 + kDirectory + 2 * kEntry;
  constexpr std::uint32_t kThumbnail = kDetails + kDirectory + 2 * kEntry, kEnd = kThumbnail + kDirectory + 2 * kEntry;
  to.number(2, 2);
  to.entry(0x112, 3, orientation);
  to.entry(0x8769, 4, kDetails);
  to.number(kThumbnail, 4);
  to.number(2, 2);
  to.entry(0xA002, 4, 40);
  to.entry(0xA003, 4, 30);
  to.number(0, 4);
  to.number(2, 2);
  to.entry(0x201, 4, kEnd);
  to.entry(0x202, 4, 4);
  to.number(0, 4);
  to.number(0xFFD8FFD9, 4);
  return to.bytes;
}

// The curve of a gamma, by a curve without samples (1), one number or a parametric type.
inline Bytes curveOf(Choices& in) {
  Writer to(true);
  const int kind = in.upTo(2);
  to.text(kind == 2 ? "para" : "curv");
  to.number(0, 4);
  if (kind == 2)
    to.numbers(4, {0, static_cast<std::uint32_t>(in.from(0x8000, 0x30000))});
  else
    to.number(static_cast<std::uint32_t>(kind), 4);
  if (kind == 1) to.numbers(2, {static_cast<std::uint32_t>(in.from(0x80, 0x300)), 0});
  return to.bytes;
}

inline Bytes pointOf(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
  Writer to(true);
  to.text("XYZ ");
  to.numbers(4, {0, x, y, z});
  return to.bytes;
}

// Of inks: a table of two points for each, to Lab.
inline Bytes inkTable() {
  Writer to(true);
  to.text("mft1");
  to.number(0, 4);
  to.numbers(1, {4, 3, 2, 0});
  for (int i = 0; i < 9; ++i) to.number(i % 4 == 0 ? 0x10000 : 0, 4);
  const auto straight = [&](int channels) {
    for (int c = 0; c < channels; ++c)
      for (std::uint32_t i = 0; i < 256; ++i) to.number(i, 1);
  };
  straight(4);
  for (std::uint32_t i = 0; i < 16; ++i) to.numbers(1, {255 - i * 17, 128 + i, 128 - i});
  straight(3);
  return to.bytes;
}

// Mostly of the colours of the pixels.
inline Bytes profileOf(Choices& in, MoxcLayout layout) {
  constexpr std::string_view kSpaces[] = {"RGB ", "GRAY", "CMYK", "Lab "};
  const std::string_view own = layout <= moxcGreyAlpha ? "GRAY" : layout == moxcCmyk ? "CMYK" : "RGB ";
  const std::string_view space = in.oneIn(8) ? in.PickValueInArray(kSpaces) : own;
  std::vector<std::pair<std::string_view, Bytes>> tags = {{"wtpt", pointOf(0xF6D6, 0x10000, 0xD32D)}};
  if (space == "RGB ") {
    const auto shift = static_cast<std::uint32_t>(in.upTo(0x1000));
    tags.emplace_back("rXYZ", pointOf(0x6FA2 + shift, 0x38F5, 0x0390));
    tags.emplace_back("gXYZ", pointOf(0x6299, 0xB785 - shift, 0x18DA));
    tags.emplace_back("bXYZ", pointOf(0x24A0, 0x0F84, 0xB6CF));
    for (const char* tag : {"rTRC", "gTRC", "bTRC"}) tags.emplace_back(tag, curveOf(in));
  } else if (space == "GRAY") {
    tags.emplace_back("kTRC", curveOf(in));
  } else if (space == "CMYK") {
    tags.emplace_back("A2B0", inkTable());
  }
  std::uint32_t size = 128 + 4 + 12 * static_cast<std::uint32_t>(tags.size());
  Writer table(true), data(true);
  table.number(static_cast<std::uint32_t>(tags.size()), 4);
  for (auto& [name, bytes] : tags) {
    table.text(name);
    table.numbers(4, {size, static_cast<std::uint32_t>(bytes.size())});
    bytes.resize((bytes.size() + 3) / 4 * 4);
    size += static_cast<std::uint32_t>(bytes.size());
    data.bytes.insert(data.bytes.end(), bytes.begin(), bytes.end());
  }
  Writer to(true);
  to.numbers(4, {size, 0, 0x02400000});
  to.text(space == "CMYK" ? "prtr" : "mntr");
  to.text(space);
  to.text(space == "CMYK" ? "Lab " : "XYZ ");
  to.numbers(2, {2020, 1, 1, 0, 0, 0});
  to.text("acsp");
  to.numbers(4, {0, 0, 0, 0, 0, 0, 0, 0xF6D6, 0x10000, 0xD32D});
  to.bytes.resize(128);
  to.bytes.insert(to.bytes.end(), table.bytes.begin(), table.bytes.end());
  to.bytes.insert(to.bytes.end(), data.bytes.begin(), data.bytes.end());
  return to.bytes;
}

// None, or up to one of each kind, with what they refer to.
class Metadata {
 public:
  Metadata(Choices& in, MoxcLayout layout) {
    const int kinds = in.ConsumeBool() ? in.upTo(127) : 0;
    if (kinds & 1) add(moxcIcc, "", profileOf(in, layout));
    if (kinds & 2) add(moxcExif, "", exifOf(in));
    if (kinds & 4)
      add(moxcXmp, "",
          "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:tiff='http://ns.adobe.com/tiff/1.0/'>"
          "<rdf:Description tiff:Orientation=\"6\"/></rdf:RDF></x:xmpmeta>");
    if (kinds & 8) add(moxcIptc, "", std::string("\x1C\2\x78\0\4text", 9));
    if (kinds & 16) {
      add(moxcComment, in.ConsumeBool() ? "Author" : "", in.ConsumeRandomLengthString(80));
      if (in.ConsumeBool()) add(moxcComment, "", std::string("caf\xC3\xA9"));
    }
    if (kinds & 32)
      add(moxcOtherMetadata, in.PickValueInArray({"APP5", "APP13", "uuid", "xml "}), std::string(40, 'x'));
    if (kinds & 64) {
      density_ = {in.real(0.1, 20000.0), in.real(0.1, 20000.0), in.upTo(1)};
      blocks_.push_back({moxcResolution, nullptr, &density_, sizeof density_});
    }
    // The bytes stay where they are from now on.
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
      blocks_[i].bytes = bytes_[i].data();
      blocks_[i].byteCount = bytes_[i].size();
    }
  }
  Metadata(const Metadata&) = delete;
  Metadata& operator=(const Metadata&) = delete;

  operator Blocks() const { return {blocks_.data(), blocks_.size()}; }

 private:
  template <class From>
  void add(MoxcMetadataKind kind, const char* name, const From& from) {
    bytes_.emplace_back(from.begin(), from.end());
    blocks_.push_back({kind, name, nullptr, 0});
  }
  void add(MoxcMetadataKind kind, const char* name, const char* text) { add(kind, name, std::string_view(text)); }

  std::vector<Bytes> bytes_;
  std::vector<MoxcMetadata> blocks_;
  MoxcDensity density_ = {};
};

}  // namespace fuzz
