// Parses the marker segments of a codestream (Annex A), from SOC to EOC.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "j2k/packetreader.h"
#include "j2k/params.h"

namespace moxj::j2k {

namespace marker {
enum : int {
  soc = 0xFF4F,
  cap = 0xFF50,
  siz = 0xFF51,
  cod = 0xFF52,
  coc = 0xFF53,
  tlm = 0xFF55,
  plm = 0xFF57,
  plt = 0xFF58,
  qcd = 0xFF5C,
  qcc = 0xFF5D,
  rgn = 0xFF5E,
  poc = 0xFF5F,
  ppm = 0xFF60,
  ppt = 0xFF61,
  crg = 0xFF63,
  com = 0xFF64,
  sot = 0xFF90,
  sop = 0xFF91,
  eph = 0xFF92,
  sod = 0xFF93,
  eoc = 0xFFD9
};
}  // namespace marker

// 0xFF30 to 0xFF3F: reserved for markers without a segment (Table A.1).
constexpr bool isBareMarker(int marker) { return marker >= 0xFF30 && marker <= 0xFF3F; }

std::string markerName(int marker);

struct MarkerSegment {
  int marker = 0;
  std::size_t offset = 0;  // of the marker in the codestream
  ByteSpan body;           // without marker and length

  std::size_t length() const { return isBareMarker(marker) ? 2 : body.size() + 4; }
};

struct TilePart {
  int tile = 0, number = 0, of = 0;
  std::size_t offset = 0, length = 0;
  std::vector<MarkerSegment> header;
  ByteSpan body;
  bool guessed = false;  // its end was searched for, because its length is wrong
};

// A codestream, as far as it can be parsed.
struct Codestream {
  Siz siz;
  std::vector<MarkerSegment> header;  // the main header, after SOC
  TileParams params;                  // from the main header
  std::vector<TilePart> parts;
  std::string problem;             // why it could not be parsed to its end; empty if it could
  std::vector<std::string> notes;  // violations of the standard that need not harm the picture

  void note(const std::string& text) {
    constexpr std::size_t kMaxNotes = 10;
    if (notes.size() < kMaxNotes && std::ranges::find(notes, text) == notes.end()) notes.push_back(text);
  }
};

// Throws Problem if this is not a codestream, its main header cannot be read, or its kind is not known.
Codestream parseCodestream(ByteSpan bytes);

// The tile-parts of each tile in the order of their numbers, and the packet headers for each tile-part that are packed
// in the main header (PPM).
struct TileParts {
  std::map<int, std::vector<const TilePart*>> of;
  std::map<const TilePart*, ByteSpan> packedHeaders;
  std::vector<std::uint8_t> packed;  // all of them
};
TileParts sortParts(const Codestream& codestream);

// What is wrong with the numbers of the tile-parts of a tile; empty if nothing is.
std::string misnumbered(const std::vector<const TilePart*>& ofTile);

// The parameters and the packets of a tile. Throws Problem if a header cannot be read.
TileParams paramsOf(const Codestream& codestream, const std::vector<const TilePart*>& parts);
PacketSource packetsOf(const TileParts& parts, const std::vector<const TilePart*>& ofTile);

}  // namespace moxj::j2k
