// Writes the marker segments of a codestream (Annex A).
#pragma once

#include "base/bytes.h"
#include "j2k/params.h"

namespace moxj::j2k {

void writeMainHeader(Bytes& file, const Siz& siz, const TileParams& params);

inline constexpr std::size_t kTilePartHeader = 14;  // SOT and SOD

void writeTilePartHeader(Bytes& file, int tile, std::uint32_t length);
void writeEnd(Bytes& file);

}  // namespace moxj::j2k
