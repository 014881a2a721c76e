// Main header, tile-part headers and packed packet headers.
#include "j2k/syntax.h"

#include <algorithm>
#include <climits>
#include <optional>

#include "base/bigendian.h"
#include "base/problem.h"

namespace moxj::j2k {

namespace {

struct Name {
  int marker;
  const char* text;
};

constexpr Name kNames[] = {
    {marker::soc, "SOC"}, {marker::cap, "CAP"}, {marker::siz, "SIZ"}, {marker::cod, "COD"}, {marker::coc, "COC"},
    {marker::tlm, "TLM"}, {marker::plm, "PLM"}, {marker::plt, "PLT"}, {marker::qcd, "QCD"}, {marker::qcc, "QCC"},
    {marker::rgn, "RGN"}, {marker::poc, "POC"}, {marker::ppm, "PPM"}, {marker::ppt, "PPT"}, {marker::crg, "CRG"},
    {marker::com, "COM"}, {marker::sot, "SOT"}, {marker::sop, "SOP"}, {marker::eph, "EPH"}, {marker::sod, "SOD"},
    {marker::eoc, "EOC"},
};

constexpr std::size_t kMaxProgressions = 255;  // each costs a walk over all precincts, so the number is limited

const char* nameOf(int marker) {
  for (const Name& name : kNames)
    if (name.marker == marker) return name.text;
  return nullptr;
}

int wordAt(ByteSpan bytes, std::size_t at) { return at + 2 <= bytes.size() ? bytes[at] << 8 | bytes[at + 1] : -1; }

// ---- Marker segments --------------------------------------------------------------------------------------------

Siz parseSiz(ByteSpan body) {
  ByteReader in(body, "SIZ");
  in.u16();  // capabilities: the marker segments show what is needed
  Siz siz;
  siz.image.x1 = in.u32();
  siz.image.y1 = in.u32();
  siz.image.x0 = in.u32();
  siz.image.y0 = in.u32();
  siz.tileWidth = in.u32();
  siz.tileHeight = in.u32();
  siz.tileX0 = in.u32();
  siz.tileY0 = in.u32();
  const int components = in.u16();
  if (components == 0 || components > kMaxComponents) fail(Kind::damaged, "SIZ has an invalid number of components");
  if (siz.image.empty()) fail(Kind::damaged, "the picture has no pixels");
  if (siz.image.x1 > INT_MAX || siz.image.y1 > INT_MAX) fail(Kind::limit, "the picture is too wide or too high");
  if (siz.tileWidth == 0 || siz.tileHeight == 0 || siz.tileX0 > siz.image.x0 || siz.tileY0 > siz.image.y0 ||
      siz.tileX0 + siz.tileWidth <= siz.image.x0 || siz.tileY0 + siz.tileHeight <= siz.image.y0)
    fail(Kind::damaged, "SIZ has tiles that do not fit the picture");
  if (siz.tiles() > 65535) fail(Kind::damaged, "SIZ has more than 65535 tiles");
  for (int c = 0; c < components; ++c) {
    const int depth = in.u8();
    ComponentSize size;
    size.bits = (depth & 127) + 1;
    size.isSigned = depth >> 7;
    size.dx = in.u8();
    size.dy = in.u8();
    if (size.dx == 0 || size.dy == 0) fail(Kind::damaged, "SIZ has a component with a sub-sampling factor of 0");
    if (size.bits > 38) fail(Kind::damaged, "SIZ has a component of " + std::to_string(size.bits) + " bits");
    siz.components.push_back(size);
  }
  return siz;
}

// SPcod and SPcoc.
CodingStyle parseStyle(ByteReader& in, bool ownPrecincts) {
  CodingStyle style;
  style.levels = in.u8();
  const int width = in.u8(), height = in.u8();
  style.modes = in.u8();
  const int transform = in.u8();
  if (style.levels > kMaxLevels) fail(Kind::damaged, "more than 32 decomposition levels");
  if (width > 8 || height > 8 || width + height > 8) fail(Kind::damaged, "invalid code-block size");
  style.blockWidthLog = width + 2;
  style.blockHeightLog = height + 2;
  const int known = allModes | (style.modes & kHighThroughput ? kHighThroughput | kMixedBlocks : 0);
  if (style.modes & ~known) fail(Kind::unsupported, "unknown code-block style");
  if (transform > 1) fail(Kind::unsupported, "wavelets other than 9/7 and 5/3 (ISO/IEC 15444-2) are not supported");
  style.reversible = transform == 1;
  if (ownPrecincts)
    for (int r = 0; r <= style.levels; ++r)
      style.precincts[static_cast<std::size_t>(r)] = static_cast<std::uint8_t>(in.u8());
  return style;
}

Quantisation parseQuantisation(ByteReader& in) {
  Quantisation quantisation;
  const int style = in.u8();
  quantisation.guardBits = style >> 5;
  const int kind = style & 31;
  if (kind > 2) fail(Kind::damaged, "unknown quantisation style");
  quantisation.kind = static_cast<Quantisation::Kind>(kind);
  if (kind == Quantisation::none) {
    for (std::size_t i = 0; in.left() >= 1 && i < kMaxBands; ++i, ++quantisation.count)
      quantisation.steps[i] = static_cast<std::uint16_t>((in.u8() >> 3) << 11);
  } else {
    if (in.left() < 2) fail(Kind::damaged, "QCD ends early");
    for (std::size_t i = 0; in.left() >= 2 && i < kMaxBands; ++i, ++quantisation.count)
      quantisation.steps[i] = static_cast<std::uint16_t>(in.u16());
  }
  return quantisation;
}

int parseComponent(ByteReader& in, const Siz& siz) {
  const int component = siz.components.size() < 257 ? in.u8() : in.u16();
  return component < static_cast<int>(siz.components.size()) ? component : -1;
}

void parsePoc(ByteSpan body, const Siz& siz, std::vector<Progression>& progressions) {
  ByteReader in(body, "POC");
  const int size = siz.components.size() < 257 ? 1 : 2;
  while (in.left() >= static_cast<std::size_t>(5 + 2 * size)) {
    Progression p;
    p.firstResolution = in.u8();
    p.firstComponent = static_cast<int>(in.number(size));
    p.endLayer = in.u16();
    p.endResolution = in.u8();
    p.endComponent = static_cast<int>(in.number(size));
    if (p.endComponent == 0) p.endComponent = size == 1 ? 256 : kMaxComponents;
    const int order = in.u8();
    if (order > 4) fail(Kind::damaged, "unknown progression order");
    p.order = static_cast<Order>(order);
    progressions.push_back(p);
    if (progressions.size() > kMaxProgressions) fail(Kind::damaged, "more than 255 progression order changes");
  }
}

// Applies the marker segments of a header to the parameters. Those for all components come first, whatever the order in
// the header.
class ParamsReader {
 public:
  ParamsReader(const Siz& siz, TileParams& params) : siz_(siz), params_(params) {}

  void apply(const std::vector<MarkerSegment>& header) {
    for (const MarkerSegment& segment : header) {
      if (segment.marker == marker::cod) applyCod(segment.body);
      if (segment.marker == marker::qcd) applyQcd(segment.body);
    }
    for (const MarkerSegment& segment : header) {
      if (segment.marker == marker::coc) applyCoc(segment.body);
      if (segment.marker == marker::qcc) applyQcc(segment.body);
      if (segment.marker == marker::rgn) applyRgn(segment.body);
    }
  }

 private:
  void applyCod(ByteSpan body) {
    ByteReader in(body, "COD");
    const int style = in.u8();
    const int order = in.u8();
    if (order > 4) fail(Kind::damaged, "unknown progression order");
    params_.style.order = static_cast<Order>(order);
    params_.style.layers = in.u16();
    const int transform = in.u8();
    if (params_.style.layers == 0) fail(Kind::damaged, "COD has no layers");
    if (transform > 1) fail(Kind::unsupported, "component transforms of ISO/IEC 15444-2 are not supported");
    params_.style.transform = transform == 1;
    params_.coding.assign(siz_.components.size(), parseStyle(in, style & 1));
  }
  void applyQcd(ByteSpan body) {
    ByteReader in(body, "QCD");
    params_.quantisation.assign(siz_.components.size(), parseQuantisation(in));
  }
  void applyCoc(ByteSpan body) {
    ByteReader in(body, "COC");
    const int component = parseComponent(in, siz_);
    if (component < 0) return;
    const int style = in.u8();
    params_.coding[static_cast<std::size_t>(component)] = parseStyle(in, style & 1);
  }
  void applyQcc(ByteSpan body) {
    ByteReader in(body, "QCC");
    const int component = parseComponent(in, siz_);
    if (component >= 0) params_.quantisation[static_cast<std::size_t>(component)] = parseQuantisation(in);
  }
  void applyRgn(ByteSpan body) {
    ByteReader in(body, "RGN");
    const int component = parseComponent(in, siz_);
    if (in.u8() != 0) fail(Kind::damaged, "unknown region of interest style");
    const int shift = in.u8();
    if (shift > 37) fail(Kind::damaged, "the shift of a region of interest is above 37");
    if (component >= 0) params_.shift[static_cast<std::size_t>(component)] = shift;
  }

  const Siz& siz_;
  TileParams& params_;
};

// ---- The codestream ---------------------------------------------------------------------------------------------

class Parser {
 public:
  explicit Parser(ByteSpan bytes) : bytes_(bytes) {}

  Codestream run() {
    if (wordAt(bytes_, 0) != marker::soc) fail(Kind::notThisFormat, "not a JPEG 2000 codestream");
    at_ = 2;
    readMainHeader();
    readTileParts();
    return std::move(stream_);
  }

 private:
  // The next marker segment, or nothing if the bytes do not contain it.
  std::optional<MarkerSegment> segment() {
    const int marker = wordAt(bytes_, at_), length = wordAt(bytes_, at_ + 2);
    if (marker < 0xFF00) return std::nullopt;
    MarkerSegment found{marker, at_, {}};
    if (isBareMarker(marker)) {
      if (++bareMarkers_ > kMaxBareMarkers) fail(Kind::damaged, "more than 65536 markers without segments");
    } else {
      if (length < 2 || at_ + 2 + static_cast<std::size_t>(length) > bytes_.size()) return std::nullopt;
      found.body = bytes_.subspan(at_ + 4, static_cast<std::size_t>(length) - 2);
    }
    at_ += found.length();
    return found;
  }

  // Only segments that mean nothing, or a comment, may come before SIZ.
  void readMainHeader() {
    bool hasSiz = false, hasCod = false, hasQcd = false;
    while (wordAt(bytes_, at_) != marker::sot && wordAt(bytes_, at_) != marker::eoc) {
      const std::optional<MarkerSegment> found = segment();
      if (!found) fail(Kind::damaged, "the file ends in its main header");
      const bool isSiz = found->marker == marker::siz;
      const bool anywhere = found->marker == marker::com || nameOf(found->marker) == nullptr;
      if (hasSiz == isSiz && !(anywhere && !isSiz)) fail(Kind::damaged, "the main header does not begin with SIZ");
      if (isSiz) stream_.siz = parseSiz(found->body);
      hasSiz |= isSiz;
      hasCod |= found->marker == marker::cod;
      hasQcd |= found->marker == marker::qcd;
      stream_.header.push_back(*found);
    }
    if (!hasSiz) fail(Kind::damaged, "the main header does not begin with SIZ");
    if (!hasCod || !hasQcd) fail(Kind::damaged, "the main header has no COD or no QCD");
    stream_.params.shift.assign(stream_.siz.components.size(), 0);
    ParamsReader(stream_.siz, stream_.params).apply(stream_.header);
    for (const MarkerSegment& found : stream_.header)
      if (found.marker == marker::poc) parsePoc(found.body, stream_.siz, stream_.params.progressions);
  }

  void readTileParts() {
    while (stream_.problem.empty()) {
      const int next = wordAt(bytes_, at_);
      if (next == marker::eoc) return;
      if (next < 0)
        stream_.problem = "the file ends without an EOC marker";
      else if (next != marker::sot)
        stream_.problem = "a tile-part does not begin with SOT";
      else
        readTilePart();
    }
  }

  void readTilePart() {
    TilePart part;
    part.offset = at_;
    const std::optional<MarkerSegment> sot = segment();
    if (!sot || sot->body.size() != 8) return void(stream_.problem = "the file ends in the header of a tile-part");
    ByteReader in(sot->body, "SOT");
    part.tile = in.u16();
    const std::size_t length = in.u32();
    part.number = in.u8();
    part.of = in.u8();
    while (wordAt(bytes_, at_) != marker::sod) {
      const std::optional<MarkerSegment> found = segment();
      if (!found) return void(stream_.problem = "the file ends in the header of a tile-part");
      part.header.push_back(*found);
    }
    at_ += 2;
    const std::size_t end = endOf(part, length);
    part.length = end - part.offset;
    part.body = bytes_.subspan(at_, end - at_);
    at_ = end;
    if (part.tile < stream_.siz.tiles())
      stream_.parts.push_back(std::move(part));
    else
      stream_.note("tile-parts of tiles that do not exist");
  }

  // Where a tile-part ends whose data begin here. Packets contain no bytes FF90 and above, so if there is no marker at
  // the end that SOT gives, the data go up to the next marker.
  std::size_t endOf(TilePart& part, std::size_t length) {
    if (length == 0 && wordAt(bytes_, bytes_.size() - 2) == marker::eoc) return bytes_.size() - 2;
    const std::size_t header = at_ - part.offset;
    if (length >= header && length <= bytes_.size() - part.offset) {
      const std::size_t end = part.offset + length;
      if (end == bytes_.size() || isEnd(end)) return end;
    }
    std::size_t end = at_;
    while (end < bytes_.size() && !isEnd(end)) ++end;
    if (length == 0) return end;
    part.guessed = end < bytes_.size();
    if (part.guessed)
      stream_.note("the length of a tile-part of tile " + std::to_string(part.tile) + " is wrong");
    else
      stream_.problem = length < header ? "a tile-part is shorter than its header" : "the file ends in a tile-part";
    return end;
  }

  // Whether a tile-part or EOC begins here.
  bool isEnd(std::size_t at) const {
    const int word = wordAt(bytes_, at);
    return word == marker::eoc || (word == marker::sot && wordAt(bytes_, at + 2) == kSotLength);
  }

  static constexpr int kSotLength = 10;
  static constexpr int kMaxBareMarkers = 65536;  // each takes more memory than its two bytes

  ByteSpan bytes_;
  std::size_t at_ = 0;
  int bareMarkers_ = 0;
  Codestream stream_;
};

// Concatenates the bodies of PPM or PPT segments in the order of their indices.
std::vector<std::uint8_t> joined(std::vector<ByteSpan> bodies) {
  std::stable_sort(bodies.begin(), bodies.end(), [](ByteSpan a, ByteSpan b) { return a[0] < b[0]; });
  std::vector<std::uint8_t> all;
  for (const ByteSpan body : bodies) all.insert(all.end(), body.begin() + 1, body.end());
  return all;
}

void addBodies(const std::vector<MarkerSegment>& header, int marker, std::vector<ByteSpan>& bodies) {
  for (const MarkerSegment& segment : header)
    if (segment.marker == marker && !segment.body.empty()) bodies.push_back(segment.body);
}

}  // namespace

std::string markerName(int marker) {
  const char* const name = nameOf(marker);
  return name ? name : isBareMarker(marker) ? "reserved" : "unknown";
}

Codestream parseCodestream(ByteSpan bytes) { return Parser(bytes).run(); }

TileParts sortParts(const Codestream& codestream) {
  TileParts sorted;
  for (const TilePart& part : codestream.parts) sorted.of[part.tile].push_back(&part);
  for (auto& [tile, parts] : sorted.of)
    std::ranges::stable_sort(parts, {}, [](const TilePart* part) { return part->number; });
  std::vector<ByteSpan> bodies;
  addBodies(codestream.header, marker::ppm, bodies);
  sorted.packed = joined(std::move(bodies));
  // For each tile-part, in the order of the codestream: the length of its packet headers, then the headers.
  ByteReader in(sorted.packed, "PPM");
  for (const TilePart& part : codestream.parts) {
    if (in.left() < 4) break;
    const std::size_t size = in.u32();
    sorted.packedHeaders[&part] = in.take(std::min(size, in.left()));
  }
  return sorted;
}

std::string misnumbered(const std::vector<const TilePart*>& ofTile) {
  const int count = static_cast<int>(ofTile.size());
  for (int i = 0; i < count; ++i) {
    const TilePart& part = *ofTile[static_cast<std::size_t>(i)];
    if (part.of != 0 && part.of != count)
      return "has " + std::to_string(count) + " of " + std::to_string(part.of) + " tile-parts";
    if (part.number != i) return "has tile-parts with wrong numbers";
  }
  return "";
}

TileParams paramsOf(const Codestream& codestream, const std::vector<const TilePart*>& parts) {
  TileParams params = codestream.params;
  std::vector<Progression> progressions;
  for (const TilePart* part : parts) {
    ParamsReader(codestream.siz, params).apply(part->header);
    for (const MarkerSegment& segment : part->header)
      if (segment.marker == marker::poc) parsePoc(segment.body, codestream.siz, progressions);
  }
  if (!progressions.empty()) params.progressions = std::move(progressions);
  return params;
}

PacketSource packetsOf(const TileParts& parts, const std::vector<const TilePart*>& ofTile) {
  PacketSource source;
  source.packedHeaders = !parts.packed.empty();
  for (const TilePart* part : ofTile) {
    source.parts.push_back(part->body);
    // The indices of PPT segments count those of a tile-part or, by some writers, of the tile. Sorted within each
    // tile-part, both are in order.
    std::vector<ByteSpan> bodies;
    addBodies(part->header, marker::ppt, bodies);
    source.packedHeaders |= !bodies.empty();
    const std::vector<std::uint8_t> headers = joined(std::move(bodies));
    source.headers.insert(source.headers.end(), headers.begin(), headers.end());
    if (const auto found = parts.packedHeaders.find(part); found != parts.packedHeaders.end())
      source.headers.insert(source.headers.end(), found->second.begin(), found->second.end());
  }
  return source;
}

}  // namespace moxj::j2k
