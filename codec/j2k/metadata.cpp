// A resolution is a fraction of 16-bit numbers times a power of ten, vertical and horizontal, in samples per metre.
#include "j2k/metadata.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "base/bigendian.h"
#include "pictures/comments.h"
#include "pictures/exif.h"
#include "pictures/icc.h"

namespace moxj::j2k {

namespace {

constexpr std::size_t kIdBytes = 16;
struct Known {
  MetadataKind kind;
  std::uint8_t id[kIdBytes];
};
constexpr Known kKnown[] = {
    {MetadataKind::exif, {'J', 'p', 'g', 'T', 'i', 'f', 'f', 'E', 'x', 'i', 'f', '-', '>', 'J', 'P', '2'}},
    {MetadataKind::xmp,
     {0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8, 0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC}},
    {MetadataKind::iptc,
     {0x33, 0xC7, 0xA4, 0xD2, 0xB8, 0x1D, 0x47, 0x23, 0xA0, 0xBA, 0xF1, 0xA3, 0xE0, 0x97, 0xAD, 0x38}}};

const Known* knownOf(MetadataKind kind) {
  for (const Known& known : kKnown)
    if (known.kind == kind) return &known;
  return nullptr;
}

struct Fraction {
  int numerator, denominator, exponent;
};

// Exact for whole numbers per inch and per metre, otherwise to four digits.
Fraction fractionOf(double perMetre) {
  const double perInch = perMetre * 0.0254;
  const auto isWhole = [](double number) {
    return number >= 1 && number <= 65535 && std::abs(number - std::round(number)) < 1e-6 * number;
  };
  if (isWhole(perMetre)) return {static_cast<int>(std::round(perMetre)), 1, 0};
  if (isWhole(perInch)) {
    const int dots = static_cast<int>(std::round(perInch));
    return dots <= 65535 / 100 ? Fraction{100 * dots, 254, 2} : Fraction{dots, 254, 4};
  }
  int exponent = 0;
  for (; perMetre > 65535 && exponent < 127; ++exponent) perMetre /= 10;
  for (; perMetre < 6553 && exponent > -127; --exponent) perMetre *= 10;
  return {static_cast<int>(std::round(perMetre)), 1, exponent};
}

}  // namespace

void BoxMetadata::takeUuid(ByteSpan body) {
  for (const Known& known : kKnown) {
    if (body.size() < kIdBytes || std::memcmp(body.data(), known.id, kIdBytes) != 0) continue;
    ByteSpan data = body.subspan(kIdBytes);
    // Some writers keep the prefix that Exif data have in JPEG files.
    constexpr std::uint8_t kPrefix[] = {'E', 'x', 'i', 'f', 0, 0};
    const bool prefixed = data.size() > sizeof kPrefix && std::memcmp(data.data(), kPrefix, sizeof kPrefix) == 0;
    if (known.kind == MetadataKind::exif && prefixed) data = data.subspan(sizeof kPrefix);
    for (const Block& block : blocks)
      if (block.kind == known.kind) return;
    if (known.kind == MetadataKind::exif && !isExif(data))
      return notes.push_back("Exif data dropped: they are damaged");
    blocks.push_back({known.kind, "", data});
    return;
  }
  blocks.push_back({MetadataKind::other, "uuid", body});
}

void BoxMetadata::takeXml(ByteSpan body) { blocks.push_back({MetadataKind::other, "xml", body}); }

void BoxMetadata::takeProfile(ByteSpan profile) { blocks.push_back({MetadataKind::icc, "", profile}); }

// Registered text is Latin-1; other comments are binary data, which many writers use for text too.
void BoxMetadata::takeComment(ByteSpan body) {
  constexpr int kBinary = 0, kLatin = 1;
  if (body.size() <= 2) return;
  const int registration = body[0] << 8 | body[1];
  const ByteSpan text = body.subspan(2);
  const bool control = std::ranges::any_of(
      text, [](std::uint8_t c) { return (c < ' ' && c != '\n' && c != '\r' && c != '\t') || c == 0x7F; });
  if (!control && (registration == kLatin || registration == kBinary))
    comments.push_back({text, registration == kLatin});
}

void BoxMetadata::takeResolution(ByteSpan body, bool capture) {
  constexpr std::size_t kBytes = 10;
  if (body.size() < kBytes || (captured_ && !capture)) return;
  ByteReader in(body, "a resolution box");
  double fractions[2];
  for (double& fraction : fractions) {
    const int numerator = in.u16(), denominator = in.u16();
    fraction = static_cast<double>(numerator) / std::max(denominator, 1);
  }
  const auto vertical = static_cast<std::int8_t>(in.u8()), horizontal = static_cast<std::int8_t>(in.u8());
  verticalResolution = fractions[0] * std::pow(10.0, vertical);
  horizontalResolution = fractions[1] * std::pow(10.0, horizontal);
  captured_ = capture;
}

std::shared_ptr<const Metadata> BoxMetadata::metadata(Budget& budget) const {
  Metadata made;
  for (const Block& block : blocks) {
    budget.charge(1, block.bytes.size() + sizeof(MetadataBlock));
    made.add(block.kind, block.name, block.bytes);
  }
  for (const Comment& comment : comments) {
    budget.charge(comment.latin ? 2 : 1, comment.text.size() + sizeof(MetadataBlock));
    if (!comment.latin) {
      made.add(MetadataKind::comment, "", comment.text);
      continue;
    }
    const std::string text = utf8Of({reinterpret_cast<const char*>(comment.text.data()), comment.text.size()});
    made.add(MetadataKind::comment, "", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
  made.horizontalResolution = horizontalResolution;
  made.verticalResolution = verticalResolution;
  if (made.empty()) return nullptr;
  return std::make_shared<const Metadata>(std::move(made));
}

Colour colourOf(const BoxMetadata& metadata) {
  for (const BoxMetadata::Block& block : metadata.blocks) {
    if (block.kind != MetadataKind::icc) continue;
    const std::optional<IccFacts> facts = iccFactsOf(block.bytes);
    if (facts) return facts->colour;
  }
  return Colour::unknown;
}

bool hasPlaceInCodestream(const MetadataBlock& block) {
  constexpr std::size_t kMaxText = 65531;
  return block.kind == MetadataKind::comment && headingOf(block).size() + block.bytes.size() <= kMaxText;
}

bool hasPlaceFor(const MetadataBlock& block) {
  if (block.kind == MetadataKind::comment) return hasPlaceInCodestream(block);
  if (block.bytes.size() > INT32_MAX) return false;
  if (block.kind == MetadataKind::other) return block.name == "uuid" || block.name == "xml";
  return block.kind == MetadataKind::icc || knownOf(block.kind) != nullptr;
}

void writeBox(Bytes& file, const char* type, ByteSpan body) {
  ByteWriter(file).u32(body.size() + 8);
  file.append(type, 4);
  file.append(body);
}

void writeResolution(Bytes& header, const Metadata* metadata) {
  if (!metadata || !metadata->hasResolution()) return;
  const Fraction vertical = fractionOf(metadata->verticalResolution);
  const Fraction horizontal = fractionOf(metadata->horizontalResolution);
  Bytes values, capture;
  ByteWriter out(values);
  for (const Fraction& fraction : {vertical, horizontal}) {
    out.u16(fraction.numerator);
    out.u16(fraction.denominator);
  }
  out.u8(vertical.exponent);
  out.u8(horizontal.exponent);
  writeBox(capture, "resc", {values.data(), values.size()});
  writeBox(header, "res ", {capture.data(), capture.size()});
}

void writeMetadata(Bytes& file, const Metadata* metadata) {
  if (!metadata) return;
  for (const MetadataBlock& block : metadata->blocks) {
    const Known* const known = knownOf(block.kind);
    if (!known) {
      if (block.kind == MetadataKind::other) writeBox(file, block.name == "xml" ? "xml " : "uuid", block.bytes);
      continue;
    }
    Bytes body;
    body.append(known->id, kIdBytes);
    body.append(block.span());
    writeBox(file, "uuid", {body.data(), body.size()});
  }
}

}  // namespace moxj::j2k
