// Writes the marker segments of a codestream: SIZ, COD, QCD, QCC, SOT.
#include "j2k/markerwriter.h"

#include "base/bigendian.h"
#include "j2k/syntax.h"

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

void writeCod(Bytes& file, const TileParams& params) {
  const CodingStyle& coding = params.coding[0];
  Bytes body;
  ByteWriter out(body);
  out.u8(0);  // maximum precincts; neither SOP nor EPH
  out.u8(params.style.order);
  out.u16(params.style.layers);
  out.u8(params.style.transform);
  out.u8(coding.levels);
  out.u8(coding.blockWidthLog - 2);
  out.u8(coding.blockHeightLog - 2);
  out.u8(coding.modes);
  out.u8(coding.reversible);
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

}  // namespace

void writeMainHeader(Bytes& file, const Siz& siz, const TileParams& params) {
  ByteWriter(file).u16(marker::soc);
  writeSiz(file, siz);
  writeCod(file, params);
  const int levels = params.coding[0].levels;
  for (std::size_t c = 0; c < siz.components.size(); ++c) {
    if (c > 0 && params.quantisation[c].steps == params.quantisation[0].steps) continue;
    Bytes body;
    if (c > 0) ByteWriter(body).u8(c);
    putQuantisation(body, params.quantisation[c], levels);
    segment(file, c == 0 ? marker::qcd : marker::qcc, body);
  }
}

void writeTilePartHeader(Bytes& file, int tile, std::uint32_t length) {
  Bytes body;
  ByteWriter out(body);
  out.u16(tile);
  out.u32(length);
  out.u8(0);
  out.u8(1);
  segment(file, marker::sot, body);
  ByteWriter(file).u16(marker::sod);
}

void writeEnd(Bytes& file) { ByteWriter(file).u16(marker::eoc); }

}  // namespace moxj::j2k
