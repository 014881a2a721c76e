// Writes the marker segments of a codestream: SIZ, COD, QCD, QCC, RGN, COM, TLM, SOT, PLT.
#include "j2k/markerwriter.h"

#include <algorithm>
#include <bit>

#include "base/bigendian.h"
#include "base/problem.h"
#include "j2k/syntax.h"
#include "pictures/comments.h"

namespace moxj::j2k {

namespace {

void segment(Bytes& file, int marker, const Bytes& body) {
  ByteWriter out(file);
  out.u16(marker);
  out.u16(body.size() + 2);
  file.append(body.data(), body.size());
}

void writeSiz(Bytes& file, const Siz& siz) {
  Bytes body;
  ByteWriter out(body);
  out.u16(0);
  for (const Coord value :
       {siz.image.x1, siz.image.y1, siz.image.x0, siz.image.y0, siz.tileWidth, siz.tileHeight, siz.tileX0, siz.tileY0})
    out.u32(value);
  out.u16(siz.components.size());
  for (const ComponentSize& c : siz.components) {
    out.u8((c.bits - 1) | (c.isSigned ? 128 : 0));
    out.u8(c.dx);
    out.u8(c.dy);
  }
  segment(file, marker::siz, body);
}

void writeCod(Bytes& file, const TileParams& params, const EncodeOptions& options) {
  constexpr int kPrecincts = 1, kSop = 2, kEph = 4;
  const CodingStyle& coding = params.coding[0];
  const bool precincts = !options.precincts.empty();
  Bytes body;
  ByteWriter out(body);
  out.u8((precincts ? kPrecincts : 0) | (options.sop ? kSop : 0) | (options.eph ? kEph : 0));
  out.u8(params.style.order);
  out.u16(params.style.layers);
  out.u8(params.style.transform);
  out.u8(coding.levels);
  out.u8(coding.blockWidthLog - 2);
  out.u8(coding.blockHeightLog - 2);
  out.u8(coding.modes);
  out.u8(coding.reversible);
  for (int r = 0; precincts && r <= coding.levels; ++r) out.u8(coding.precincts[static_cast<std::size_t>(r)]);
  segment(file, marker::cod, body);
}

void putQuantisation(Bytes& body, const Quantisation& quantisation, int levels) {
  ByteWriter out(body);
  out.u8(quantisation.kind | quantisation.guardBits << 5);
  for (std::size_t band = 0; band < static_cast<std::size_t>(3 * levels + 1); ++band) {
    const std::uint16_t step = quantisation.steps[band];
    quantisation.kind == Quantisation::none ? out.u8(step >> 11 << 3) : out.u16(step);
  }
}

// A shift that is 0 is that of no region.
void writeRgn(Bytes& file, std::size_t component, int shift) {
  Bytes body;
  ByteWriter out(body);
  out.u8(component);
  out.u8(0);  // max-shift
  out.u8(shift);
  segment(file, marker::rgn, body);
}

// ASCII is registered as Latin text, everything else (UTF-8) as binary data.
void writeCom(Bytes& file, const std::string& text) {
  constexpr int kBinary = 0, kLatin = 1;
  const bool ascii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 128; });
  Bytes body;
  ByteWriter(body).u16(ascii ? kLatin : kBinary);
  body.append(text.data(), text.size());
  segment(file, marker::com, body);
}

constexpr std::size_t kMaxBody = 65533;  // of a segment
constexpr std::size_t kMaxSegments = 256;

[[noreturn]] void failSegments(const char* name) {
  fail(Kind::limit, std::string("more entries than 256 segments of ") + name + " hold");
}

// The bytes of a packet length: 7 bits each, the first ones marked by the highest bit.
int lengthBytes(std::uint32_t length) { return std::max((static_cast<int>(std::bit_width(length)) + 6) / 7, 1); }

// Calls begin() for each segment of PLT and put(length) for each packet in it.
template <class Begin, class Put>
void forEachLength(std::span<const std::uint32_t> packets, const Begin& begin, const Put& put) {
  std::size_t left = 0;
  for (const std::uint32_t length : packets) {
    const auto bytes = static_cast<std::size_t>(lengthBytes(length));
    if (left < bytes) {
      begin();
      left = kMaxBody - 1;
    }
    left -= bytes;
    put(length, static_cast<int>(bytes));
  }
}

constexpr std::size_t kTlmEntry = 6, kTlmEntries = (kMaxBody - 2) / kTlmEntry;

}  // namespace

void writeMainHeader(Bytes& file, const Siz& siz, const TileParams& params, const EncodeOptions& options) {
  ByteWriter(file).u16(marker::soc);
  writeSiz(file, siz);
  writeCod(file, params, options);
  const int levels = params.coding[0].levels;
  for (std::size_t c = 0; c < siz.components.size(); ++c) {
    if (c > 0 && params.quantisation[c].steps == params.quantisation[0].steps) continue;
    Bytes body;
    if (c > 0) ByteWriter(body).u8(c);
    putQuantisation(body, params.quantisation[c], levels);
    segment(file, c == 0 ? marker::qcd : marker::qcc, body);
  }
  for (std::size_t c = 0; c < siz.components.size(); ++c)
    if (params.shift[c] > 0) writeRgn(file, c, params.shift[c]);
  if (!options.comment.empty()) writeCom(file, options.comment);
}

void writeComments(Bytes& file, const Metadata* metadata) {
  if (!metadata) return;
  for (const MetadataBlock& block : metadata->blocks)
    if (block.kind == MetadataKind::comment)
      writeCom(file, headingOf(block) + std::string(block.bytes.begin(), block.bytes.end()));
}

std::uint64_t tlmSize(std::uint64_t tileParts) {
  constexpr std::uint64_t kHeader = 6;
  return ceilDiv(tileParts, std::uint64_t{kTlmEntries}) * kHeader + tileParts * kTlmEntry;
}

void writeTlm(Bytes& file, std::span<const TilePartLength> tileParts) {
  constexpr int kWide = 0x60;  // tiles in 16 bits, lengths in 32
  if (tileParts.size() > kMaxSegments * kTlmEntries) failSegments("TLM");
  for (std::size_t first = 0; first < tileParts.size(); first += kTlmEntries) {
    Bytes body;
    ByteWriter out(body);
    out.u8(first / kTlmEntries);
    out.u8(kWide);
    for (const TilePartLength& part : tileParts.subspan(first, std::min(kTlmEntries, tileParts.size() - first))) {
      out.u16(part.tile);
      out.u32(part.length);
    }
    segment(file, marker::tlm, body);
  }
}

std::uint64_t pltSize(std::span<const std::uint32_t> packets) {
  constexpr std::uint64_t kHeader = 5;
  std::uint64_t size = 0;
  forEachLength(
      packets, [&] { size += kHeader; }, [&](std::uint32_t, int bytes) { size += static_cast<std::uint64_t>(bytes); });
  return size;
}

void writePlt(Bytes& file, std::span<const std::uint32_t> packets) {
  std::size_t number = 0;
  Bytes body;
  const auto begin = [&] {
    if (!body.empty()) segment(file, marker::plt, body);
    body.clear();
    if (number == kMaxSegments) failSegments("PLT");
    ByteWriter(body).u8(number++);
  };
  forEachLength(packets, begin, [&](std::uint32_t length, int bytes) {
    while (bytes-- > 0) body.push_back(static_cast<std::uint8_t>((length >> 7 * bytes & 127) | (bytes > 0 ? 128 : 0)));
  });
  if (!body.empty()) segment(file, marker::plt, body);
}

void writeTilePartHeader(Bytes& file, const TilePartPlace& place, std::uint64_t packetBytes,
                         std::span<const std::uint32_t> packets) {
  const std::uint64_t length = kTilePartHeader + pltSize(packets) + packetBytes;
  if (length > UINT32_MAX) fail(Kind::limit, "a tile exceeds 4 GiB");
  Bytes body;
  ByteWriter out(body);
  out.u16(place.tile);
  out.u32(length);
  out.u8(place.number);
  out.u8(place.of);
  segment(file, marker::sot, body);
  writePlt(file, packets);
  ByteWriter(file).u16(marker::sod);
}

void writeEnd(Bytes& file) { ByteWriter(file).u16(marker::eoc); }

}  // namespace moxj::j2k
