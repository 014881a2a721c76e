// SIZ, COD, QCD, QCC, SOT and their neighbours as bytes.
#include "j2k/markerwriter.h"

#include "j2k/syntax.h"

namespace moxj::j2k {

namespace {

void put(Bytes& bytes, std::uint64_t value, int size) {
  while (size-- > 0) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * size));
}

void segment(Bytes& file, int marker, const Bytes& body) {
  put(file, static_cast<std::uint64_t>(marker), 2);
  put(file, body.size() + 2, 2);
  file.append(body.data(), body.size());
}

void writeSiz(Bytes& file, const Siz& siz) {
  Bytes body;
  put(body, 0, 2);
  for (const Coord value :
       {siz.image.x1, siz.image.y1, siz.image.x0, siz.image.y0, siz.tileWidth, siz.tileHeight, siz.tileX0, siz.tileY0})
    put(body, static_cast<std::uint64_t>(value), 4);
  put(body, siz.components.size(), 2);
  for (const ComponentSize& c : siz.components) {
    put(body, static_cast<std::uint64_t>((c.bits - 1) | (c.isSigned ? 128 : 0)), 1);
    put(body, static_cast<std::uint64_t>(c.dx), 1);
    put(body, static_cast<std::uint64_t>(c.dy), 1);
  }
  segment(file, marker::siz, body);
}

void writeCod(Bytes& file, const TileParams& params) {
  const CodingStyle& coding = params.coding[0];
  Bytes body;
  put(body, 0, 1);  // maximum precincts; neither SOP nor EPH
  put(body, static_cast<std::uint64_t>(params.style.order), 1);
  put(body, static_cast<std::uint64_t>(params.style.layers), 2);
  put(body, params.style.transform, 1);
  put(body, static_cast<std::uint64_t>(coding.levels), 1);
  put(body, static_cast<std::uint64_t>(coding.blockWidthLog - 2), 1);
  put(body, static_cast<std::uint64_t>(coding.blockHeightLog - 2), 1);
  put(body, static_cast<std::uint64_t>(coding.modes), 1);
  put(body, coding.reversible, 1);
  segment(file, marker::cod, body);
}

void putQuantisation(Bytes& body, const Quantisation& quantisation, int levels) {
  put(body, static_cast<std::uint64_t>(quantisation.kind | quantisation.guardBits << 5), 1);
  for (std::size_t band = 0; band < static_cast<std::size_t>(3 * levels + 1); ++band) {
    const std::uint16_t step = quantisation.steps[band];
    quantisation.kind == Quantisation::none ? put(body, static_cast<std::uint64_t>(step >> 11 << 3), 1)
                                            : put(body, step, 2);
  }
}

}  // namespace

void writeMainHeader(Bytes& file, const Siz& siz, const TileParams& params) {
  put(file, marker::soc, 2);
  writeSiz(file, siz);
  writeCod(file, params);
  const int levels = params.coding[0].levels;
  for (std::size_t c = 0; c < siz.components.size(); ++c) {
    if (c > 0 && params.quantisation[c].steps == params.quantisation[0].steps) continue;
    Bytes body;
    if (c > 0) put(body, c, 1);
    putQuantisation(body, params.quantisation[c], levels);
    segment(file, c == 0 ? marker::qcd : marker::qcc, body);
  }
}

void writeTilePartHeader(Bytes& file, int tile, std::uint32_t length) {
  Bytes body;
  put(body, static_cast<std::uint64_t>(tile), 2);
  put(body, length, 4);
  put(body, 0, 1);
  put(body, 1, 1);
  segment(file, marker::sot, body);
  put(file, marker::sod, 2);
}

void writeEnd(Bytes& file) { put(file, marker::eoc, 2); }

}  // namespace moxj::j2k
